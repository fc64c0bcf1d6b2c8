// SPDX-License-Identifier: Apache-2.0
// Samples of surveys that are not loaded: they are points of the survey, from all over it, and few of them.
#include "survey/SurveySample.hpp"
#include "../support/RealSurveys.hpp"
#include "Bench.hpp"
#include "base/Failure.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <array>

namespace corvane::test {
namespace {

class SurveySamples : public Benches {
protected:
    /// Numbers ascend, and each is the record that it says.
    static void expectPointsOf(const LasFile& las, const SurveySample& sample) {
        ASSERT_EQ(sample.positions.size(), sample.size());
        ASSERT_EQ(sample.classes.size(), sample.size());
        EXPECT_TRUE(std::ranges::adjacent_find(sample.numbers, std::greater_equal()) == sample.numbers.end());
        std::vector<std::byte> record(las.points->recordLength());
        for (std::size_t i = 0; i < sample.size(); i += 1 + sample.size() / 200) {
            las.points->read(sample.numbers[i], record);
            std::array<Sextant::PhysicalSpace::point, 1> position;
            decodePositions(std::span<const std::byte>(record), record.size(), las.header,
                            std::span<Sextant::PhysicalSpace::point>(position));
            EXPECT_EQ(position[0], sample.positions[i]);
            std::array<double, 1> value;
            decodeNumbers(record, record.size(), *las.find(ClassificationName), value);
            EXPECT_EQ(value[0], sample.classes[i]);
        }
    }

    using Cells = std::array<double, 16>;

    /// The share of points in each cell of a grid over the survey.
    static Cells cellsOf(const LasHeader& header, const SurveySample& sample) {
        Cells cells{};
        for (const auto& p : sample.positions) {
            const auto cell = [](double at, double low, double high) {
                return static_cast<std::size_t>(std::clamp((at - low) / (high - low) * 4, 0.0, 3.0));
            };
            cells[4 * cell(p.x, header.minimum[0], header.maximum[0]) +
                  cell(p.y, header.minimum[1], header.maximum[1])] += 1.0 / double(sample.size());
        }
        return cells;
    }
};

TEST_F(SurveySamples, comeFromAllOverTheSurvey) {
    for (const char* name : {"in.las", "in.laz", "in.copc.laz"}) {
        SCOPED_TRACE(name);
        makeSurvey(name, 400'000);
        const LasFile las = LasFile::open(in);
        const SurveySample all = sampleOf(las, 400'000), some = sampleOf(las, 20'000), few = sampleOf(las, 100);
        EXPECT_EQ(all.size(), 400'000u);
        expectPointsOf(las, all);
        expectPointsOf(las, some);
        EXPECT_TRUE(some.size() >= 10'000 && some.size() <= 40'000) << some.size();
        EXPECT_TRUE(few.size() > 0 && few.size() <= 200) << few.size();
        EXPECT_EQ(some.points, 400'000u);
        if (name == std::string("in.laz")) continue; // eight chunks are too few to be everywhere
        const Cells expected = cellsOf(las.header, all), found = cellsOf(las.header, some);
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_TRUE(found[i] > expected[i] / 3 && found[i] < expected[i] * 3) << i << ": " << found[i];
    }
}

TEST_F(SurveySamples, ofNoPointOfOneAndStopped) {
    makeSurvey("in.las", 0);
    EXPECT_EQ(sampleOf(LasFile::open(in), 1000).size(), 0u);
    makeSurvey("in.las", 1);
    EXPECT_EQ(sampleOf(LasFile::open(in), 1000).size(), 1u);
    makeSurvey("in.las", 5000);
    EXPECT_THROW(sampleOf(LasFile::open(in), 1000, Watch([](auto, auto, const auto&) { return false; })), Interrupted);
}

class RealSamples : public WithFacts<SurveySamples> {};

/// Whatever a header says, it is points of the survey, or a sentence.
TEST_F(RealSamples, ofRealAndOfDamagedSurveys) {
    for (const std::string start : {"", "malformed/"})
        for (const std::string& name : named(start, "")) {
            SCOPED_TRACE(name);
            try {
                const LasFile las = LasFile::open(Data / name);
                const SurveySample sample = sampleOf(las, 300);
                EXPECT_LE(sample.size(), 600u);
                EXPECT_TRUE(!start.empty() || (sample.size() > 0) == (las.header.pointCount > 0));
            } catch (const Failure& failure) {
                EXPECT_FALSE(start.empty()) << failure.what();
            }
        }
}

} // namespace
} // namespace corvane::test
