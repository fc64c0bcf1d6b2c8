// SPDX-License-Identifier: Apache-2.0
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"

#include <map>

namespace corvane {
namespace {

using test::holds;
using test::Survey;

/// "name@byte", with ":first+count" for bits and " *scale+shift" where a stored value is not the value.
std::string described(const Dimension& d) {
    auto text = fmt::format("{}:{}@{}", d.name, nameOf(d.storage), d.offset);
    if (d.packed()) text += fmt::format(":{}+{}", d.firstBit, d.bits);
    if (d.scaled()) text += fmt::format("*{}+{}", d.scale, d.shift);
    return text;
}

std::string described(const std::vector<Dimension>& dimensions) {
    std::string text;
    for (const auto& dimension : dimensions) text += described(dimension) + ' ';
    return text;
}

TEST(LasDimensions, coverEveryBitOfEveryFormatOnce) {
    for (std::uint8_t format = 0; format <= 10; ++format) {
        SCOPED_TRACE(int{format});
        ASSERT_EQ(recordLengthOf(format), test::RecordLengths[format]);
        std::map<std::size_t, unsigned> covered; // bits by byte
        for (const auto& dimension : dimensionsOf(format))
            for (std::size_t i = 0; i < sizeOf(dimension.storage); ++i) {
                const unsigned mask = dimension.packed() ? dimension.largestValue() << dimension.firstBit : 0xFF;
                EXPECT_EQ(covered[dimension.offset + i] & mask, 0U) << dimension.name;
                covered[dimension.offset + i] |= mask;
            }
        EXPECT_EQ(covered.size(), test::RecordLengths[format]);
        for (const auto& [byte, mask] : covered) EXPECT_EQ(mask, 0xFFU) << byte;
    }
}

TEST(LasDimensions, lieWhereTheFormatsPutThem) {
    const std::map<int, std::vector<const char*>> expected{
        {5,
         {"ReturnNumber:uint8@14:0+3", "NumberOfReturns:uint8@14:3+3", "Classification:uint8@15:0+5",
          "Synthetic:uint8@15:5+1", "KeyPoint:uint8@15:6+1", "Withheld:uint8@15:7+1", "ScanAngleRank:int8@16",
          "GpsTime:double@20", "Blue:uint16@32", "WavePacketIndex:uint8@34", "WaveZt:float@59"}},
        {10,
         {"ReturnNumber:uint8@14:0+4", "NumberOfReturns:uint8@14:4+4", "Synthetic:uint8@15:0+1",
          "KeyPoint:uint8@15:1+1", "Withheld:uint8@15:2+1", "Overlap:uint8@15:3+1", "ScanChannel:uint8@15:4+2",
          "Classification:uint8@16", "ScanAngle:int16@18", "PointSourceId:uint16@20", "GpsTime:double@22",
          "Red:uint16@30", "Infrared:uint16@36", "WavePacketOffset:uint64@39", "WavePacketSize:uint32@47"}},
        {2, {"Red:uint16@20"}},
        {9, {"WavePacketIndex:uint8@30", "WavePacketLocation:float@43"}}};
    for (const auto& [format, dimensions] : expected)
        for (const auto* dimension : dimensions)
            EXPECT_TRUE(holds(described(dimensionsOf(static_cast<std::uint8_t>(format))), dimension))
                << format << dimension;
}

/// An Extra Bytes descriptor of 192 bytes; the scale of each further element of an array is larger by one.
std::string descriptor(char type, char options, const std::string& name, double scale = 0, double shift = 0) {
    std::string bytes(192, '\0');
    bytes[2] = type;
    bytes[3] = options;
    bytes.replace(4, name.size(), name);
    for (std::size_t element = 0; element < 3; ++element, ++scale) {
        std::memcpy(bytes.data() + 112 + 8 * element, &scale, sizeof scale);
        std::memcpy(bytes.data() + 136 + 8 * element, &shift, sizeof shift);
    }
    return bytes;
}

struct Extra {
    std::vector<std::string> records; ///< payloads of as many Extra Bytes VLRs
    std::string dimensions;           ///< behind those of the format, from byte 20 of the record on
    std::string warning;
};

TEST(LasDimensions, ofExtraBytesAreFoundOrWarnedAbout) {
    const std::vector<Extra> extras{
        {{descriptor(4, 8 + 16, "Height", 0.5, 10)}, "Height:int16@20*0.5+10 ", ""},
        {{descriptor(4, 0, "Height", 0.5, 10)}, "Height:int16@20 ", ""},
        {{descriptor(11, 8, "Pair", 0.5)}, "Pair[0]:uint8@20*0.5+0 Pair[1]:uint8@21*1.5+0 ", ""},
        {{descriptor(1, 0, "a"), descriptor(9, 0, "b")}, "a:uint8@20 b:float@21 ", ""},
        {{descriptor(0, 3, "unused") + descriptor(23, 0, "Colour")},
         "Colour[0]:uint16@23 Colour[1]:uint16@25 Colour[2]:uint16@27 ",
         ""},
        {{descriptor(20, 0, "Pair")},
         "",
         "(Pair) needs 16 bytes from byte 20 of the point record, expected an end within its 32"},
        {{descriptor(31, 0, "odd") + descriptor(1, 0, "lost")}, "", "(odd) has the data type 31, expected 0 to 30"},
        {{descriptor(1, 0, "userdata")}, "userdata_20:uint8@20 ", "name that is taken; it is called userdata_20"},
        {{descriptor(1, 8, "flat", 0)}, "flat:uint8@20 ", "has the scale 0 and the offset 0"},
        {{descriptor(1, 0, "a") + "cut"}, "a:uint8@20 ", "195 bytes, expected a multiple of 192"},
    };
    for (const auto& extra : extras) {
        Survey survey(2, 0, 12);
        for (const auto& payload : extra.records) survey.vlr("LASF_Spec", 4, payload);
        const auto las = survey.points().open();
        const auto standard = described(dimensionsOf(0));
        EXPECT_EQ(described(las.dimensions), standard + extra.dimensions);
        EXPECT_EQ(las.warnings.size(), extra.warning.empty() ? 0U : 1U) << test::joined(las.warnings);
        EXPECT_TRUE(holds(test::joined(las.warnings), extra.warning)) << test::joined(las.warnings);
    }
    const auto late = Survey(4, 6, 2).points().evlr("LASF_Spec", 4, descriptor(3, 0, "late")).open();
    EXPECT_EQ(described(late.dimensions.back()), "late:uint16@30");
}

/// 16-bit numbers as bytes.
std::string numbers(const std::vector<std::uint16_t>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * 2};
}

TEST(CoordinateSystem, isTheTextOrElseTheKeysWithTheirValues) {
    const auto doubles = std::array{1.5, 2.5};
    const std::string doubleBytes(reinterpret_cast<const char*>(doubles.data()), sizeof doubles);
    const auto keys = numbers({1, 1, 0, 3, 3072, 0, 1, 2154, 2057, 34736, 2, 0, 1026, 34737, 6, 4});
    const auto geo = [&](const std::string& directory) {
        return Survey()
            .vlr("LASF_Projection", 34735, directory)
            .vlr("LASF_Projection", 34736, doubleBytes)
            .vlr("LASF_Projection", 34737, std::string("abc|Paris|\0", 11));
    };
    EXPECT_EQ(geo(keys).points().open().crs, "GeoTIFF 3072=2154 2057=1.5,2.5 1026=\"Paris\"");
    const auto text = std::string("PROJCS[]\0\0", 10);
    const auto emptyText = geo(keys).vlr("LASF_Projection", 2112, "").vlr("other", 2112, "WKT").points();
    EXPECT_EQ(emptyText.open().crs.substr(0, 7), "GeoTIFF");
    EXPECT_EQ(Survey(emptyText).evlr("LASF_Projection", 2112, text).open().crs, "PROJCS[]");
    EXPECT_EQ(Survey().points().open().crs, "");

    const std::vector<std::pair<std::string, std::string>> nonsense{
        {numbers({1, 1, 0, 2, 3072, 0, 1, 2154}), "counts 2 keys but its 16 bytes hold 1"},
        {"short", "counts 0 keys but its 5 bytes hold 0"},
        {numbers({1, 1, 0, 2, 3072, 0, 1, 2154, 2057, 34736, 2, 1}), "1 GeoTIFF keys of 2"},
        {numbers({1, 1, 0, 2, 3072, 0, 1, 2154, 1026, 34737, 65535, 65535}), "1 GeoTIFF keys of 2"},
        {numbers({1, 1, 0, 2, 3072, 0, 1, 2154, 1026, 9, 1, 0}), "1 GeoTIFF keys of 2"}};
    for (const auto& [directory, warning] : nonsense) {
        const auto las = geo(directory).points().open();
        EXPECT_EQ(las.crs, directory.size() < 16 ? "" : "GeoTIFF 3072=2154");
        ASSERT_EQ(las.warnings.size(), 1U) << warning;
        EXPECT_TRUE(holds(las.warnings[0], warning)) << las.warnings[0];
    }
}

TEST(CoordinateSystem, isNoLongerThanItsKeysCanMean) {
    std::vector<std::uint16_t> directory{1, 1, 0, 10'000};
    for (int i = 0; i < 10'000; ++i) directory.insert(directory.end(), {1026, 34737, 60'000, 0}); // all the same text
    const auto las = Survey()
                         .vlr("LASF_Projection", 34737, std::string(60'000, 'x'))
                         .points()
                         .evlr("LASF_Projection", 34735, numbers(directory))
                         .open();
    EXPECT_LT(las.crs.size(), 200'000u);
    EXPECT_TRUE(holds(test::joined(las.warnings), "from number 3 of 10000 on are left out"))
        << test::joined(las.warnings);
}

TEST(LasFile, givesTextsAsTheyMayBeShown) {
    const auto las =
        Survey(2, 0, 1).vlr("LASF_Spec", 4, descriptor(1, 0, "\x1b[31m")).vlr("\xff\x07", 1, "").points().open();
    EXPECT_EQ(las.dimensions.back().name, "\\x1B[31m");
    EXPECT_EQ(las.vlrs.back().userId, "\\xFF\\x07");
}

TEST(LasHeader, refusesToWriteMorePointsThanTheVersionCanCount) {
    LasHeader tooMany;
    tooMany.versionMinor = 2;
    tooMany.pointCount = 1ULL << 32;
    EXPECT_THROW(tooMany.encode(), Failure);
}

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
