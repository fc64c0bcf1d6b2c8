// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace corvane::test {

/// Values as surveys have them, and as they do not: each makes other code run.
enum class Distribution { Uniform, Runs, Skewed, Constant };
constexpr Distribution Distributions[] = {Distribution::Uniform, Distribution::Runs, Distribution::Skewed,
                                          Distribution::Constant};

template <class T>
std::vector<T> valuesOf(Distribution distribution, std::size_t size) {
    std::mt19937 engine(7);
    std::vector<T> values(size);
    std::size_t left = 0;
    T current = 0;
    for (T& value : values) {
        if (distribution == Distribution::Uniform) current = static_cast<T>(engine());
        if (distribution == Distribution::Skewed) current = static_cast<T>(engine() % 10 < 8 ? 2 : engine() % 300);
        if (distribution == Distribution::Constant) current = static_cast<T>(~T{0});
        if (distribution == Distribution::Runs && left-- == 0) {
            left = engine() % 80;
            current = static_cast<T>(engine() % 19);
        }
        value = current;
    }
    return values;
}

/// Sizes around the one from which on threads share the work, and small ones.
template <class T>
std::vector<std::size_t> tellingSizes() {
    const std::size_t limit = sizeof(T) == 1 ? 65'536 : 1'048'576;
    return {1, 33, 1023, 1024, limit, limit + 1};
}

} // namespace corvane::test
