// SPDX-License-Identifier: Apache-2.0
#include "Chunks.hpp"
#include "laz/LayeredChunk.hpp"

#include <gtest/gtest.h>

namespace laz {
namespace {

using namespace test;

constexpr std::uint8_t Format = 10;
constexpr std::size_t Length = 69, Points = 2500; // with two extra bytes

Layout layoutOf(std::uint16_t version) {
    Layout layout = Layout::standard(Format, Length);
    for (Item& item : layout.items) item.version = version;
    return layout;
}

class Layers : public testing::TestWithParam<std::uint16_t> {
protected:
    const Layout layout = layoutOf(GetParam());
    Bytes records = inventedRecords(Format, Length, Points, 31);
    const Bytes chunk = encoded(layout, records);
};

TEST_P(Layers, areDecodedOneByOne) {
    for (std::size_t byte = 0; byte < Length; ++byte) {
        const RecordBytes wanted{byte, byte + 1};
        const auto back = decoded(layout, chunk, Points, layersOf(layout, std::span(&wanted, 1)));
        EXPECT_TRUE(back.usedUp);
        for (std::size_t at = byte; at < records.size(); at += Length)
            ASSERT_EQ(back.records[at], records[at]) << byte << " of point " << at / Length;
    }
}

TEST_P(Layers, thatNobodyWantsAreNotRead) {
    const auto head = LayeredHead::read(layout, from(chunk));
    const RecordBytes classes{16, 17};
    std::uint64_t read = 0;
    const auto counting = [&](std::uint64_t offset, std::span<std::byte> bytes) {
        read += bytes.size();
        from(chunk)(offset, bytes);
    };
    const auto decoder = decodeChunk(layout, counting, chunk.size(), Points, layersOf(layout, std::span(&classes, 1)));
    Bytes back(records.size());
    EXPECT_EQ(decoder->decode(back), Points);
    EXPECT_EQ(read, LayeredHead::sizeOf(layout) + head.layerBytes[0] + head.layerBytes[2]);
}

/// Every layer whose values can be replaced without the others, by one of its bytes.
constexpr std::size_t Replaceable[] = {8, 12, 15, 16, 17, 30, 36, 40, 67, 68};

TEST_P(Layers, areReplacedAsIfAllHadBeenEncodedAnew) {
    std::mt19937 random(3);
    for (const std::size_t byte : Replaceable) {
        const std::uint8_t bits = byte == 15 ? 0xCF : 0xFF; // the channel is not of the flags
        for (std::size_t point = 0; point < Points; point += 1 + random() % 90)
            records[point * Length + byte] ^= std::byte(random() & bits);
        const RecordBytes changed{byte, byte + 1, bits};
        const auto layers = layersOf(layout, std::span(&changed, 1));
        EXPECT_EQ(std::ranges::count(layers, true), 1);
        const auto old = decoded(layout, chunk, Points).records;
        Bytes edited = old;
        for (std::size_t at = byte; at < records.size(); at += Length) edited[at] = records[at];
        EXPECT_EQ(replaceLayers(layout, chunk, edited, layers), encoded(layout, edited)) << byte;
        EXPECT_EQ(replaceLayers(layout, chunk, old, layers), chunk) << byte;
    }
}

TEST_P(Layers, ofSourceAndAngleTakeTheFirstAlong) {
    for (std::size_t point = 0; point < Points; point += 7) {
        records[point * Length + 18] ^= std::byte{5};
        records[point * Length + 20] ^= std::byte{9};
    }
    const RecordBytes changed[] = {{0, 1}, {18, 22}};
    EXPECT_EQ(replaceLayers(layout, chunk, records, layersOf(layout, changed)), encoded(layout, records));
}

TEST_P(Layers, thatAreDamagedLeaveTheOthersSound) {
    const auto head = LayeredHead::read(layout, from(chunk));
    Bytes damaged = chunk;
    std::fill_n(damaged.begin() + head.begin(5), head.layerBytes[5], std::byte{0xFF}); // scan angles
    const RecordBytes classes{16, 17}, angles{18, 20};
    EXPECT_EQ(decoded(layout, damaged, Points, layersOf(layout, std::span(&classes, 1))).sound, Points);
    EXPECT_EQ(decoded(layout, damaged, Points, layersOf(layout, std::span(&angles, 1))).sound, 1);
    EXPECT_EQ(decoded(layout, damaged, Points).sound, 1);
}

TEST_P(Layers, mayEndWithZerosInThePlaceOfALongerOne) {
    const auto head = LayeredHead::read(layout, from(chunk));
    for (const std::uint32_t zeros : {10u, 1000000u}) { // more than is read at a time, too
        Bytes padded = chunk;
        padded.insert(padded.begin() + head.begin(3), zeros, std::byte{0});
        put(padded.data() + Length + 4 + 2 * 4, head.layerBytes[2] + zeros);
        EXPECT_TRUE(decoded(layout, padded, Points).usedUp);
        padded[head.begin(3) + zeros - 1] = std::byte{1};
        EXPECT_FALSE(decoded(layout, padded, Points).usedUp);
    }
}

/// Simpler values into the room of the old ones, and the old ones back; the first layer is among them.
TEST_P(Layers, areReplacedInTheRoomOfTheOldOnes) {
    const Bytes original = records;
    const std::vector<RecordBytes> places{{16, 17}, {18, 20}};
    LayerSet changed = layersOf(layout, places);
    changed.front() = true;
    for (const std::size_t rest : {std::size_t{0}, Points / 2}) { // that keeps its values
        records = original;
        for (std::size_t i = 0; i < Points - rest; ++i)
            for (const RecordBytes& place : places)
                for (std::size_t at = place.begin; at < place.end; ++at) records[i * Length + at] = std::byte{1};
        const auto simple = replaceLayersInPlace(layout, chunk, records, changed);
        ASSERT_TRUE(simple);
        EXPECT_EQ(simple->size(), chunk.size());
        const auto back = decoded(layout, *simple, Points);
        EXPECT_TRUE(back.usedUp);
        EXPECT_TRUE(back.records == records);
        EXPECT_TRUE(replaceLayersInPlace(layout, *simple, original, changed) == chunk);
        const auto small = replaceLayers(layout, chunk, records, changed);
        EXPECT_LT(small.size(), chunk.size());
        EXPECT_FALSE(replaceLayersInPlace(layout, small, original, changed));
    }
}

INSTANTIATE_TEST_SUITE_P(OfVersions, Layers, testing::Values(3, 4));

TEST(LayeredHead, thatDoesNotAddUpIsRefused) {
    const auto layout = Layout::standard(6, 30);
    const auto chunk = encoded(layout, inventedRecords(6, 30, 100, 1));
    const auto refused = [&](std::size_t place, std::uint32_t value) {
        Bytes damaged = chunk;
        put(damaged.data() + place, value);
        EXPECT_THROW(decoded(layout, damaged, 100), Error) << place;
    };
    refused(30, 101);        // points
    refused(34, 0);          // the first layer
    refused(38, 0xFFFFFFF0); // more than there is
    EXPECT_THROW(decodeChunk(layout, from(chunk), chunk.size() - 1, 100), Error);
    EXPECT_THROW(decodeChunk(layout, from(chunk), 40, 100), Error);
}

} // namespace
} // namespace laz
