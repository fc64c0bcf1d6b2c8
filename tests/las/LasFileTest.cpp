// SPDX-License-Identifier: Apache-2.0
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"

namespace corvane {
namespace {

using RealSurveys = test::WithFacts<testing::Test>;

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
