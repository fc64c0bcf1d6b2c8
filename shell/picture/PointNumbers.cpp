// SPDX-License-Identifier: Apache-2.0
#include "picture/PointNumbers.hpp"

#include <algorithm>
#include <limits>

namespace corvane {

std::size_t PointNumbers::add(std::size_t points) {
    constexpr std::uint32_t most = std::numeric_limits<std::uint32_t>::max(); // which marks empty pixels
    const std::uint32_t first = first_.back();
    const auto room = static_cast<std::uint32_t>(std::min<std::size_t>(points, most - first));
    const auto fragment = static_cast<std::uint32_t>(fragments());
    first_.push_back(first + room);
    while (room > 0 && std::uint64_t{start_.size()} * Stretch < first_.back()) start_.push_back(fragment);
    return room;
}

} // namespace corvane
