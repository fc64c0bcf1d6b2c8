// SPDX-License-Identifier: Apache-2.0
#include "Chunks.hpp"
#include "laz/MostPoints.hpp"

#include <gtest/gtest.h>

namespace laz {
namespace {

using namespace test;

/// A chunk and a table that another program wrote.
struct Known {
    Layout layout;
    Bytes records;
    Bytes behindFirst; ///< of the chunk
    std::vector<ChunkSize> chunks;
    Bytes table;
};

const Known Pointwise{
    Layout::standard(1, 28),
    hex("64000000c80000002c01000032000902fd0007000000000000002440"
        "6e000000cd0000002b0100003c001101fd0007000000000000002540"
        "6e000000ce000000fa00000014001205fc0907000000000000002540"
        "78ecffff70110100fb0000003d000902fd0008000000000000002640"),
    hex("e04528382513dd61dd4d8cdc5800028ea9508126362adec75b1f5cd004b6b1bf3174fa912787874138800001000000"),
    {{4, 75}},
    hex("00000000010000003ac8000000")};
const Known Layered{Layout::standard(6, 30),
                    hex("64000000c80000002c0100003200110002000cfe07000000000000002440"
                        "6e000000cd0000002b0100003c00210001000cfe07000000000000002540"
                        "6e000000ce000000fa0000001400221005000cfe07000000000000002540"
                        "78ecffff70110100fb0000003d001100020002fe07000000000000002640"),
                    hex("04000000 10000000 07000000 07000000 00000000 07000000 05000000 00000000 00000000 11000000"
                        "284448f5075003542dd5ddc24a000000 087b1514000000 0105017e000000 450da0d1000000 40f1000000"
                        "4d920c34790000885b24ea3e0001000000"),
                    {{4, 129}},
                    hex("000000000100000041ef000000")};

TEST(Chunk, agreesWithWhatAnotherProgramWrote) {
    for (const Known& known : {Pointwise, Layered}) {
        Bytes chunk(known.records.begin(), known.records.begin() + known.layout.recordLength());
        chunk.insert(chunk.end(), known.behindFirst.begin(), known.behindFirst.end());
        EXPECT_EQ(encoded(known.layout, known.records), chunk);
        EXPECT_EQ(table::encode(known.layout, known.chunks), known.table);
        const auto back = decoded(known.layout, chunk, 4);
        EXPECT_EQ(back.records, known.records);
        EXPECT_TRUE(back.usedUp);
    }
}

TEST(Chunk, ofVariableSizeAgreesWithWhatAnotherProgramWrote) {
    const auto layout = Layout::standard(1, 28, Layout::Variable);
    const std::vector<ChunkSize> chunks{{1, 32}, {2, 42}, {3, 52}};
    const auto table = hex("000000000300000004935a29be45000000");
    EXPECT_EQ(table::encode(layout, chunks), table);
    EXPECT_EQ(table::decode(layout, from(table), table.size(), 6, 126).chunks, chunks);
    const Bytes streams[] = {hex("01000000"), hex("000fbd3898d3d422000001000000"),
                             hex("000fbf4af69b791d200000012925f2c6b05fa00001000000")};
    std::int32_t point = 0;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        Bytes records;
        for (std::size_t j = 0; j < chunks[i].points; ++j, ++point) {
            Bytes record(28);
            for (const std::size_t axis : {0, 4, 8}) put(record.data() + axis, point);
            put(record.data() + 14, std::uint16_t{0x0209});
            put(record.data() + 18, std::uint16_t{1});
            put(record.data() + 20, double(point));
            records.insert(records.end(), record.begin(), record.end());
        }
        const auto chunk = encoded(layout, records);
        EXPECT_EQ(Bytes(chunk.begin() + 28, chunk.end()), streams[i]);
    }
}

/// Layouts of a format in every version of its items that there is.
std::vector<Layout> layoutsOf(std::uint8_t format) {
    constexpr std::size_t lengths[] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
    std::vector<Layout> layouts;
    for (const std::uint16_t version : std::initializer_list<std::uint16_t>{1, 2, 3, 4})
        for (const std::size_t extra : {0, 3}) {
            Layout layout = Layout::standard(format, lengths[format] + extra);
            if (layout.layered() != (version >= 3)) continue;
            for (Item& item : layout.items)
                if (item.kind != ItemKind::WavePacket) item.version = version;
            layouts.push_back(layout);
        }
    return layouts;
}

TEST(Chunk, givesBackEveryRecordOfEveryFormat) {
    for (std::uint8_t format = 0; format <= 10; ++format)
        for (const Layout& layout : layoutsOf(format))
            for (const std::size_t points : {1, 2, 3000}) {
                SCOPED_TRACE(testing::Message() << int(format) << " version " << layout.items.front().version << ", "
                                                << layout.recordLength() << " bytes, " << points << " points");
                const auto records = inventedRecords(format, layout.recordLength(), points, 5 + format);
                const auto chunk = encoded(layout, records);
                const auto back = decoded(layout, chunk, points);
                EXPECT_TRUE(back.records == records);
                EXPECT_EQ(back.sound, points);
                EXPECT_TRUE(back.usedUp);
            }
}

TEST(Chunk, keepsRecordsOfTheGreatestLength) {
    const auto layout = Layout::standard(6, 65535);
    const auto records = inventedRecords(6, 65535, 3, 1);
    EXPECT_TRUE(decoded(layout, encoded(layout, records), 3).records == records);
}

TEST(Chunk, thatIsCutOffGivesThePointsBefore) {
    const auto layout = Layout::standard(3, 36);
    const auto records = inventedRecords(3, 36, 2000, 9);
    const auto chunk = encoded(layout, records);
    for (std::size_t kept = layout.smallestChunk(); kept < chunk.size(); kept += 997) {
        const auto back = decoded(layout, std::span(chunk).first(kept), 2000);
        EXPECT_FALSE(back.usedUp);
        EXPECT_LT(back.sound, 2000);
        EXPECT_GE(back.sound + 1, 2000 * (kept - 36) / (chunk.size() - 36) / 2);
        EXPECT_TRUE(std::equal(records.begin(), records.begin() + back.sound * 36, back.records.begin())) << kept;
    }
}

TEST(Chunk, thatIsDamagedMostlyTellsAndNeverHarms) {
    std::mt19937 random(2);
    for (const std::uint8_t format : std::initializer_list<std::uint8_t>{3, 10}) {
        const auto layout = layoutsOf(format).back();
        const auto intact = encoded(layout, inventedRecords(format, layout.recordLength(), 3000, 1));
        int told = 0;
        for (int i = 0; i < 300; ++i) {
            Bytes chunk = intact;
            chunk[layout.recordLength() + random() % (chunk.size() - layout.recordLength())] ^=
                std::byte(1 << random() % 8);
            try {
                const auto back = decoded(layout, chunk, 3000);
                told += back.sound < 3000 || !back.usedUp;
            } catch (const Error&) {
                ++told;
            }
        }
        EXPECT_GT(told, 250); // a flip in the noise of an integer changes it and nothing else
    }
}

TEST(Layout, refusesWhatCannotBeDecoded) {
    const auto good = Layout::standard(3, 36).encode();
    EXPECT_EQ(Layout::parse(good, 3, 36).items.size(), 4);
    const auto refused = [&](std::size_t place, std::uint16_t value) {
        Bytes payload = good;
        put(payload.data() + place, value);
        EXPECT_THROW(Layout::parse(payload, 3, 36), Error) << place;
    };
    refused(0, 0);  // compressor
    refused(0, 3);  // of other formats
    refused(2, 1);  // coder
    refused(32, 0); // items
    refused(32, 5);
    refused(34, 10); // kind
    refused(36, 21); // size
    refused(38, 3);  // version
    refused(44, 1);  // two versions
    EXPECT_THROW(Layout::parse(good, 3, 34), Error);
    EXPECT_THROW(Layout::parse(std::span(good).first(39), 3, 36), Error);
}

TEST(Chunk, refusesMorePointsThanItsBytesCanHold) {
    const Bytes records(30 * 5, std::byte{0x11}); // of points that are all alike
    const auto layout = Layout::standard(6, 30, Layout::Variable);
    auto chunk = encoded(layout, records);
    const std::uint32_t claimed = 2'000'000'000;
    put(chunk.data() + 30, claimed);
    EXPECT_THROW(measureChunk(layout, from(chunk), {claimed, chunk.size()}), Error);
    const auto table = table::encode(layout, std::vector<ChunkSize>{{claimed, chunk.size()}});
    EXPECT_THROW(table::decode(layout, from(table), table.size(), claimed, chunk.size()), Error);

    // The most that there can be, as far as one can go.
    for (const std::uint8_t format : std::initializer_list<std::uint8_t>{0, 6}) {
        const auto points = Layout::standard(format, format == 0 ? 20 : 30);
        const std::size_t many = 400'000;
        EXPECT_GE(mostPoints(encoded(points, Bytes(many * points.recordLength())).size()), many);
    }
}

TEST(ChunkTable, refusesWhatDoesNotAddUp) {
    const auto layout = Layout::standard(6, 30, Layout::Variable);
    const std::vector<ChunkSize> chunks{{7, 100}, {50, 300}, {1, 40}};
    const auto bytes = table::encode(layout, chunks);
    const auto decode = [&](std::uint64_t points, std::uint64_t chunkBytes, std::size_t kept) {
        return table::decode(layout, from(bytes), kept, points, chunkBytes).chunks;
    };
    EXPECT_EQ(decode(58, 440, bytes.size()), chunks);
    EXPECT_THROW(decode(59, 440, bytes.size()), Error);
    EXPECT_THROW(decode(58, 441, bytes.size()), Error);
    EXPECT_THROW(decode(58, 440, bytes.size() - 5), Error);
    EXPECT_THROW(decode(58, 440, 7), Error);
    EXPECT_THROW(decode(2, 440, bytes.size()), Error);
    EXPECT_THROW(decode(58, 60, bytes.size()), Error);
    EXPECT_TRUE(table::decode(layout, from(hex("0000000000000000")), 8, 0, 0).chunks.empty());
}

} // namespace
} // namespace laz
