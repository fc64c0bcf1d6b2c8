// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace corvane {

/// Spreads a number over all 64 bits (the finaliser of splitmix64).
inline std::uint64_t mixed(std::uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

/// splitmix64. The distributions of the standard library give other numbers in other libraries; these do not.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t next() { return mixed(state_ += 0x9E3779B97F4A7C15u); }

    double unit() { return static_cast<double>(next() >> 11) * 0x1p-53; } ///< from 0 to below 1
    double between(double low, double high) { return low + (high - low) * unit(); }
    bool chance(double share) { return unit() < share; }

    /// From -1 to 1, mostly near 0: the mean of four 16-bit numbers.
    double bell() {
        const auto bits = next();
        const auto sum = (bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) + (bits >> 48);
        return static_cast<double>(sum) * (2.0 / (4 * 0xFFFF)) - 1;
    }

private:
    std::uint64_t state_;
};

} // namespace corvane
