// SPDX-License-Identifier: Apache-2.0
// Points of later formats that are stored for older programs. The files are made here of real ones.
#include "../support/CompatibilityWriter.hpp"
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"
#include "las/PointWriter.hpp"

#include <numeric>

namespace corvane::test {
namespace {

std::string recordsOf(const PointReader& points) {
    std::string records(points.count() * points.recordLength(), '\0');
    points.read(0, std::as_writable_bytes(std::span(records)));
    return records;
}

void save(const LasFile& las, const std::string& path, const PointEdits& edits = {}) {
    OutputFile output(path, true);
    PointWriter(las, output, {}).write(edits, {}, Packing::forName(path, las));
    output.commit();
}

class Compatibility : public WithFacts<testing::Test> {
protected:
    void SetUp() override {
        WithFacts::SetUp();
        if (IsSkipped()) return;
        six = modernPoints(Data / "pdrf6-1.4.las");
        eight = modernPoints(Data / "pdrf8-1.4.las");
        nine = modernPoints(Data / "pdrf9-1.4.las");
        seven = withoutBytes(eight, 7, 36, 2);
        ten = withBytes(eight, 10, 38, nine, 30, 29);
    }

    LasFile write(const CompatibilityWriter& writer) const {
        test::write(old, writer.file());
        return LasFile::open(old);
    }

    Folder folder;
    const std::string old = folder / "old.las", packed = folder / "old.laz", plain = folder / "again.las";
    ModernPoints six, seven, eight, nine, ten;
};

TEST_F(Compatibility, isShownAsWhatItStandsForAndStoredAsItIs) {
    ModernPoints semis = modernPoints(Data / "semis_2023_pf6.laz");
    semis.records.resize(60'000 * semis.stride); // more than a chunk
    const ModernPoints ign = modernPoints(Data / "ign_77050_627760_pf8.laz");
    for (const ModernPoints* points :
         std::initializer_list<const ModernPoints*>{&six, &seven, &eight, &nine, &ten, &semis, &ign})
        for (const bool ownFirst : {false, true}) {
            if (ownFirst && points->descriptors.empty()) continue;
            SCOPED_TRACE(fmt::format("format {}, {} points, own first: {}", points->format, points->count(), ownFirst));
            CompatibilityWriter writer(*points);
            writer.ownFirst = ownFirst;
            const LasFile las = write(writer);
            save(las, packed);
            const LasFile compressed = LasFile::open(packed);
            for (const LasFile* file : {&las, &compressed}) {
                EXPECT_EQ(joined(file->warnings), "");
                EXPECT_EQ(file->header.pointFormat, points->format);
                EXPECT_EQ(file->header.recordLength, points->stride);
                EXPECT_EQ(file->header.pointCount, points->count());
                EXPECT_TRUE(std::ranges::equal(file->header.returnCounts, std::span(writer.counts).subspan(1)));
                EXPECT_EQ(file->storedFormat(), writer.storedFormat());
                EXPECT_EQ(file->stored->recordLength(), writer.storedLength());
                EXPECT_TRUE(recordsOf(*file->points) == points->records);
                const auto standard = dimensionsOf(static_cast<std::uint8_t>(points->format));
                ASSERT_EQ(file->dimensions.size(), standard.size() + points->descriptors.size() / 192);
                EXPECT_TRUE(std::ranges::equal(standard, std::span(file->dimensions).first(standard.size())));
            }
            std::string pieces(points->records.size(), '\0'); // as fragments are read
            for (const PointRange& range : compressed.points->ranges(777))
                compressed.points->read(range.first, std::as_writable_bytes(std::span(pieces).subspan(
                                                         range.first * points->stride, range.count * points->stride)));
            EXPECT_TRUE(pieces == points->records);

            EXPECT_FALSE(compressed.compression()->layout.layered());
            EXPECT_EQ(compressed.compression()->layout.options, 1u);
            EXPECT_TRUE(recordsOf(*compressed.stored) == bytesOf(old).substr(writer.start()));
            save(compressed, plain);
            EXPECT_TRUE(bytesOf(plain) == bytesOf(old));
            save(las, plain);
            EXPECT_TRUE(bytesOf(plain) == bytesOf(old));
            const std::string before = bytesOf(packed);
            save(compressed, packed);
            EXPECT_TRUE(bytesOf(packed) == before);
        }
}

TEST_F(Compatibility, isEditedInAllPlacesAndNoOthers) {
    constexpr std::size_t first = 100, count = 600;
    std::vector<std::uint8_t> bytes(count), bits(count), channels(count), returns(count);
    std::vector<std::uint16_t> words(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
        bits[i] = i % 3 == 0;
        channels[i] = i / 2 % 4;
        returns[i] = i / 16 % 16;
        words[i] = static_cast<std::uint16_t>(i * 109);
    }
    struct Place {
        const char* dimension;
        const std::vector<std::uint8_t>* values; // null: words
        std::size_t place;
        int firstBit = 0, bits = 0;
    };
    const std::vector<Place> places{{"Classification", &bytes, 16, 0, 8},
                                    {"Synthetic", &bits, 15, 0, 1},
                                    {"KeyPoint", &bits, 15, 1, 1},
                                    {"Withheld", &bits, 15, 2, 1},
                                    {"Overlap", &bits, 15, 3, 1},
                                    {"ScanChannel", &channels, 15, 4, 2},
                                    {"ScanDirectionFlag", &bits, 15, 6, 1},
                                    {"EdgeOfFlightLine", &bits, 15, 7, 1},
                                    {"ReturnNumber", &returns, 14, 0, 4},
                                    {"NumberOfReturns", &returns, 14, 4, 4},
                                    {"UserData", &bytes, 17, 0, 8},
                                    {"ScanAngle", nullptr, 18},
                                    {"PointSourceId", nullptr, 20},
                                    {"Intensity", nullptr, 12},
                                    {"Infrared", nullptr, 36}};
    for (const ModernPoints* points : {&six, &seven, &eight, &nine, &ten}) {
        CompatibilityWriter original(*points);
        const LasFile las = write(original);
        save(las, packed);
        const LasFile compressed = LasFile::open(packed);
        ModernPoints all = *points;
        std::vector<PointEdit> allEdits;
        const auto check = [&](const ModernPoints& edited, const PointEdits& edits, bool packedToo) {
            CompatibilityWriter expected(edited);
            expected.counts = original.counts; // which no edit touches
            save(las, plain, edits);
            EXPECT_TRUE(bytesOf(plain) == expected.file());
            EXPECT_TRUE(recordsOf(EditedPoints(las.points, edits)) == edited.records);
            if (!packedToo) return;
            save(compressed, folder / "edited.laz", edits);
            const LasFile again = LasFile::open(folder / "edited.laz");
            EXPECT_TRUE(recordsOf(*again.points) == edited.records);
            save(again, plain);
            EXPECT_TRUE(bytesOf(plain) == expected.file());
        };
        for (const Place& place : places) {
            SCOPED_TRACE(fmt::format("format {}, {}", points->format, place.dimension));
            const Dimension* dimension = las.find(place.dimension);
            EXPECT_EQ(dimension == nullptr, place.place == 36 && points->format != 8 && points->format != 10);
            if (!dimension) continue;
            ModernPoints edited = *points;
            for (ModernPoints* one : {&edited, &all})
                for (std::size_t i = 0; i < count; ++i)
                    if (place.values)
                        one->putBits(first + i, place.place, place.firstBit, place.bits, (*place.values)[i]);
                    else
                        one->put(first + i, place.place, words[i]);
            const auto values =
                place.values ? std::as_bytes(std::span(*place.values)) : std::as_bytes(std::span(words));
            allEdits.push_back({*dimension, first, values});
            check(edited, PointEdits({allEdits.back()}, nullptr), false);
        }
        SCOPED_TRACE(fmt::format("format {}, all at once", points->format));
        check(all, PointEdits(allEdits, nullptr), true);
    }
}

/// Other writers may share fields out otherwise; what stays the same must not be shared out anew.
TEST_F(Compatibility, leavesWhatOthersSharedOutOtherwise) {
    const CompatibilityWriter writer(six);
    write(writer);
    std::string bytes = bytesOf(old);
    const std::size_t stride = writer.storedLength(), own = writer.ownPlace();
    for (std::size_t at = writer.start(); at < bytes.size(); at += stride) {
        bytes[at + 15] = 3; // the class in both places
        bytes[at + own + 3] = 61;
        bytes[at + own + 4] = '\xF1'; // bits without a meaning
        bytes[at + 16] = 10;          // a rank that is not the nearest
        bytes[at + own] = 5;
        bytes[at + own + 1] = 0;
        bytes[at + 14] = 1 | 2 << 3; // less than three bits could hold
        bytes[at + own + 2] = 2 << 4 | 3;
    }
    test::write(old, bytes);
    const LasFile las = LasFile::open(old);
    ModernPoints shown = six;
    shown.records = recordsOf(*las.points);
    EXPECT_EQ(shown.get(0, 14), 3 | 5 << 4);
    EXPECT_EQ(shown.get(0, 15) & 0x3F, 1 << 3);
    EXPECT_EQ(shown.get(0, 16), 64);
    EXPECT_EQ(shown.get<std::int16_t>(0, 18), 1667 + 5);

    const std::vector<std::uint8_t> same(six.count(), 64), other(six.count(), 65), users(six.count(), 9);
    save(las, plain, PointEdits({{*las.find("Classification"), 0, std::as_bytes(std::span(same))}}, nullptr));
    EXPECT_TRUE(bytesOf(plain) == bytes);
    save(las, plain,
         PointEdits({{*las.find("Classification"), 0, std::as_bytes(std::span(other))},
                     {*las.find("UserData"), 0, std::as_bytes(std::span(users))}},
                    nullptr));
    for (std::size_t at = writer.start(); at < bytes.size(); at += stride) {
        bytes[at + 15] = 0;
        bytes[at + 17] = 9;
        bytes[at + own + 3] = 65;
    }
    EXPECT_TRUE(bytesOf(plain) == bytes);
}

TEST_F(Compatibility, isReadAsItIsStoredWhenAPartIsMissing) {
    const auto expectStored = [&](
                                  const CompatibilityWriter& writer, const std::string& reason,
                                  const std::function<void(std::string&)>& spoil = [](std::string&) {}) {
        SCOPED_TRACE(reason);
        std::string bytes = writer.file();
        spoil(bytes);
        test::write(old, bytes);
        const LasFile las = LasFile::open(old);
        EXPECT_FALSE(las.compatibility);
        EXPECT_EQ(las.header.recordLength, writer.storedLength());
        EXPECT_TRUE(recordsOf(*las.points) == bytes.substr(writer.start()));
        EXPECT_TRUE(holds(joined(las.warnings), reason)) << joined(las.warnings);
        save(las, plain);
        EXPECT_TRUE(bytesOf(plain) == bytes);
    };
    CompatibilityWriter writer(eight);
    writer.recordBytes = 0;
    expectStored(writer, "expected a VLR \"lascompatible\" 22204, too");
    writer.recordBytes = 155;
    expectStored(writer, "has a VLR \"lascompatible\" 22204 of 155 bytes, expected at least 156");
    writer.recordBytes = 156;
    writer.names[1] = "returns";
    expectStored(writer, "with other extra bytes, expected those that are called \"LAS 1.4 scan angle\"");
    writer.names[1] = writer.names[2];
    expectStored(writer, "with other extra bytes");
    writer.names = CompatibilityWriter(eight).names;
    writer.fewer = 4;
    expectStored(writer, "with other extra bytes");
    writer.fewer = 0;
    expectStored(writer, "version 1.2 and point format 2", [](std::string& bytes) { bytes[104] = 2; });

    CompatibilityWriter needsInfrared(ten);
    needsInfrared.names[4] = "infrared";
    expectStored(needsInfrared, "\"LAS 1.4 NIR band\"");
    writer.counts[0] = 7; // the header's, too: fewer points
    const LasFile fewer = write(writer);
    EXPECT_EQ(fewer.header.pointCount, 7u);
    std::string bytes = writer.file();
    bytes[107] = 5;
    test::write(old, bytes);
    const LasFile other = LasFile::open(old);
    EXPECT_EQ(other.header.pointFormat, 8);
    EXPECT_EQ(other.header.pointCount, 5u);
    EXPECT_TRUE(holds(joined(other.warnings), "is 7 and the one in the header 5")) << joined(other.warnings);
}

} // namespace
} // namespace corvane::test
