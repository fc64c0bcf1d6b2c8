// SPDX-License-Identifier: Apache-2.0
// Files whose points get new values where they stand.
#include "las/InPlaceChange.hpp"
#include "../support/RealSurveys.hpp"
#include "LasTestSupport.hpp"
#include "base/InPlaceFile.hpp"
#include "las/PointCodec.hpp"
#include "las/PointWriter.hpp"

#include <random>
#include <set>

namespace corvane::test {
namespace {

using Values = std::vector<std::uint8_t>;

std::vector<std::byte> recordsOf(const LasFile& las) {
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    if (!records.empty()) las.points->read(0, records);
    return records;
}

Values classesOf(const LasFile& las) {
    const auto records = recordsOf(las);
    const Dimension& dimension = *las.find("Classification");
    Values values(las.points->count());
    if (dimension.packed())
        decodeBits(records, las.points->recordLength(), dimension, std::span(values));
    else
        decodeValues<std::uint8_t>(records, las.points->recordLength(), dimension, std::span(values));
    return values;
}

/// All classes of a file, in fragments as a survey has them.
class ClassEdits {
public:
    ClassEdits(const LasFile& las, const Values& classes)
        : las_(las), classes_(classes), ranges_(las.points->ranges(1000)) {}

    const std::vector<PointRange>& ranges() const { return ranges_; }

    PointEdits in(const PointRange& range) const {
        std::vector<PointEdit> edits;
        for (const PointRange& one : ranges_)
            if (one.first < range.first + range.count && one.first + one.count > range.first)
                edits.push_back({*las_.find("Classification"), one.first,
                                 std::as_bytes(std::span(classes_).subspan(one.first, one.count))});
        return {std::move(edits), nullptr};
    }
    PointEdits all() const { return in({0, classes_.size()}); }

private:
    const LasFile& las_;
    const Values& classes_;
    std::vector<PointRange> ranges_;
};

/// Each of these runs alone, through the bytes in which a journal keeps it.
FileRuns journaled(const FileRuns& runs, std::uint64_t fileSize) {
    FileRuns again = FileRuns::decode(runs.encoded(), fileSize);
    EXPECT_EQ(again.count(), runs.count());
    EXPECT_TRUE(again.encoded() == runs.encoded());
    if (!runs.empty()) {
        EXPECT_THROW(FileRuns::decode(runs.encoded(), runs.endInFile() - 1), BadBytes);
    }
    return again;
}

/// Empty when it was done, else why it does not fit.
std::string setClasses(const std::string& path, const Values& classes) {
    const LasFile las = LasFile::open(path);
    const ClassEdits edits(las, classes);
    try {
        InPlaceChange change(las, edits.ranges(), [&](const PointRange& range) { return edits.in(range); });
        for (InPlaceChange trial = change; !trial.done();) trial.next();
        las.file->letBeWritten();
        {
            InPlaceFile file(path);
            for (FileRuns runs = change.next(); !runs.empty(); runs = change.next())
                file.write(journaled(runs, las.file->size()));
        }
        const LasFile after = LasFile::open(path);
        const ClassEdits again(after, classes);
        InPlaceChange nothing(after, again.ranges(), [&](const PointRange& range) { return again.in(range); });
        EXPECT_TRUE(nothing.next().empty());
    } catch (const NoRoom& noRoom) {
        return noRoom.what();
    }
    return "";
}

class InPlace : public WithFacts<testing::Test> {
protected:
    std::string atomic(const std::string& path, const Values& classes) const {
        const LasFile las = LasFile::open(path);
        const ClassEdits edits(las, classes);
        OutputFile output(saved, true);
        PointWriter(las, output, {}).write(edits.all(), {}, {las.compression() != nullptr});
        output.commit();
        return saved;
    }

    Folder folder;
    const std::string saved = folder / "saved";
};

TEST_F(InPlace, isWhatAnAtomicSaveGivesAndWayBackToTheOriginal) {
    std::set<std::string> obstacles;
    int plain = 0, layered = 0;
    for (const auto& extension : {".las", ".laz"})
        for (const auto& name : named("", extension)) {
            SCOPED_TRACE(name);
            const std::string original = bytesOf(Data / name), path = folder / "changed";
            const LasFile las = LasFile::open(Data / name);
            const Values before = classesOf(las);
            std::mt19937 random(1);
            for (const bool constant : {false, true}) {
                write(path, original);
                Values after = before;
                for (auto& value : after) value = constant ? 2 : random() % 5 == 0 ? random() % 32 : value;
                const std::string obstacle = setClasses(path, after);
                if (!obstacle.empty()) {
                    obstacles.insert(obstacle.substr(0, 20));
                    EXPECT_TRUE(bytesOf(path) == original);
                    continue;
                }
                ++(las.compression() ? layered : plain);
                const LasFile changed = LasFile::open(path), expected = LasFile::open(atomic(Data / name, after));
                EXPECT_EQ(changed.file->size(), original.size());
                EXPECT_TRUE(recordsOf(changed) == recordsOf(expected));
                if (!las.compression()) {
                    EXPECT_TRUE(bytesOf(path) == bytesOf(saved));
                }
                atomic(path, after); // what is padded can be packed again
                EXPECT_TRUE(recordsOf(LasFile::open(saved)) == recordsOf(expected));
                changed.file->letBeWritten();
                EXPECT_EQ(setClasses(path, before), "");
                EXPECT_TRUE(bytesOf(path) == original);
            }
        }
    EXPECT_GT(plain, 30);
    EXPECT_GT(layered, 5);
    EXPECT_GE(obstacles.size(), 2u);
}

/// Whatever part of the runs is in a file, with all of them laid over it reads as if all were. There are so many that
/// they are not gone over from the first one, and one of them is long and put together of pieces.
TEST(FileRuns, laidOverAFileTheyArePartlyIn) {
    constexpr std::size_t LongFrom = 30'000, LongTo = 50'000;
    std::mt19937 random(5);
    std::vector<std::byte> before(80'000), after;
    for (auto& byte : before) byte = std::byte(random());
    after = before;
    for (std::size_t at = 0; at < after.size(); at += 1 + random() % 40)
        for (std::size_t end = std::min(after.size(), at + random() % 9); at < end; ++at) after[at] ^= std::byte{1};
    for (std::size_t at = LongFrom; at < LongTo; ++at) after[at] = before[at] ^ std::byte{1};
    FileRuns runs;
    for (std::size_t at = 0, count; at < before.size(); at += count) {
        count = std::min<std::size_t>(before.size() - at, 1 + random() % 700);
        FileRuns part;
        part.addDifferences(at, std::span(before).subspan(at, count), std::span(after).subspan(at, count));
        runs.add(part);
    }
    std::uint64_t end = 0;
    for (const FileRuns::Run& run : runs) ASSERT_GT(run.offset, std::exchange(end, run.end()));

    const Folder folder;
    const std::string path = folder / "file";
    const auto overlay = std::make_shared<const FileRuns>(journaled(runs, before.size()));
    for (int turn = 0; turn < 50; ++turn) {
        std::vector<std::byte> half = before;
        for (std::size_t at = 0; at < half.size(); ++at)
            if (random() % 2) half[at] = after[at];
        write(path, {reinterpret_cast<const char*>(half.data()), half.size()});
        const InputFile file(path, overlay);
        const std::size_t first = random() % half.size(), count = random() % (half.size() - first);
        std::vector<std::byte> read(count);
        file.read(first, read);
        ASSERT_TRUE(std::ranges::equal(read, std::span(after).subspan(first, count)));
        OutputFile copy(folder / "copy", true);
        copy.copy(file, 0, file.size());
        copy.commit();
        ASSERT_EQ(std::memcmp(bytesOf(folder / "copy").data(), after.data(), after.size()), 0);
        file.letBeWritten();
        InPlaceFile(path).write(runs);
        ASSERT_EQ(std::memcmp(bytesOf(path).data(), after.data(), after.size()), 0);
    }
}

} // namespace
} // namespace corvane::test
