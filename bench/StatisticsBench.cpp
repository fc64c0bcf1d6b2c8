// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "histogram/ClassStatistics.hpp"

#include <fmt/format.h>
#include <random>
#include <vector>

namespace corvane::bench {
namespace {

/// Fragments that one thread summarises, few enough to be in the cache, as those are that were just decoded.
constexpr std::size_t Fragment = 60'000, Fragments = 4, Rounds = 25;
using Classes = std::vector<unsigned char>;

struct Plain {
    std::uint64_t count = 0;
    double minimum = std::numeric_limits<double>::max(), maximum = std::numeric_limits<double>::lowest(), sum = 0;
};

/// Millions of points per second, of those that are selected.
void compare(const std::string& title, const Classes& classes, const std::vector<std::uint8_t>& mask, double ask) {
    std::vector<double> heights(classes.size());
    std::mt19937 engine(5);
    for (double& height : heights) height = 400 + 1e-3 * double(engine() % 60'000);
    const double selected = double(std::count_if(mask.begin(), mask.end(), [](auto entry) { return entry != 0; }));
    Comparison comparison("Minimum, maximum and sum per class, " + title, "M points");
    comparison.add("ours", 1e-6 * selected * Rounds, {}, [&] {
        Fiber::ClassStatistics<unsigned char> statistics;
        for (std::size_t f = 0; f < Fragments * Rounds; ++f) {
            const auto part = [&](const auto& all) {
                return std::span(all).subspan(f % Fragments * Fragment, Fragment);
            };
            statistics.add(part(classes), Fiber::MaskedPoints{part(mask)}, {part(heights).data()});
        }
        keep(statistics.result("Z").get());
    });
    comparison.add("plain loop", 1e-6 * selected * Rounds, {.speedAtLeast = ask}, [&] {
        std::vector<Plain> plain(256);
        for (std::size_t round = 0; round < Rounds; ++round)
            for (std::size_t i = 0; i < classes.size(); ++i) {
                if (!mask[i]) continue;
                Plain& own = plain[classes[i]];
                ++own.count;
                if (heights[i] < own.minimum) own.minimum = heights[i];
                if (heights[i] > own.maximum) own.maximum = heights[i];
                own.sum += heights[i];
            }
        keep(plain.data());
    });
    comparison.print();
    fmt::print("\n");
}

} // namespace

void benchStatistics() {
    constexpr std::size_t size = Fragment * Fragments;
    std::mt19937 engine(6);
    Classes runs, mixed(size);
    while (runs.size() < size)
        runs.insert(runs.end(), std::min<std::size_t>(1 + engine() % 80, size - runs.size()),
                    static_cast<unsigned char>(engine() % 18));
    for (auto& value : mixed) value = static_cast<unsigned char>(engine() % 18);
    std::vector<std::uint8_t> all(size, 255), half(size);
    for (auto& entry : half) entry = engine() & 1 ? 255 : 0;
    compare("all points, runs of 40", runs, all, 2.5);
    compare("all points, no runs", mixed, all, 0);
    compare("a random half, runs of 40", runs, half, 2.5);
    compare("a random half, no runs", mixed, half, 2.5);
}

} // namespace corvane::bench
