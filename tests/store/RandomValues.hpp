// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <vector>

namespace corvane::test {

using Values = std::vector<std::byte>;

inline std::span<const std::byte> bytesOf(const std::vector<std::uint16_t>& numbers) {
    return std::as_bytes(std::span(numbers));
}

/// Numbers that are the same for the same seed on every machine.
class Dice {
public:
    explicit Dice(unsigned seed) : engine_(seed) {}

    /// From 0 to below `end`.
    std::size_t below(std::size_t end) { return engine_() % end; }
    bool oneIn(std::size_t n) { return below(n) == 0; }

private:
    std::mt19937 engine_;
};

/// Values as they are found in fields: all the same, in runs, of few kinds, or of any.
inline Values randomValues(Dice& dice, std::size_t points, int width) {
    const std::size_t kinds = std::vector<std::size_t>{1, 2, 5, 16, 200}[dice.below(5)];
    const std::size_t longest = std::vector<std::size_t>{1, 4, 100}[dice.below(3)];
    Values values;
    while (values.size() < points * std::size_t(width)) {
        const auto value = dice.below(kinds) * 37;
        for (std::size_t run = 1 + dice.below(longest); run > 0; --run)
            for (int byte = 0; byte < width; ++byte) values.push_back(static_cast<std::byte>(value >> 8 * byte));
    }
    values.resize(points * std::size_t(width));
    return values;
}

/// Some of them changed: none, single ones, stretches, or all.
inline Values randomlyChanged(Dice& dice, const Values& values, int width) {
    const std::size_t points = values.size() / std::size_t(width);
    const Values others = randomValues(dice, points, width);
    Values changed = values;
    const std::size_t every = std::vector<std::size_t>{1, 2, 3, 50}[dice.below(4)];
    const std::size_t longest = std::vector<std::size_t>{1, 20, 500}[dice.below(3)];
    if (dice.oneIn(10)) return changed;
    for (std::size_t i = dice.below(every); i < points; i += 1 + dice.below(2 * every))
        for (std::size_t end = i + 1 + dice.below(longest); i < end && i < points; ++i)
            for (std::size_t byte = i * std::size_t(width); byte < (i + 1) * std::size_t(width); ++byte)
                changed[byte] = others[byte];
    return changed;
}

} // namespace corvane::test
