// SPDX-License-Identifier: Apache-2.0
// Commands that write to surveys in place and to the edits that are kept of them, and are killed meanwhile.
#include "InPlaceSupport.hpp"

#include <random>
#include <sys/mount.h>

namespace corvane::test {
namespace {

/// Commands of the program itself, with threads, one after the other and each killed some times.
TEST_F(InPlace, commandsThatAreKilledLeaveAllOrNothing) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case of = prepared(Form::Plain);
    std::mt19937 random(2);
    const auto countOf = [](const Classes& classes, int value) {
        return std::ranges::count(classes, static_cast<std::uint8_t>(value));
    };
    const Arguments more{"edit", of.path, "reclassify", "--from", "5", "--to", "6"};
    Classes edited = of.after;
    std::ranges::replace(edited, std::uint8_t{5}, std::uint8_t{6});
    struct Session {
        Arguments call;
        Classes before, becomes;
    };
    const std::vector<Session> sessions{{more, of.after, edited},
                                        {{"undo", of.path}, of.after, of.between},
                                        {{"redo", of.path}, of.between, of.after},
                                        {{"save", of.path, "--in-place"}, of.after, of.after}};
    for (const auto& [call, before, becomes] : sessions) {
        const auto begin = [&, undone = before == of.between] {
            restore(of);
            if (undone) undo(of.path);
        };
        begin();
        const TracedEnd whole = traced([&call = call] { return execute(call); }, {});
        ASSERT_EQ(whole.status, 0) << said();
        ASSERT_TRUE(classesOf(of.path) == becomes);
        // Of what people do most, all.
        const bool all = Long || call.front() == "undo" || call.front() == "redo";
        const int step = all ? 1 : std::max(1, whole.calls / 6);
        for (int at = static_cast<int>(random() % static_cast<unsigned>(step)); at < whole.calls; at += step) {
            SCOPED_TRACE(fmt::format("{} killed at call {}", call.front(), at));
            begin();
            traced([&call = call] { return execute(call); }, {Fate::Killed, at});
            const std::string survey = bytesOf(of.path);
            const json shown = corvane({"histogram", of.path, "--json"}).document();
            Classes now = classesOf(of.path);
            ASSERT_TRUE(now == becomes || now == before);
            for (const json& entry : shown["values"])
                ASSERT_EQ(entry["count"], countOf(now, entry["value"].get<int>())) << entry;
            const Outcome listed = corvane({"points", of.path, "--class", "9", "--format", "csv", "--allow-miss"});
            ASSERT_EQ(std::ranges::count(listed.out, '\n'), 1 + countOf(now, 9)) << listed.out; // below a head
            ASSERT_TRUE(bytesOf(of.path) == survey);
            const bool open = isOpen(of.path);
            const std::vector<Arguments> next{{"undo", of.path},
                                              {"mask", of.path, "--clear"},
                                              {"discard", of.path},
                                              more,
                                              {"history", of.path, "--drop"}};
            const Arguments& writer = next[random() % next.size()];
            const Outcome run = corvane(writer);
            ASSERT_EQ(run.status, 0) << run.err;
            ASSERT_EQ(open, holds(run.err, "interrupted")) << run.err;
            ASSERT_TRUE(!open || bytesOf(of.path) == bytesOf(of.saved)) << writer.front();
        }
    }
    EXPECT_GT(kills, 12);
}

TEST_F(InPlace, saysWhatItDid) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case plain = prepared(Form::Plain);
    expectRefused({"save", plain.path}, 2, {"--in-place"});
    expectRefused({"save", plain.path, out, "--in-place"}, 2, {"--in-place"});
    const Outcome first = corvane({"save", plain.path, "--in-place"});
    EXPECT_EQ(first.status, 0) << first.err;
    const std::string saved = bytesOf(plain.path);
    std::uint64_t differ = 0;
    for (std::size_t i = 0; i < saved.size(); ++i) differ += saved[i] != plain.original[i];
    EXPECT_TRUE(holds(first.out, fmt::format("{} bytes written in place", differ))) << first.out;
    EXPECT_TRUE(holds(corvane({"save", plain.path, "--in-place"}).out, "nothing was written"));
    EXPECT_TRUE(bytesOf(plain.path) == saved);
    EXPECT_EQ(corvane({"undo", plain.path, "2"}).status, 0);
    EXPECT_EQ(corvane({"save", plain.path, "--in-place"}).status, 0);
    EXPECT_TRUE(bytesOf(plain.path) == plain.original);
    expectRefused({"save", in, "--in-place"}, 1, {"no edits are kept"});

    const Case pointwise = prepared(Form::Pointwise);
    const Outcome copied = corvane({"save", pointwise.path, "--in-place"});
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_TRUE(holds(copied.out, "a new file took its place") && holds(copied.out, "not in layers")) << copied.out;
    EXPECT_EQ(corvane({"redo", pointwise.path}).status, 1);
    EXPECT_EQ(corvane({"undo", pointwise.path}).status, 0);
    EXPECT_TRUE(classesOf(pointwise.path) == pointwise.between);
}

TEST_F(InPlace, writesNamesOfClassesWhereThereIsARecordForThem) {
    run({"sample", in, "--points", "2000", "-q"});
    write(folder / "labels.json", R"({"labels": [{"value": 9, "name": "Lake"}]})");
    EXPECT_EQ(corvane({"edit", in, "relabel", "--editable", "any", "--assign", "9", "--box",
                       "500000,5200000,500020,5200020", "--labels", folder / "labels.json", "--with-labels"})
                  .status,
              0);
    const auto names = [&] { return corvane({"labels", in, "--original"}).out; };
    EXPECT_FALSE(holds(names(), "Lake"));
    EXPECT_TRUE(holds(corvane({"labels", in}).out, "Lake"));
    const Outcome first = corvane({"save", in, "--in-place", "--with-labels"});
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_TRUE(holds(first.out, "a new file took its place") && holds(first.out, "no record")) << first.out;
    EXPECT_TRUE(holds(names(), "Lake"));
    const std::string saved = bytesOf(in);
    EXPECT_EQ(corvane({"undo", in}).status, 0);
    const Outcome second = corvane({"save", in, "--in-place", "--with-labels"});
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_TRUE(holds(second.out, "written in place")) << second.out;
    EXPECT_EQ(bytesOf(in).size(), saved.size());
    EXPECT_EQ(corvane({"redo", in}).status, 0);
    EXPECT_EQ(corvane({"save", in, "--in-place", "--with-labels"}).status, 0);
    EXPECT_TRUE(bytesOf(in) == saved);
}

/// A file system that goes when this does.
class SmallFileSystem {
public:
    explicit SmallFileSystem(std::string path) : path_(std::move(path)) {
        fs::create_directory(path_);
        mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1500k") == 0;
    }
    ~SmallFileSystem() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool mounted() const { return mounted_; }

private:
    std::string path_;
    bool mounted_;
};

TEST_F(InPlace, changesNothingOnAFullDisc) {
    const SmallFileSystem disc(folder / "disc");
    if (!disc.mounted()) GTEST_SKIP() << "a small file system cannot be mounted here";
    fragmentPoints = SurveyOptions().fragmentPoints;
    for (const Form form : {Form::Plain, Form::Layered, Form::Pointwise}) {
        const Case of = prepared(form);
        const std::string path = folder / "disc/" + fs::path(of.path).filename().string();
        for (const auto& [name, bytes] : of.contents) write(folder / "disc/" + name, bytes);
        {
            std::ofstream filler(folder / "disc/filler");
            while (filler) filler << std::string(512, 'x') << std::flush;
        }
        EXPECT_EQ(corvane({"save", path, "--in-place"}).status, 1);
        EXPECT_TRUE(bytesOf(path) == of.original);
        EXPECT_TRUE(classesOf(path) == of.after);
        fs::remove(folder / "disc/filler");
        EXPECT_EQ(saveInPlace(path), 0);
        EXPECT_TRUE(recordsOf(path) == recordsOf(of.saved));
        for (const auto& entry : fs::directory_iterator(folder / "disc")) fs::remove(entry.path());
    }
}

using InPlaceOfReal = RealSurveys;

TEST_F(InPlaceOfReal, layersReadAsThoseOfAnAtomicSave) {
    int fitted = 0;
    for (const auto& name : named("", ".laz")) {
        const auto largest = LasFile::open(Data / name).compression()->layout.layered() ? 2'000'000u : 15'000u;
        if (fs::file_size(Data / name) > largest) continue;
        SCOPED_TRACE(name);
        const std::string path = folder / "real.laz", original = bytesOf(Data / name);
        for (const char* where : {"Intensity >= 0", "Intensity % 2 == 0"}) {
            write(path, original);
            const Outcome edit = corvane({"edit", path, "reclassify", "--from", "any", "--to", "2", "--where", where});
            ASSERT_EQ(edit.status, 0) << edit.err;
            if (!fs::exists(path + ".edits")) continue; // it had that class everywhere
            const std::string counts = corvane({"histogram", path, "-q"}).out;
            ASSERT_EQ(corvane({"save", path, folder / "atomic.laz", "--overwrite"}).status, 0);
            const Outcome saved = corvane({"save", path, "--in-place"});
            ASSERT_EQ(saved.status, 0) << saved.err;
            EXPECT_EQ(corvane({"histogram", path, "-q"}).out, counts);
            EXPECT_TRUE(recordsOf(path) == recordsOf(folder / "atomic.laz"));
            EXPECT_TRUE(holds(corvane({"compare", path, folder / "atomic.laz", "--original"}).out, "the same"));
            ASSERT_EQ(corvane({"undo", path}).status, 0);
            ASSERT_EQ(corvane({"save", path, "--in-place"}).status, 0);
            EXPECT_TRUE(recordsOf(path) == recordsOf(Data / name));
            if (!holds(saved.out, "a new file")) {
                ++fitted;
                EXPECT_TRUE(bytesOf(path) == original);
            }
            fs::remove(path + ".edits");
        }
    }
    EXPECT_GT(fitted, 5);
}

} // namespace
} // namespace corvane::test
