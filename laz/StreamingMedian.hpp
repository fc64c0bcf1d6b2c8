// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace laz {

/// The middle one of five values, each new one of which takes the place of the largest or the smallest by turns: about
/// the median of what came lately.
class StreamingMedian {
public:
    std::int32_t median() const { return values_[2]; }

    void add(std::int32_t value) {
        const std::int32_t middle = values_[2];
        if (largestGoes_) {
            int at = 4;
            for (; at > 0 && values_[at - 1] > value; --at) values_[at] = values_[at - 1];
            values_[at] = value;
            largestGoes_ = value < middle;
        } else {
            int at = 0;
            for (; at < 4 && values_[at + 1] < value; ++at) values_[at] = values_[at + 1];
            values_[at] = value;
            largestGoes_ = value <= middle;
        }
    }

private:
    std::int32_t values_[5] = {}; // ascending
    bool largestGoes_ = true;
};

} // namespace laz
