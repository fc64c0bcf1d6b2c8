// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/ProjectBlock.hpp"

namespace corvane::test {

/// projectBlock as it is compiled for the plainest and for wide instructions.
void projectPlain(bool affine, const std::uint64_t* points, std::size_t count, const ToPixels& to, std::int32_t* pixels,
                  std::uint32_t* depths);
void projectWide(bool affine, const std::uint64_t* points, std::size_t count, const ToPixels& to, std::int32_t* pixels,
                 std::uint32_t* depths);

} // namespace corvane::test
