// SPDX-License-Identifier: Apache-2.0
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"

namespace corvane {
namespace {

using nlohmann::json;

using RealSurveys = test::WithFacts<testing::Test>;

std::vector<std::string> listed(const std::vector<LasRecord>& records) {
    std::vector<std::string> list;
    for (const auto& record : records)
        list.push_back(fmt::format("{}/{}:{}", record.userId, record.recordId, record.payloadLength));
    return list;
}

TEST_F(RealSurveys, haveTheHeadersThatTheFactsSay) {
    const auto names = named("", ".las");
    EXPECT_GE(names.size(), 25U);
    for (const auto& name : names) {
        SCOPED_TRACE(name);
        const json& known = facts[name];
        const auto las = LasFile::open(test::Data / name);
        const auto& header = las.header;
        EXPECT_EQ(header.version(), known["version"]);
        EXPECT_EQ(header.globalEncoding, known["global_encoding"]);
        EXPECT_EQ(header.headerSize, known["header_size"]);
        EXPECT_EQ(header.offsetToPoints, known["offset_to_points"]);
        EXPECT_EQ(header.pointFormat, known["point_format"]);
        EXPECT_EQ(header.recordLength, known["record_length"]);
        EXPECT_EQ(header.pointCount, known["points"]);
        EXPECT_EQ(header.vlrCount, known["vlr_count"]);
        EXPECT_EQ(json(header.scale), known["scale"]);
        EXPECT_EQ(json(header.offset), known["offset"]);
        for (std::size_t axis = 0; axis < 3; ++axis)
            EXPECT_EQ(json({header.minimum[axis], header.maximum[axis]}),
                      known["header_bounds"][std::string(1, "xyz"[axis])]);
        EXPECT_EQ(json(listed(las.vlrs)), known["vlrs"]);
        EXPECT_EQ(json(listed(las.evlrs)), known.value("evlrs", json::array()));
    }
}

TEST_F(RealSurveys, headersComeBackFromTheirEncoding) {
    for (const auto& name : named("", ".las")) {
        SCOPED_TRACE(name);
        const auto las = LasFile::open(test::Data / name);
        std::vector<std::byte> original(las.header.standardSize());
        las.file->read(0, original);
        auto encoded = las.header.encode();
        encoded.resize(original.size());
        // Formats 6 to 10 must not have the legacy counts (24 bytes) that some writers fill all the same.
        if (facts[name]["point_format"] >= 6) std::fill_n(original.begin() + 107, 24, std::byte{0});
        // What follows a text's null is the writer's old memory.
        for (const std::size_t text : {26U, 58U}) {
            const auto field = std::span(original).subspan(text, 32);
            std::fill(std::ranges::find(field, std::byte{0}), field.end(), std::byte{0});
        }
        EXPECT_EQ(encoded, original);
    }
}

} // namespace
} // namespace corvane
