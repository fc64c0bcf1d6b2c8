// SPDX-License-Identifier: Apache-2.0
// Compressed surveys: what is read of them, and what is written.
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"
#include "las/ChunkPacker.hpp"
#include "las/LazPoints.hpp"
#include "las/PointWriter.hpp"
#include "laz/LayeredChunk.hpp"

#include <QCryptographicHash>
#include <cmath>
#include <map>
#include <random>
#include <set>

namespace corvane::test {
namespace {

std::vector<std::byte> recordsOf(const LasFile& las) {
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    if (!records.empty()) las.points->read(0, records);
    return records;
}

std::string hashOf(std::span<const std::byte> bytes) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
    return hash.result().toHex().toStdString();
}

/// Real surveys, and what comes of writing them.
class Laz : public WithFacts<testing::Test> {
protected:
    void save(const LasFile& las, const std::string& path, const PointEdits& edits = {},
              const FileChange& change = {}) const {
        OutputFile output(path, true);
        PointWriter(las, output, {}).write(edits, change, Packing::forName(path, las));
        output.commit();
    }

    Folder folder;
    const std::string plain = folder / "out.las", packed = folder / "out.laz", again = folder / "again.las";
};

TEST_F(Laz, givesTheRecordsThatOtherProgramsRead) {
    int chunks = 0;
    for (const auto& name : named("", ".laz")) {
        SCOPED_TRACE(name);
        const auto file = LasFile::open(Data / name);
        const auto records = recordsOf(file);
        EXPECT_EQ(file.points->count(), facts[name]["decoded_points"]);
        EXPECT_EQ(hashOf(records), facts[name]["records_sha256"]);

        // By ranges in no order, as fragments are read.
        const std::size_t stride = file.points->recordLength();
        auto ranges = file.points->ranges(777);
        std::ranges::reverse(ranges);
        std::swap(ranges.front(), ranges.back());
        std::vector<std::byte> pieces(records.size());
        for (const PointRange& range : ranges)
            file.points->read(range.first, std::span(pieces).subspan(range.first * stride, range.count * stride));
        EXPECT_TRUE(pieces == records);

        // What other programs packed is packed to the same bytes.
        if (!file.compression()->layout.chunked()) continue;
        const ChunkPacker packer(file.compression()->layout);
        for (const LazChunk& chunk : file.compression()->chunks) {
            std::vector<std::byte> bytes(chunk.bytes);
            file.file->read(chunk.offset, bytes);
            EXPECT_TRUE(packer.pack(std::span(records).subspan(chunk.first * stride, chunk.points * stride)) == bytes);
            ++chunks;
        }
    }
    EXPECT_GT(chunks, 100);
}

TEST_F(Laz, givesBackEveryLasByteForByte) {
    for (const auto& name : named("", ".las")) {
        SCOPED_TRACE(name);
        save(LasFile::open(Data / name), packed);
        const auto middle = LasFile::open(packed);
        ASSERT_NE(middle.compression(), nullptr);
        save(middle, again);
        EXPECT_TRUE(bytesOf(again) == bytesOf(Data / name));
    }
}

TEST_F(Laz, staysAsItIsWithoutEdits) {
    for (const auto& name : named("", ".laz")) {
        SCOPED_TRACE(name);
        const auto file = LasFile::open(Data / name);
        save(file, packed);
        const bool stale = !file.copc && std::ranges::any_of(file.vlrs, isCopcRecord); // dropped
        EXPECT_EQ(bytesOf(packed) == bytesOf(Data / name), !stale);
        save(file, plain);
        const auto expanded = LasFile::open(plain);
        EXPECT_EQ(hashOf(recordsOf(expanded)), facts[name]["records_sha256"]);
        EXPECT_EQ(compressionRecord(expanded.vlrs), nullptr);
        EXPECT_TRUE(std::ranges::none_of(expanded.vlrs, isCopcRecord));
        EXPECT_TRUE(std::ranges::none_of(expanded.evlrs, isCopcRecord));
    }
}

/// Which chunks, and in the changed ones which layers, do not have the bytes that they had.
std::pair<std::set<std::size_t>, std::set<std::size_t>> changedParts(const LasFile& before, const LasFile& after) {
    std::set<std::size_t> chunks, layers;
    const auto bytes = [](const LasFile& las, std::uint64_t offset, std::uint64_t size) {
        std::vector<std::byte> read(size);
        las.file->read(offset, read);
        return read;
    };
    const LazBlock &old = *before.compression(), &now = *after.compression();
    for (std::size_t i = 0; i < old.chunks.size(); ++i) {
        const LazChunk &was = old.chunks[i], &is = now.chunks[i];
        if (bytes(before, was.offset, was.bytes) == bytes(after, is.offset, is.bytes)) continue;
        chunks.insert(i);
        if (!old.layout.layered()) continue;
        const auto first = laz::LayeredHead::read(old.layout, readFrom(*before.file, was.offset));
        const auto second = laz::LayeredHead::read(now.layout, readFrom(*after.file, is.offset));
        for (std::size_t layer = 0; layer < first.layerBytes.size(); ++layer)
            if (bytes(before, was.offset + first.begin(layer), first.layerBytes[layer]) !=
                bytes(after, is.offset + second.begin(layer), second.layerBytes[layer]))
                layers.insert(layer);
    }
    return {chunks, layers};
}

/// The hierarchy, read a second time and without the code under test: every chunk is the node that says so.
void expectTrueCopc(const std::string& path, std::size_t chunks) {
    const std::string file = bytesOf(path);
    const auto at = [&]<class T>(std::uint64_t offset, T) {
        T value;
        std::memcpy(&value, file.data() + offset, sizeof value);
        return value;
    };
    const auto table = at(at(96, std::uint32_t{}), std::uint64_t{});
    std::map<std::uint64_t, std::uint64_t> nodes; // where they begin and end
    std::vector<std::pair<std::uint64_t, std::uint64_t>> pages{
        {at(429 + 40, std::uint64_t{}), at(429 + 48, std::uint64_t{})}};
    const auto evlr = at(235, std::uint64_t{});
    while (!pages.empty()) {
        const auto [offset, size] = pages.back();
        pages.pop_back();
        ASSERT_GE(offset, evlr + 60);
        for (std::uint64_t entry = offset; entry < offset + size; entry += 32) {
            const auto place = at(entry + 16, std::uint64_t{});
            const auto bytes = at(entry + 24, std::uint32_t{}), points = at(entry + 28, std::uint32_t{});
            if (points == 0xFFFFFFFF) pages.push_back({place, bytes});
            if (points == 0 || points == 0xFFFFFFFF) continue;
            nodes[place] = place + bytes;
            EXPECT_EQ(at(place + at(105, std::uint16_t{}), std::uint32_t{}), points) << "the chunk's own count";
        }
    }
    EXPECT_EQ(nodes.size(), chunks);
    std::uint64_t end = at(96, std::uint32_t{}) + 8;
    for (const auto& [begin, nodeEnd] : nodes) {
        EXPECT_EQ(begin, end);
        end = nodeEnd;
    }
    EXPECT_EQ(end, table);
}

TEST_F(Laz, isPackedAnewOnlyWhereAnEditChangedIt) {
    int copc = 0;
    for (const auto& name : named("", ".laz")) {
        const auto file = LasFile::open(Data / name);
        if (!file.warnings.empty()) continue;
        SCOPED_TRACE(name);
        const auto& chunks = file.compression()->chunks;
        const LazChunk& middle = chunks[chunks.size() / 2];
        std::vector<std::uint8_t> classes(middle.points), ones(middle.points);
        for (std::size_t i = 0; i < classes.size(); ++i) { // so that no layer is left out
            classes[i] = i % 2 == 0 ? 28 : 29;
            ones[i] = i % 3 == 0;
        }
        const Dimension& classification = *file.find("Classification");
        std::vector<PointEdit> edits{{classification, middle.first, std::as_bytes(std::span(classes))}};
        save(file, packed, {edits, nullptr});
        auto after = LasFile::open(packed);
        auto expected = file;
        expected.points = std::make_shared<const EditedPoints>(file.points, PointEdits(edits, nullptr));
        EXPECT_TRUE(recordsOf(after) == recordsOf(expected));
        EXPECT_EQ(after.warnings, file.warnings);
        auto [changed, layers] = changedParts(file, after);
        EXPECT_EQ(changed, std::set{chunks.size() / 2});
        const bool layered = file.compression()->layout.layered();
        EXPECT_EQ(layers, layered ? std::set<std::size_t>{2} : std::set<std::size_t>{});

        edits.push_back({*file.find("Withheld"), middle.first, std::as_bytes(std::span(ones))});
        save(file, packed, {edits, nullptr});
        after = LasFile::open(packed);
        std::tie(changed, layers) = changedParts(file, after);
        EXPECT_EQ(changed, std::set{chunks.size() / 2});
        EXPECT_EQ(layers, layered ? (std::set<std::size_t>{2, 3}) : std::set<std::size_t>{});
        if (!file.copc) continue;
        ++copc;
        ASSERT_TRUE(after.copc);
        expectTrueCopc(packed, chunks.size());
    }
    EXPECT_EQ(copc, 2);
}

TEST_F(Laz, movesWithALongerHead) {
    for (const std::string name : {"simple_with_page.copc.laz", "evlr_pf6.laz", "ahn3_pf1.laz"}) {
        SCOPED_TRACE(name);
        const auto file = LasFile::open(Data / name);
        FileChange change;
        change.insertVlr(file.vlrsEnd(),
                         encodeVlr(file.header.versionMinor, "someone", 9, "", std::vector<std::byte>(77)));
        save(file, packed, {}, change);
        const auto after = LasFile::open(packed);
        EXPECT_EQ(after.vlrs.size(), file.vlrs.size() + 1);
        EXPECT_TRUE(recordsOf(after) == recordsOf(file));
        EXPECT_EQ(after.copc.has_value(), file.copc.has_value());
        EXPECT_EQ(after.evlrs.size(), file.evlrs.size());
        if (after.copc) expectTrueCopc(packed, file.compression()->chunks.size());
    }
}

TEST_F(Laz, isReadWithoutItsTableAsFarAsThatIsPossible) {
    for (const std::string name : {"ahn3_pf1.laz", "evlr_pf6.laz", "simple_with_page.copc.laz", "pdrf9-1.4.laz"}) {
        const auto intact = LasFile::open(Data / name);
        for (const std::int64_t place : {std::int64_t{0}, std::int64_t{intact.header.offsetToPoints},
                                         std::int64_t{1} << 60, std::int64_t{7}, std::int64_t{-9}}) {
            SCOPED_TRACE(name + fmt::format(" with its table at {}", place));
            std::string bytes = bytesOf(Data / name);
            std::memcpy(bytes.data() + intact.header.offsetToPoints, &place, sizeof place);
            write(packed, bytes);
            const auto file = LasFile::open(packed);
            EXPECT_TRUE(holds(file.warnings.front(), "The table of the chunks is missing or wrong"));
            EXPECT_EQ(hashOf(recordsOf(file)), facts[name]["records_sha256"]);
            save(file, again + ".laz"); // has a table again
            EXPECT_EQ(hashOf(recordsOf(LasFile::open(again + ".laz"))), facts[name]["records_sha256"]);
            EXPECT_TRUE(LasFile::open(again + ".laz").warnings.empty());
        }
    }
}

TEST_F(Laz, isReadWhoseWriterCouldNotGoBack) {
    const std::string name = "ahn3_pf1.laz";
    const auto intact = LasFile::open(Data / name);
    std::string bytes = bytesOf(Data / name);
    const std::int64_t place = -1, table = static_cast<std::int64_t>(intact.compression()->tableOffset);
    std::memcpy(bytes.data() + intact.header.offsetToPoints, &place, sizeof place);
    bytes.append(reinterpret_cast<const char*>(&table), sizeof table);
    write(packed, bytes);
    const auto file = LasFile::open(packed);
    EXPECT_TRUE(file.warnings.empty());
    EXPECT_EQ(hashOf(recordsOf(file)), facts[name]["records_sha256"]);
}

TEST_F(Laz, ofStaleCopcRecordsIsAPlainOne) {
    const std::string name = "saipan_waveform_pf6.laz";
    const auto file = LasFile::open(Data / name);
    EXPECT_FALSE(file.copc);
    EXPECT_TRUE(holds(file.warnings.front(), "records of a COPC that do not fit it")) << file.warnings.front();
    save(file, packed);
    const auto after = LasFile::open(packed);
    EXPECT_EQ(after.vlrs.size() + 1, file.vlrs.size());
    EXPECT_EQ(after.evlrs.size() + 1, file.evlrs.size());
    EXPECT_EQ(hashOf(recordsOf(after)), facts[name]["records_sha256"]);
}

TEST_F(Laz, isNoCopcWithoutACubeOrWithPagesThatShareEntries) {
    const std::string intact = bytesOf(Data / std::string("simple_with_page.copc.laz"));
    constexpr std::size_t info = 429, center = info, halfSide = info + 24, root = info + 40;
    const auto put = [](std::string& bytes, std::size_t place, auto value) {
        std::memcpy(bytes.data() + place, &value, sizeof value);
    };
    const auto warnings = [&](const std::string& bytes) {
        write(packed, bytes);
        const auto file = LasFile::open(packed);
        EXPECT_FALSE(file.copc);
        return joined(file.warnings);
    };
    std::string bytes = intact;
    put(bytes, halfSide, std::nan(""));
    EXPECT_TRUE(holds(warnings(bytes), "half a side of nan"));
    bytes = intact;
    put(bytes, center, 1e308);
    put(bytes, halfSide, 1e308);
    EXPECT_TRUE(holds(warnings(bytes), "around 1e+308"));

    std::uint64_t page = 0, size = 0;
    std::memcpy(&page, intact.data() + root, sizeof page);
    std::memcpy(&size, intact.data() + root + 8, sizeof size);
    bytes = intact;
    put(bytes, page + 4, std::int32_t{-1});
    EXPECT_TRUE(holds(warnings(bytes), "has the key -1"));

    // The first half of the entries names pages, each of which begins a little later in the second half.
    bytes = intact;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(page), size, '\0');
    const std::uint64_t half = size / 2 / 32 * 32;
    for (std::uint64_t entry = 0; entry < half; entry += 32) {
        put(bytes, page + entry + 16, page + half + entry);
        put(bytes, page + entry + 24, static_cast<std::int32_t>(half - entry));
        put(bytes, page + entry + 28, std::int32_t{-1});
    }
    EXPECT_TRUE(holds(warnings(bytes), "more than the 66 entries"));
}

TEST_F(Laz, ofOneStreamWithoutEndIsRefusedAtOnce) {
    const std::string name = "point10_pf0.laz";
    std::string bytes = bytesOf(Data / name);
    const auto file = LasFile::open(Data / name);
    bytes[file.compression()->layoutOffset] = 1; // compressor
    const std::uint32_t many = 4'000'000'000;
    std::memcpy(bytes.data() + 107, &many, sizeof many);
    write(packed, bytes);
    EXPECT_TRUE(holds(messageOf<Failure>([&] { LasFile::open(packed); }), "bytes for 4000000000 points"));
}

TEST_F(Laz, damagedAnywhereEndsInASentence) {
    std::mt19937 random(5);
    for (const std::string name : {"simple_with_page.copc.laz", "point_time_color_pf3.laz", "pdrf9-1.4.laz"}) {
        const std::string intact = bytesOf(Data / name);
        int read = 0;
        for (int i = 0; i < 400; ++i) {
            std::string bytes = intact;
            if (i % 2 == 0)
                bytes.resize(random() % bytes.size());
            else
                bytes[random() % bytes.size()] ^= static_cast<char>(1 << random() % 8);
            write(packed, bytes);
            try {
                read += recordsOf(LasFile::open(packed)).size() > 0;
            } catch (const Failure& failure) {
                EXPECT_TRUE(holds(failure.what(), packed)) << failure.what();
            }
        }
        EXPECT_LT(read, 150) << name;
    }
}

} // namespace
} // namespace corvane::test
