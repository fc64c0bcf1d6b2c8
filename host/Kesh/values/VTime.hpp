// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace Kesh {

/// A point in time of the data, in seconds.
struct VTime {
    VTime() = default;
    explicit VTime(double time) : seconds(time) {}
    bool operator==(const VTime&) const = default;

    double seconds = 0;
};

} // namespace Kesh
