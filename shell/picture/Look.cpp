// SPDX-License-Identifier: Apache-2.0
#include "picture/Look.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {

bool Hidden::hidesClasses() const {
    return std::ranges::any_of(classes, [](std::uint8_t hidden) { return hidden != 0; });
}

bool Hidden::hidesHeights() const { return std::isfinite(lowest) || std::isfinite(highest); }

} // namespace corvane
