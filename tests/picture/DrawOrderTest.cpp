// SPDX-License-Identifier: Apache-2.0
#include "picture/DrawOrder.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>

namespace corvane::test {
namespace {

TEST(DrawOrder, holdsEachNumberOnce) {
    for (const std::size_t count : {0ul, 1ul, 2ul, 3ul, 1000ul, 99'999ul, 131'071ul, 131'072ul, 131'073ul, 500'000ul}) {
        std::vector<std::uint32_t> sorted = *drawOrder(count), all(count);
        std::ranges::sort(sorted);
        std::iota(all.begin(), all.end(), 0u);
        EXPECT_EQ(sorted, all) << count;
    }
}

/// A stretch of the numbers is a place, as surveys are stored: what a beginning has of each of 64 must be what chance
/// would give it, or more even; and no place within a stretch may be preferred, as every n-th point would be.
TEST(DrawOrder, beginsWithAnEvenSample) {
    for (const std::size_t count : {131'072ul, 100'003ul}) {
        const auto order = drawOrder(count);
        for (const std::size_t taken : {500ul, 1024ul, 4097ul, 30'000ul, 65'536ul}) {
            constexpr std::size_t cells = 64;
            const auto chiSquared = [&](auto cellOf) {
                std::vector<double> found(cells, 0);
                for (std::size_t i = 0; i < taken; ++i) ++found[cellOf((*order)[i])];
                const double expected = double(taken) / cells;
                double sum = 0;
                for (const double n : found) sum += (n - expected) * (n - expected) / expected;
                return sum;
            };
            // 99.9 % of random samples stay below 103.4 with 63 degrees of freedom.
            EXPECT_LT(chiSquared([&](std::size_t i) { return i * cells / count; }), 64) << count << ' ' << taken;
            EXPECT_LT(chiSquared([](std::size_t i) { return i % cells; }), 103.4) << count << ' ' << taken;
            EXPECT_LT(chiSquared([](std::size_t i) { return i % 128 / 2; }), 103.4) << count << ' ' << taken;
        }
    }
}

TEST(DrawOrder, isSharedByThreads) {
    std::vector<std::thread> threads;
    std::vector<std::shared_ptr<const std::vector<std::uint32_t>>> orders(8);
    for (std::size_t t = 0; t < orders.size(); ++t)
        threads.emplace_back([&, t] {
            for (std::size_t n = 0; n < 40; ++n) drawOrder(1000 + (n * 7 + t) % 40);
            orders[t] = drawOrder(131'072);
        });
    for (std::thread& thread : threads) thread.join();
    for (const auto& order : orders) EXPECT_EQ(order, orders.front()) << "one table for all";
}

} // namespace
} // namespace corvane::test
