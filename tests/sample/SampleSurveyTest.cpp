// SPDX-License-Identifier: Apache-2.0
#include "sample/SampleSurvey.hpp"
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "base/Failure.hpp"
#include "las/LasFile.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>

namespace corvane::test {
namespace {

/// A survey read back, with its values by name.
struct Survey {
    LasFile las;
    std::vector<std::byte> records;

    std::uint64_t size() const { return las.header.pointCount; }

    std::vector<double> values(std::string_view name) const {
        const auto found = std::ranges::find(las.dimensions, name, &Dimension::name);
        if (found == las.dimensions.end()) return {};
        std::vector<double> result(size());
        decodeNumbers(records, las.header.recordLength, *found, std::span(result));
        return result;
    }

    std::map<int, double> shares(std::string_view name) const {
        std::map<int, double> result;
        for (const double value : values(name)) result[static_cast<int>(value)] += 1.0 / static_cast<double>(size());
        return result;
    }
};

class SampleSurvey : public testing::Test {
protected:
    Survey make(SampleOptions options) const {
        options.overwrite = true;
        writeSampleSurvey(folder_ / "sample.las", options);
        Survey survey{LasFile::open(folder_ / "sample.las"), {}};
        survey.records.resize(survey.las.file->size() - survey.las.header.offsetToPoints);
        survey.las.file->read(survey.las.header.offsetToPoints, survey.records);
        return survey;
    }

    const Folder folder_;
};

TEST_F(SampleSurvey, OpensWithoutWarningInEveryVersionAndFormat) {
    const std::map<std::string, std::pair<int, int>> formats{{"1.0", {0, 1}}, {"1.1", {0, 1}},  {"1.2", {0, 3}},
                                                             {"1.3", {0, 5}}, {"1.4", {0, 10}}, {"1.5", {6, 10}}};
    for (const auto& [version, range] : formats)
        for (int format = -1; format <= 11; ++format) {
            SCOPED_TRACE(version + " format " + std::to_string(format));
            const SampleOptions options{.points = 2000, .version = version, .pointFormat = format};
            if (format != -1 && (format < range.first || format > range.second)) {
                EXPECT_THROW(make(options), UsageError);
                continue;
            }
            const auto survey = make(options);
            EXPECT_EQ(survey.las.header.version(), version);
            EXPECT_EQ(survey.las.warnings, std::vector<std::string>());
            EXPECT_EQ(survey.size(), 2000u);
            EXPECT_TRUE(holds(survey.las.crs, "32632")) << survey.las.crs;
            EXPECT_TRUE(format < 0 || survey.las.header.pointFormat == format);
            for (const auto& [value, share] : survey.shares("Classification")) {
                EXPECT_TRUE(survey.las.header.pointFormat >= 6 || value <= 7 || value == 9 || value == 12) << value;
            }
            const auto red = survey.values("Red");
            EXPECT_TRUE(red.empty() || std::ranges::max(red) > 255) << "colours fill 16 bits";
        }
}

TEST_F(SampleSurvey, LooksLikeASurvey) {
    const auto survey = make({.points = 200'000, .pointFormat = 7});
    auto classes = survey.shares("Classification");
    const std::pair<int, double> shares[] = {{2, .25},  {3, .01},    {4, .01},    {5, .03}, {6, .003}, {9, .01},
                                             {11, .01}, {14, .0005}, {13, .0001}, {15, 0},  {17, 0},   {7, 0}};
    for (const auto& [value, least] : shares) EXPECT_GT(classes[value], least) << "class " << value;
    const auto& [low, high] = std::pair(survey.las.header.minimum, survey.las.header.maximum);
    EXPECT_NEAR(200'000 / ((high[0] - low[0]) * (high[1] - low[1])), 8, 1.2) << "points per square metre";
    EXPECT_EQ(survey.shares("PointSourceId").size(), 3u) << "lines";
    for (const char* flag : {"Withheld", "Overlap", "KeyPoint", "Synthetic", "EdgeOfFlightLine"}) {
        const double set = survey.shares(flag)[1];
        EXPECT_TRUE(set > 0 && set < 0.2) << flag;
    }
}

TEST_F(SampleSurvey, PulsesAreWhole) {
    const auto survey = make({.points = 20'000, .version = "1.3", .pointFormat = 3});
    const auto time = survey.values("GpsTime"), number = survey.values("ReturnNumber"),
               returns = survey.values("NumberOfReturns"), z = survey.values("Z"),
               line = survey.values("PointSourceId");
    for (std::size_t i = 0; i < time.size(); ++i) {
        ASSERT_LE(number[i], returns[i]);
        if (i == 0) continue;
        const bool follows = number[i] > 1;
        ASSERT_EQ(follows, time[i] == time[i - 1]) << "at point " << i;
        ASSERT_LE(time[i - 1], time[i]);
        ASSERT_LE(line[i - 1], line[i]);
        if (follows) {
            ASSERT_EQ(number[i], number[i - 1] + 1);
            ASSERT_EQ(returns[i], returns[i - 1]);
            ASSERT_LT(z[i], z[i - 1]) << "at point " << i;
        } else {
            ASSERT_EQ(number[i - 1], returns[i - 1]) << "at point " << i;
        }
    }
    EXPECT_GT(std::ranges::count(number, 2), 1000);
}

TEST_F(SampleSurvey, RefusesBeforeItWritesAndLeavesNothingOnFailure) {
    const std::pair<SampleOptions, std::string> wrong[] = {
        {{.version = "1.6"}, "1.6"},
        {{.version = "1.2", .pointFormat = 6}, "it has 0 to 3"},
        {{.pointFormat = -2}, "-2"},
        {{.points = 5'000'000'000, .version = "1.3"}, "use version 1.4"},
        {{.points = UINT64_MAX}, "at most 1000000000000"},
    };
    for (const auto& [options, words] : wrong) {
        const auto refusal =
            messageOf<UsageError>([&, &options = options] { writeSampleSurvey(folder_ / "a.las", options); });
        EXPECT_TRUE(holds(refusal, words)) << words << ": " << refusal;
    }
    const Watch stops([](auto done, auto total, auto&&...) { return done < total / 2; });
    EXPECT_THROW(writeSampleSurvey(folder_ / "a.las", {.points = 100'000}, stops), Interrupted);
    EXPECT_TRUE(folder_.contents().empty());
    EXPECT_THROW(writeSampleSurvey(folder_ / "none/a.las", {}), Failure);
}

} // namespace
} // namespace corvane::test
