// SPDX-License-Identifier: Apache-2.0
#include "Projection.hpp"

namespace corvane::test {

void projectPlain(bool affine, const std::uint64_t* points, std::size_t count, const ToPixels& to, std::int32_t* pixels,
                  std::uint32_t* depths) {
    affine ? projectBlock<true>(points, count, to, pixels, depths)
           : projectBlock<false>(points, count, to, pixels, depths);
}

} // namespace corvane::test
