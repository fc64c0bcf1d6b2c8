// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Sextant {

/// Red, green, blue and opacity, each from 0 to 1. Opaque black at first.
struct rgba_float_t {
    float r = 0, g = 0, b = 0, a = 1;

    bool operator==(const rgba_float_t&) const = default;
};

} // namespace Sextant
