// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>

namespace laz {

/// No chunk of so many bytes has more points. The part of no symbol is the whole interval, so that the least that is
/// told of a point, that nothing changed, takes a byte for each 3,000 points.
inline std::uint64_t mostPoints(std::uint64_t bytes) {
    constexpr std::uint64_t ofByte = 4096;
    return bytes > std::numeric_limits<std::uint64_t>::max() / ofByte ? std::numeric_limits<std::uint64_t>::max()
                                                                      : bytes * ofByte;
}

} // namespace laz
