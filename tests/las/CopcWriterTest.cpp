// SPDX-License-Identifier: Apache-2.0
// Surveys as octrees: nothing is lost, and the tree is what the format asks for.
#include "las/CopcWriter.hpp"
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"
#include "las/FormatChange.hpp"
#include "las/LittleEndian.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>

namespace corvane::test {
namespace {

constexpr std::size_t Plenty = std::size_t{256} << 20; // bytes

std::vector<std::byte> recordsOf(const LasFile& las) {
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    if (!records.empty()) las.points->read(0, records);
    return records;
}

std::vector<std::string> sortedRecords(const LasFile& las) {
    const auto records = recordsOf(las);
    std::vector<std::string> sorted;
    for (std::size_t at = 0; at < records.size(); at += las.points->recordLength())
        sorted.emplace_back(reinterpret_cast<const char*>(records.data()) + at, las.points->recordLength());
    std::ranges::sort(sorted);
    return sorted;
}

/// Those that are not part of how points are packed, as they stand in the file, their heads included.
std::vector<std::string> keptRecords(const LasFile& las, const std::vector<LasRecord>& records, std::size_t head) {
    std::vector<std::string> kept;
    for (const LasRecord& record : records) {
        if (isCopcRecord(record) || record.userId == "laszip encoded") continue;
        std::vector<std::byte> bytes(head + record.payloadLength);
        las.file->read(record.payloadOffset - head, bytes);
        kept.emplace_back(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    }
    return kept;
}

using Key = std::array<std::int32_t, 4>; // level, x, y, z

Key parentOf(const Key& key) { return {key[0] - 1, key[1] / 2, key[2] / 2, key[3] / 2}; }

class CopcFile : public WithFacts<testing::Test> {
protected:
    LasFile convert(const LasFile& las, const CopcLimits& limits = {}, std::size_t memory = Plenty) const {
        {
            OutputFile output(out, true);
            writeCopc(las, *las.points, las.header.pointFormat, output, {}, memory, limits);
            output.commit();
        }
        return LasFile::open(out);
    }

    /// Whether it is a sound octree of the points of the other file.
    static void expectTree(const LasFile& before, const LasFile& after, const CopcLimits& limits) {
        EXPECT_EQ(joined(after.warnings), "");
        ASSERT_TRUE(after.copc);
        EXPECT_TRUE(sortedRecords(before) == sortedRecords(after));
        EXPECT_EQ(keptRecords(before, before.vlrs, 54), keptRecords(after, after.vlrs, 54));
        EXPECT_EQ(keptRecords(before, before.evlrs, 60), keptRecords(after, after.evlrs, 60));
        EXPECT_EQ(before.crs, after.crs);
        expectHeader(before, after);
        expectNodes(after, limits);
    }

    static void expectHeader(const LasFile& before, const LasFile& after) {
        const LasHeader &old = before.header, &now = after.header;
        EXPECT_EQ(now.version(), "1.4");
        EXPECT_EQ(now.headerSize, 375);
        EXPECT_EQ(now.globalEncoding, old.globalEncoding | 16);
        EXPECT_EQ(now.pointCount, old.pointCount);
        EXPECT_EQ(now.systemIdentifier, old.systemIdentifier);
        EXPECT_EQ(now.projectId, old.projectId);
        EXPECT_EQ(now.scale, old.scale);
        const auto records = recordsOf(after);
        const std::size_t stride = now.recordLength;
        std::array<std::uint64_t, 15> returns{};
        for (std::size_t at = 14; at < records.size(); at += stride)
            if (const int number = std::to_integer<int>(records[at]) & 15)
                ++returns[static_cast<std::size_t>(number - 1)];
        EXPECT_EQ(now.returnCounts, returns);
        for (std::size_t axis = 0; axis < 3 && !records.empty(); ++axis) {
            double low = INFINITY, high = -INFINITY;
            for (std::size_t at = 4 * axis; at < records.size(); at += stride) {
                const double value = load<std::int32_t>(records, at) * now.scale[axis] + now.offset[axis];
                low = std::min(low, value);
                high = std::max(high, value);
            }
            EXPECT_EQ(now.minimum[axis], low);
            EXPECT_EQ(now.maximum[axis], high);
        }
    }

    static void expectNodes(const LasFile& las, const CopcLimits& limits) {
        const Copc& copc = *las.copc;
        const auto& chunks = las.compression()->chunks;
        const auto records = recordsOf(las);
        std::set<Key> keys, parents;
        for (const CopcEntry& entry : copc.entries) {
            if (entry.page()) continue;
            const Key key{entry.level, entry.x, entry.y, entry.z};
            EXPECT_TRUE(keys.insert(key).second) << "twice";
            if (entry.level > 0) parents.insert(parentOf(key));
        }
        EXPECT_TRUE(std::ranges::includes(keys, parents)) << "an orphan";
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            const CopcEntry& node = copc.entries[copc.nodeOfChunk[i]];
            EXPECT_LE(chunks[i].points, limits.nodePoints);
            const bool leaf = !parents.contains({node.level, node.x, node.y, node.z});
            const auto ofNode = std::span(records).subspan(chunks[i].first * las.header.recordLength,
                                                           chunks[i].points * las.header.recordLength);
            expectInCube(las, node, ofNode);
            const double unit = std::ranges::min(las.header.scale);
            const bool onePlace = std::ldexp(2 * copc.halfSide, -node.level) <= unit;
            if (!leaf && !onePlace) expectSpaced(las, node, ofNode);
        }
    }

    static std::array<double, 3> coordinates(const LasFile& las, std::span<const std::byte> records, std::size_t at) {
        std::array<double, 3> point;
        for (std::size_t axis = 0; axis < 3; ++axis)
            point[axis] = load<std::int32_t>(records, at + 4 * axis) * las.header.scale[axis] + las.header.offset[axis];
        return point;
    }

    static void expectInCube(const LasFile& las, const CopcEntry& node, std::span<const std::byte> records) {
        const auto box = las.copc->boxOf(node);
        std::size_t outside = 0;
        for (std::size_t at = 0; at < records.size(); at += las.header.recordLength) {
            const auto point = coordinates(las, records, at);
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const double slack = std::abs(las.header.scale[axis]) * 1e-3; // what doubles may lose
                outside += point[axis] < box.low[axis] - slack || point[axis] > box.high[axis] + slack;
            }
        }
        EXPECT_EQ(outside, 0U);
    }

    /// No two points of a node in one cell as wide as the spacing that the file states.
    static void expectSpaced(const LasFile& las, const CopcEntry& node, std::span<const std::byte> records) {
        const auto box = las.copc->boxOf(node);
        const double spacing = std::ldexp(las.copc->spacing, -node.level);
        std::set<std::array<int, 3>> cells;
        for (std::size_t at = 0; at < records.size(); at += las.header.recordLength) {
            const auto point = coordinates(las, records, at);
            std::array<int, 3> cell;
            for (std::size_t axis = 0; axis < 3; ++axis)
                cell[axis] = static_cast<int>((point[axis] - box.low[axis]) / spacing);
            cells.insert(cell);
        }
        // A point on the border of two cells may round into either.
        const std::size_t points = records.size() / las.header.recordLength;
        EXPECT_GE(cells.size() + points / 50 + 1, points);
    }

    Folder folder;
    const std::string out = folder / "out.copc.laz";
};

/// An invented survey of so many points at places that a function chooses; with a WKT record and further ones.
template <class Place>
LasFile invent(const std::string& path, std::uint8_t format, std::uint16_t extraBytes, std::size_t points,
               Place place) {
    Survey survey(4, format, extraBytes);
    survey.vlr("LASF_Projection", 2112, "LOCAL_CS[\"here\"]").vlr("someone", 7, "of its own");
    const std::size_t first = survey.size(), stride = RecordLengths[format] + extraBytes;
    survey.append(points * stride).put<std::uint64_t>(247, points);
    std::mt19937 random(format);
    for (std::size_t i = 0; i < points; ++i) {
        const std::array<std::int32_t, 3> at = place(i);
        for (std::size_t axis = 0; axis < 3; ++axis) survey.put(first + i * stride + 4 * axis, at[axis]);
        survey.put<std::uint8_t>(first + i * stride + 14, 0x21).put(first + i * stride + 22, 1e5 + double(i));
        for (std::size_t byte = 30; byte < stride; ++byte)
            survey.put(first + i * stride + byte, static_cast<std::uint8_t>(random()));
    }
    survey.evlr("someone", 8, "behind the points").write(path);
    return LasFile::open(path);
}

TEST_F(CopcFile, holdsTheRecordsOfTheSurvey) {
    for (const std::string name : {"evlr_pf6.las", "evlr_pf6.laz", "simple_with_page.copc.laz", "autzen_107.copc.laz",
                                   "wontcompress3_pf6.las", "saipan_waveform_pf6.laz"}) {
        SCOPED_TRACE(name);
        const auto before = LasFile::open(Data / name);
        for (const std::size_t nodePoints : {100'000, 300})
            expectTree(before, convert(before, {nodePoints, 1'000}), {nodePoints, 1'000});
    }
    const auto larger = LasFile::open(Data / "ign_77050_627760_pf8.laz");
    expectTree(larger, convert(larger, {10'000, 1'000}), {10'000, 1'000});
}

TEST_F(CopcFile, ofAnotherFormatThanTheSurvey) {
    // An older header, and VLRs elsewhere in the file.
    Survey survey(2, 1);
    survey.vlr("LASF_Projection", 2112, "LOCAL_CS[\"here\"]").vlr("someone", 7, "of its own").points();
    const auto before = survey.open();
    const auto changed = changeFormat(before, 7);
    {
        OutputFile output(out, true);
        writeCopc(before, *changed.points, changed.pointFormat, output, {}, Plenty);
        output.commit();
    }
    const auto after = LasFile::open(out);
    EXPECT_EQ(joined(after.warnings), "");
    ASSERT_TRUE(after.copc);
    EXPECT_EQ(after.header.version(), "1.4");
    EXPECT_EQ(after.header.pointFormat, 7);
    EXPECT_EQ(after.header.pointCount, Survey::Points);
    EXPECT_EQ(keptRecords(before, before.vlrs, 54), keptRecords(after, after.vlrs, 54));
    EXPECT_TRUE(recordsOf(after) == [&] {
        std::vector<std::byte> records(Survey::Points * changed.points->recordLength());
        changed.points->read(0, records);
        return records;
    }());
}

TEST_F(CopcFile, isTheSameWithLittleMemory) {
    const auto before = LasFile::open(Data / "evlr_pf6.laz");
    const CopcLimits limits{10, 50};
    const auto after = convert(before, limits);
    const std::string bytes = bytesOf(out);
    expectTree(before, after, limits);
    // 0: a part has 4 times as many points as a node, and no more than one node is sampled at once.
    for (const std::size_t memory : {std::size_t{0}, std::size_t{50'000}}) {
        convert(before, limits, memory);
        EXPECT_TRUE(bytesOf(out) == bytes) << memory;
    }
    EXPECT_EQ(folder.contents().size(), 1U);
}

TEST_F(CopcFile, hasPagesOfBoundedSize) {
    const auto before = LasFile::open(Data / "evlr_pf6.laz");
    for (const std::size_t pageEntries : {9, 100, 100'000}) {
        SCOPED_TRACE(pageEntries);
        const auto after = convert(before, {10, pageEntries});
        ASSERT_TRUE(after.copc);
        const auto& entries = after.copc->entries;
        std::map<std::uint64_t, std::uint64_t> pages{{after.copc->rootOffset, 0}}; // where they begin and end
        pages.begin()->second =
            pages.begin()->first + load<std::uint64_t>(readPayload(*after.file, after.copc->info, 160), 48);
        for (const CopcEntry& entry : entries)
            if (entry.page()) pages[entry.offset] = entry.offset + static_cast<std::uint64_t>(entry.bytes);
        std::uint64_t end = after.copc->hierarchy.payloadOffset;
        EXPECT_EQ(after.copc->rootOffset, end) << "the root page is the first";
        for (const auto& [begin, pageEnd] : pages) {
            EXPECT_EQ(begin, end);
            EXPECT_LE(pageEnd - begin, pageEntries * CopcEntry::Size);
            end = pageEnd;
        }
        EXPECT_EQ(end, after.copc->hierarchy.payloadOffset + after.copc->hierarchy.payloadLength);
        EXPECT_EQ(pages.size() == 1, pageEntries == 100'000);
        // A page begins with the node that the entry of it is of.
        for (const CopcEntry& entry : entries) {
            if (!entry.page()) continue;
            const auto first = std::ranges::find(entries, entry.offset, &CopcEntry::place);
            ASSERT_NE(first, entries.end());
            EXPECT_EQ((Key{first->level, first->x, first->y, first->z}), (Key{entry.level, entry.x, entry.y, entry.z}));
        }
    }
}

TEST_F(CopcFile, ofOddClouds) {
    using At = std::array<std::int32_t, 3>;
    std::mt19937 random(9);
    const auto any = [&] { return static_cast<std::int32_t>(random()); };
    const auto same = [](std::size_t) { return At{5, -6, 7}; };
    const auto plane = [&](std::size_t) { return At{any() % 1000, any() % 1000, 4}; };
    const auto line = [](std::size_t i) { return At{static_cast<std::int32_t>(i) * 400'000, 0, 0}; };
    const auto widest = [&](std::size_t) { return At{any(), any(), any()}; };
    const auto twoPlaces = [](std::size_t i) { return At{i % 7 == 0 ? 0 : 1 << 20, 3, 3}; };
    struct Cloud {
        std::string name;
        std::uint8_t format;
        std::uint16_t extraBytes;
        std::size_t points;
        std::function<At(std::size_t)> place;
        std::size_t largestNode;
    };
    const std::vector<Cloud> clouds{
        {"none", 6, 0, 0, same, 0},
        {"one point", 7, 3, 1, same, 1},
        {"all in one place", 8, 0, 3'000, same, 100},
        {"all in one place, and very many", 6, 2, 7'000, same, 242}, // 6,999 on the levels from 1 to 30
        {"two places", 6, 0, 3'000, twoPlaces, 300},
        {"a plane", 7, 1, 2'000, plane, 100},
        {"a line", 6, 0, 2'000, line, 100},
        {"the whole range of numbers", 8, 5, 2'000, widest, 100},
    };
    for (const Cloud& cloud : clouds) {
        SCOPED_TRACE(cloud.name);
        const auto before = invent(folder / "in.las", cloud.format, cloud.extraBytes, cloud.points, cloud.place);
        const auto after = convert(before, {100, 20});
        expectTree(before, after, {cloud.largestNode, 20});
        const std::string bytes = bytesOf(out);
        convert(before, {100, 20}, 0);
        EXPECT_TRUE(bytesOf(out) == bytes);
    }
}

TEST_F(CopcFile, holdsManyPointsOfOnePlaceInOneNode) {
    const auto before = invent(folder / "in.las", 6, 0, 70'000, [](std::size_t) {
        return std::array<std::int32_t, 3>{1, 2, 3};
    });
    const auto after = convert(before);
    expectTree(before, after, {});
    EXPECT_EQ(after.compression()->chunks.size(), 1U);
}

TEST_F(CopcFile, isRefusedWhereThereIsNoRoomForWhatTheSurveySays) {
    const auto problem = [&](const LasFile& las) { return messageOf<Failure>([&] { convert(las); }); };
    EXPECT_TRUE(holds(problem(LasFile::open(Data / "pdrf9-1.4.laz")), "its points are of format 9"));
    EXPECT_TRUE(holds(problem(LasFile::open(Data / "simple1_1_pf1.las")), "convert them to one of these"));
    EXPECT_TRUE(holds(problem(LasFile::open(Data / "pdrf6-1.4.laz")), "no record LASF_Projection 2112;"));
    Survey keys;
    keys.vlr("LASF_Projection", 34735, std::string({1, 0, 1, 0, 0, 0, 1, 0, 0, 4, 0, 0, 1, 0, 1, 0})).points();
    EXPECT_TRUE(holds(problem(keys.open()), "and only GeoTIFF keys"));
    EXPECT_EQ(folder.contents().size(), 0U);
}

TEST_F(CopcFile, leavesNothingWhenItIsInterrupted) {
    const auto before = LasFile::open(Data / "saipan_waveform_pf6.laz");
    std::uint64_t last = 0;
    for (const std::uint64_t stop : {1, 6'000, 12'000, 20'000}) { // each way through the points
        const Watch watch([&](std::uint64_t done, std::uint64_t total, const std::string& work) {
            EXPECT_LE(done, total);
            EXPECT_EQ(work, "Saving " + out);
            last = done;
            return done < stop;
        });
        EXPECT_THROW(
            {
                OutputFile output(out, true);
                writeCopc(before, *before.points, 6, output, watch, 0, {100, 100});
                output.commit();
            },
            Interrupted);
        EXPECT_GE(last, stop);
        EXPECT_TRUE(folder.contents().empty());
    }
}

} // namespace
} // namespace corvane::test
