// SPDX-License-Identifier: Apache-2.0
#include "LasTestSupport.hpp"

#include <map>
#include <nlohmann/json.hpp>

namespace corvane {
namespace {

using nlohmann::json;
using test::holds;

const std::filesystem::path Folder = CORVANE_TEST_DATA;

/// Real surveys with facts that were found out without this code. Skips where they are not at hand.
class RealSurveys : public testing::Test {
protected:
    void SetUp() override {
        std::ifstream stream(Folder / "facts.json");
        if (!stream) GTEST_SKIP() << "the sample surveys are not in " << Folder;
        facts_ = json::parse(stream);
    }

    /// Calls `look(name, facts)` for every sample whose name begins and ends so, and says how many there were.
    template <class Look>
    int each(const std::string& start, const std::string& end, Look look) const {
        int count = 0;
        for (const auto& [name, facts] : facts_.items()) {
            const bool damaged = name.starts_with("malformed/");
            if (damaged != (start == "malformed/") || !name.ends_with(end)) continue;
            SCOPED_TRACE(name);
            look((Folder / name).string(), facts);
            ++count;
        }
        return count;
    }

    json facts_;
};

std::vector<std::string> listed(const std::vector<LasRecord>& records) {
    std::vector<std::string> list;
    for (const auto& record : records)
        list.push_back(fmt::format("{}/{}:{}", record.userId, record.recordId, record.payloadLength));
    return list;
}

TEST_F(RealSurveys, haveTheHeadersThatTheFactsSay) {
    const int count = each("", ".las", [](const std::string& path, const json& facts) {
        const auto las = LasFile::open(path);
        const auto& header = las.header;
        EXPECT_EQ(header.version(), facts["version"]);
        EXPECT_EQ(header.globalEncoding, facts["global_encoding"]);
        EXPECT_EQ(header.headerSize, facts["header_size"]);
        EXPECT_EQ(header.offsetToPoints, facts["offset_to_points"]);
        EXPECT_EQ(header.pointFormat, facts["point_format"]);
        EXPECT_EQ(header.recordLength, facts["record_length"]);
        EXPECT_EQ(header.pointCount, facts["points"]);
        EXPECT_EQ(header.vlrCount, facts["vlr_count"]);
        EXPECT_EQ(json(header.scale), facts["scale"]);
        EXPECT_EQ(json(header.offset), facts["offset"]);
        for (std::size_t axis = 0; axis < 3; ++axis)
            EXPECT_EQ(json({header.minimum[axis], header.maximum[axis]}),
                      facts["header_bounds"][std::string(1, "xyz"[axis])]);
        EXPECT_EQ(json(listed(las.vlrs)), facts["vlrs"]);
        EXPECT_EQ(json(listed(las.evlrs)), facts.value("evlrs", json::array()));
    });
    EXPECT_GE(count, 25);
}

/// The stored value of a dimension of 8 bits or fewer.
unsigned valueOf(std::span<const std::byte> record, const Dimension& dimension) {
    const auto byte = std::to_integer<unsigned>(record[dimension.offset]);
    return dimension.packed() ? (byte >> dimension.firstBit) & dimension.largestValue() : byte;
}

/// How often a dimension has each value.
std::map<std::string, std::uint64_t> histogram(std::span<const std::byte> points, std::size_t recordLength,
                                               const Dimension& dimension) {
    std::array<std::uint64_t, 256> counts{};
    for (; !points.empty(); points = points.subspan(recordLength)) ++counts[valueOf(points, dimension)];
    std::map<std::string, std::uint64_t> found;
    for (std::size_t value = 0; value < counts.size(); ++value)
        if (counts[value] > 0) found[std::to_string(value)] = counts[value];
    return found;
}

TEST_F(RealSurveys, haveTheClassesReturnsAndFlagsThatTheFactsSay) {
    const std::map<std::string, std::string> flags{
        {"Synthetic", "synthetic"}, {"KeyPoint", "keypoint"}, {"Withheld", "withheld"}, {"Overlap", "overlap"}};
    int compared = 0;
    each("", ".las", [&](const std::string& path, const json& facts) {
        const auto las = LasFile::open(path);
        std::vector<std::byte> points(las.header.pointsEnd() - las.header.offsetToPoints);
        las.file->read(las.header.offsetToPoints, points);
        for (const auto& dimension : las.dimensions) {
            if (points.empty() || sizeOf(dimension.storage) > 1) continue;
            auto found = histogram(points, las.header.recordLength, dimension);
            compared += dimension.name == "Classification" || dimension.name == "ReturnNumber" ||
                        flags.contains(dimension.name);
            if (flags.contains(dimension.name)) {
                EXPECT_EQ(found["1"], facts["flags"][flags.at(dimension.name)]) << dimension.name;
            } else if (dimension.name == "ReturnNumber") {
                EXPECT_EQ(json(found), facts["returns"]);
            }
            if (dimension.name != "Classification") continue;
            EXPECT_EQ(found.size(), facts["classes"].size());
            for (const auto& [value, count] : found)
                EXPECT_EQ(count, facts["classes"][value]["count"]) << "class " << value;
        }
    });
    EXPECT_GE(compared, 100);
}

TEST_F(RealSurveys, headersComeBackFromTheirEncoding) {
    const int count = each("", ".las", [](const std::string& path, const json& facts) {
        const auto las = LasFile::open(path);
        std::vector<std::byte> original(las.header.standardSize());
        las.file->read(0, original);
        auto encoded = las.header.encode();
        encoded.resize(original.size());
        // Formats 6 to 10 must not have the legacy counts (24 bytes) that some writers fill all the same.
        if (facts["point_format"] >= 6) std::fill_n(original.begin() + 107, 24, std::byte{0});
        // What follows a text's null is the writer's old memory.
        for (const std::size_t text : {26U, 58U}) {
            const auto field = std::span(original).subspan(text, 32);
            std::fill(std::ranges::find(field, std::byte{0}), field.end(), std::byte{0});
        }
        EXPECT_EQ(encoded, original);
    });
    EXPECT_GE(count, 25);
}

std::string failureOf(const std::string& path) {
    try {
        return "opened: " + test::joined(LasFile::open(path).warnings);
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST_F(RealSurveys, compressedOnesAreRefusedAsSuch) {
    const auto refused = [](const std::string& path, const json&) {
        EXPECT_TRUE(holds(failureOf(path), "a compressed file (LAZ)")) << failureOf(path);
    };
    EXPECT_GE(each("", ".laz", refused) + each("malformed/", ".laz", refused), 20);
}

TEST_F(RealSurveys, damagedOnesEndInASentenceOrAWarning) {
    std::map<std::string, std::string> endings{
        {"bad_vlr_count.las", "offset 429 found 0 bytes before the points, expected VLR 3 of 3"},
        {"count_too_large.las", "offset 107 found a count of 4294967295 points of 34 bytes, expected at most 1065"},
        {"cut_mid_record.las", "offset 107 found a count of 1065 points of 34 bytes, expected at most 500"},
        {"empty_file.las", "offset 0 found the end of the file"},
        {"malformed_extrabytes.las", "opened: Extra bytes descriptor 1 (TestEB) needs 2 bytes from byte 20"},
        {"one_record_short.las", "offset 107 found a count of 1065 points of 34 bytes, expected at most 1064"}};
    each("malformed/", ".las", [&](const std::string& path, const json&) {
        const auto ending = endings.extract(std::filesystem::path(path).filename());
        ASSERT_FALSE(ending.empty()) << "a damaged sample that is not in the table";
        EXPECT_TRUE(holds(failureOf(path), ending.mapped())) << failureOf(path);
    });
    EXPECT_TRUE(endings.empty()) << endings.begin()->first << " was not looked at";
}

} // namespace
} // namespace corvane
