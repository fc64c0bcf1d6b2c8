// SPDX-License-Identifier: Apache-2.0
#include "histogram/ClassStatistics.hpp"
#include "Distributions.hpp"

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <omp.h>

namespace corvane::test {
namespace {

using Indices = std::vector<std::uint32_t>;

struct Plain {
    std::uint64_t count = 0;
    double minimum = std::numeric_limits<double>::max(), maximum = std::numeric_limits<double>::lowest(), sum = 0;
};

/// Agrees with a plain loop over the selected points; sums but for rounding.
template <class T>
void expectPlain(const Fiber::FieldHistogram<T>& found, const std::vector<T>& values, const Indices& selected,
                 const Fiber::Quantity& quantity) {
    std::vector<Plain> plain(Fiber::FieldHistogram<T>::Bins);
    for (const std::uint32_t i : selected) {
        Plain& own = plain[values[i]];
        ++own.count;
        if (!quantity) continue;
        own.minimum = std::min(own.minimum, quantity[i]);
        own.maximum = std::max(own.maximum, quantity[i]);
        own.sum += quantity[i];
    }
    EXPECT_EQ(found.total(), selected.size());
    for (std::size_t value = 0; value < plain.size(); ++value) {
        const Plain& own = plain[value];
        ASSERT_EQ(found.counts->values[value], own.count) << value;
        if (!quantity) continue;
        ASSERT_EQ(found.minimum[value], own.minimum) << value;
        ASSERT_EQ(found.maximum[value], own.maximum) << value;
        ASSERT_LE(std::abs(found.sum[value] - own.sum), 1e-12 * std::abs(own.sum)) << value;
    }
}

template <class T>
class ClassStatistics : public testing::Test {};
using CodeTypes = testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(ClassStatistics, CodeTypes);

TYPED_TEST(ClassStatistics, AgreeWithAPlainLoopForEverySelection) {
    using T = TypeParam;
    for (const std::size_t size : tellingSizes<T>()) {
        const std::size_t all = size * 2 + 5; // so that half of the points are as many as is telling
        std::vector<double> heights(3 * all);
        std::mt19937 engine(3);
        for (double& height : heights) height = 400 + double(engine() % 100'000) * 1e-3;
        const Fiber::Quantity quantity{heights.data() + 2, 3};
        for (const Distribution distribution : {Distribution::Runs, Distribution::Skewed}) {
            SCOPED_TRACE(testing::Message() << size << " points, distribution " << int(distribution));
            const auto values = valuesOf<T>(distribution, all);
            Indices everything(all), some, stretches;
            std::iota(everything.begin(), everything.end(), 0u);
            std::vector<std::uint8_t> mask(all), blocks(all);
            for (std::uint32_t i = 0; i < all; ++i) {
                if (some.size() < size && engine() % 2) some.push_back(i);
                if (i % 37 > 11) stretches.push_back(i);
            }
            for (const auto i : some) mask[i] = static_cast<std::uint8_t>(1 + i % 255);
            for (const auto i : stretches) blocks[i] = 255;
            const auto check = [&](auto points, const Indices& selected) {
                Fiber::ClassStatistics<T> counts;
                counts.add(values, points, {});
                expectPlain(*counts.result(""), values, selected, {});
                const auto found = [&](int threads) {
                    omp_set_num_threads(threads);
                    Fiber::ClassStatistics<T> statistics;
                    statistics.add(values, points, quantity);
                    return statistics.result("Z");
                };
                const auto alone = found(1);
                expectPlain(*alone, values, selected, quantity);
                if (selected.size() <= Fiber::SerialLimit<T>) return; // one thread does it all
                for (const int threads : {2, 3, 8}) {
                    const auto together = found(threads);
                    EXPECT_EQ(together->counts->values, alone->counts->values) << threads << " threads";
                    EXPECT_EQ(together->minimum, alone->minimum) << threads << " threads";
                    EXPECT_EQ(together->maximum, alone->maximum) << threads << " threads";
                    EXPECT_EQ(together->sum, alone->sum) << "not to the last digit with " << threads << " threads";
                }
            };
            check(Fiber::AllPoints{all}, everything);
            check(Fiber::IndexedPoints{some}, some);
            check(Fiber::IndexedPoints{stretches}, stretches);
            check(Fiber::MaskedPoints{mask}, some);
            check(Fiber::MaskedPoints{blocks}, stretches);
        }
    }
}

TEST(ClassStatisticsOf, NumbersThatAreNoneHideNoOthers) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN(), infinite = HUGE_VAL;
    const std::vector<unsigned char> values(8, 2); // a group of one class
    for (std::size_t odd = 0; odd < values.size(); ++odd)
        for (const double number : {none, infinite, -infinite}) {
            std::vector<double> heights{5, 3, 8, 4, 7, 6, 9, 2};
            heights[odd] = number;
            Fiber::ClassStatistics<unsigned char> statistics;
            statistics.add(values, Fiber::AllPoints{values.size()}, {heights.data()});
            const auto found = statistics.result("Z");
            EXPECT_EQ(found->minimum[2], number < 0 ? number : odd == 7 ? 3 : 2) << number << " at " << odd;
            EXPECT_EQ(found->maximum[2], number > 0 ? number : odd == 6 ? 8 : 9) << number << " at " << odd;
        }
}

TEST(ClassStatisticsOf, FragmentsWithoutAQuantityAddCountsOnly) {
    const std::vector<unsigned char> values{2, 2, 5};
    const std::vector<double> heights{4, 2, 9};
    Fiber::ClassStatistics<unsigned char> statistics;
    statistics.add(values, Fiber::AllPoints{2}, {heights.data()});
    statistics.add(values, Fiber::AllPoints{3}, {});
    const auto found = statistics.result("Z");
    EXPECT_EQ(found->occurringCounts(), (std::vector<std::uint64_t>{4, 1}));
    EXPECT_EQ(found->occurringSum(), (std::vector<double>{6, 0}));
    EXPECT_EQ(found->occurringMinimum(), (std::vector<double>{2, std::numeric_limits<double>::max()}));
    EXPECT_EQ(found->occurringMaximum(), (std::vector<double>{4, std::numeric_limits<double>::lowest()}));
}

} // namespace
} // namespace corvane::test
