// SPDX-License-Identifier: Apache-2.0
#include "store/FragmentChange.hpp"
#include "RandomValues.hpp"
#include "base/ByteCode.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>

namespace corvane::test {
namespace {

using Direction = FragmentChange::Direction;
using Expect = FragmentChange::Expect;

/// A change of one byte a value, and what it leads from and to.
struct Example {
    Values before, after;
    FragmentChange change{1, 0};
};

Example example(Dice& dice, int width, std::size_t points) {
    Example made;
    made.before = randomValues(dice, points, width);
    made.after = randomlyChanged(dice, made.before, width);
    made.change = FragmentChange::between(width, made.before, made.after);
    return made;
}

TEST(FragmentChange, leadsForthAndBackAlsoAsBytes) {
    Dice dice(1);
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE(round);
        const int width = 1 + int(dice.below(2));
        const auto [before, after, change] = example(dice, width, dice.below(1000));
        const auto bytes = change.encode();
        const auto points = static_cast<std::uint32_t>(before.size() / std::size_t(width));
        const FragmentChange read = FragmentChange::decode(bytes, width, points);
        ASSERT_EQ(read, change);
        EXPECT_LE(bytes.size(), 20 + points / 8 + change.before().size() + change.after().size());

        Values values = before;
        ASSERT_FALSE(read.apply(values));
        ASSERT_EQ(values, after);
        ASSERT_FALSE(read.apply(values, Direction::Backward));
        ASSERT_EQ(values, before);
        ASSERT_FALSE(read.inverted().apply(values = after));
        ASSERT_EQ(values, before);
    }
}

// What people do: a lasso around ground, a scattered choice of a few classes, all.
TEST(FragmentChange, isSmallWhereLittleIsToBeTold) {
    const std::size_t points = 100000;
    Values before(points, std::byte{2}), after = before;
    std::fill(after.begin() + 500, after.begin() + 90000, std::byte{6});
    EXPECT_LT(FragmentChange::between(1, before, after).encode().size(), 30u);

    Dice dice(2);
    for (auto& value : before) value = static_cast<std::byte>(3 + dice.below(3));
    for (std::size_t i = 0; i < points; ++i) after[i] = dice.oneIn(2) ? std::byte{6} : before[i];
    EXPECT_LT(FragmentChange::between(1, before, after).encode().size(), points / 8 + points / 2 / 4 + 1000);
}

TEST(FragmentChange, refusesOtherValuesAndLeavesThemAsTheyAre) {
    const Values before(10, std::byte{2}), after(10, std::byte{6});
    const auto change = FragmentChange::between(1, before, after);
    Values values = before;
    values[7] = std::byte{9};
    const Values other = values;
    const auto mismatch = change.apply(values);
    ASSERT_TRUE(mismatch);
    EXPECT_EQ(fmt::format("{} {} {}", mismatch->point, mismatch->expected, mismatch->found), "7 2 9");
    EXPECT_TRUE(change.apply(values, Direction::Forward, Expect::Either));
    EXPECT_EQ(values, other);

    values[7] = std::byte{6};
    EXPECT_TRUE(change.apply(values));
    EXPECT_FALSE(change.apply(values, Direction::Forward, Expect::Either));
    EXPECT_EQ(values, after);
}

TEST(FragmentChange, sumsAreWhatLeadsFromTheFirstToTheLast) {
    Dice dice(3);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const int width = 1 + int(dice.below(2));
        const Values first = randomValues(dice, 1 + dice.below(500), width);
        const auto points = static_cast<std::uint32_t>(first.size() / std::size_t(width));
        ChangeSum sum(width, points);
        Values last = first;
        for (int i = 0; i < 5; ++i) {
            const Values next = dice.oneIn(4) ? first : randomlyChanged(dice, last, width);
            const auto change = FragmentChange::between(width, last, next);
            dice.oneIn(2) ? sum.add(change) : sum.add(change.inverted(), Direction::Backward);
            last = next;
        }
        ASSERT_EQ(sum.result(), FragmentChange::between(width, first, last));
    }
    const Values two(3, std::byte{2}), six(3, std::byte{6});
    const auto change = FragmentChange::between(1, two, six);
    EXPECT_THROW(change.then(change), BadBytes);
    EXPECT_THROW(change.then(FragmentChange(1, 4)), BadBytes);
    EXPECT_THROW(change.then(FragmentChange(2, 3)), BadBytes);
}

TEST(FragmentChange, partsPutTogetherAreTheWhole) {
    Dice dice(4);
    for (int round = 0; round < 300; ++round) {
        SCOPED_TRACE(round);
        const int width = 1 + int(dice.below(2));
        const auto change = example(dice, width, dice.below(1000)).change;
        FragmentChange together(width, 0);
        while (together.points() < change.points()) {
            const auto count = 1 + std::uint32_t(dice.below(change.points() - together.points()));
            together.append(change.part(together.points(), count));
        }
        ASSERT_EQ(together, change);
    }
}

/// What any bytes must end in: the change that they are, or an error. In a buffer of their size, so that a sanitizer
/// sees one byte too many.
void readDamaged(const Values& bytes) {
    const Values exact(bytes.begin(), bytes.end());
    try {
        const auto change = FragmentChange::decode(exact, 1, 300);
        Values values(300);
        std::size_t at = 0;
        for (const auto& run : change.runs())
            for (std::uint32_t i = run.first; i < run.end(); ++i) values[i] = change.before()[at++];
        EXPECT_FALSE(change.apply(values));
        EXPECT_EQ(FragmentChange::decode(change.encode()), change);
    } catch (const BadBytes& error) {
        EXPECT_STRNE(error.what(), "");
    }
}

TEST(FragmentChange, readsDamagedBytesOrRefusesThem) {
    Dice dice(5);
    for (int round = 0; round < 100; ++round) {
        SCOPED_TRACE(round);
        const Values bytes = example(dice, 1, 300).change.encode();
        for (std::size_t length = 0; length < bytes.size(); ++length)
            EXPECT_THROW(FragmentChange::decode(std::span(bytes).first(length)), BadBytes);
        Values longer = bytes;
        longer.push_back(std::byte{0});
        EXPECT_THROW(FragmentChange::decode(longer), BadBytes);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            Values flipped = bytes;
            flipped[i] ^= static_cast<std::byte>(1 + dice.below(255));
            readDamaged(flipped);
        }
    }
}

TEST(FragmentChange, takesNoMemoryForWhatIsOnlyClaimed) {
    // Sixteen million points in runs, of which not one value follows.
    const Values bytes = {std::byte{1},    std::byte{1},    std::byte{0x80}, std::byte{0x80}, std::byte{0x80},
                          std::byte{8},    std::byte{0},    std::byte{1},    std::byte{0},    std::byte{0x80},
                          std::byte{0x80}, std::byte{0x80}, std::byte{8},    std::byte{1}};
    EXPECT_THROW(FragmentChange::decode(bytes), BadBytes);
    EXPECT_THROW(FragmentChange::decode(bytes, 1, 1000), BadBytes);
}

} // namespace
} // namespace corvane::test
