// SPDX-License-Identifier: Apache-2.0
// Calls on many files: the same bytes as one by one, whatever fails, stops or is done already.
#include "ProgramTestSupport.hpp"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace corvane::test {
namespace {
namespace fs = std::filesystem;

class Batch : public Program {
protected:
    void SetUp() override {
        fs::create_directory(tiles);
        for (int i = 0; i < Tiles; ++i)
            ASSERT_EQ(corvane({"sample", tile(i), "--points", "3000", "--seed", std::to_string(i), "-q"}).status, 0);
    }

    static constexpr int Tiles = 6;
    std::string tile(int i) const { return tiles + fmt::format("/t{}.las", i); }

    /// What the edit makes of each tile by itself.
    std::map<std::string, std::string> oneByOne() const {
        std::map<std::string, std::string> results;
        for (int i = 0; i < Tiles; ++i) {
            const Outcome run = corvane(Arguments{"reclassify", tile(i), folder / "single.las", "--overwrite"} + edit);
            EXPECT_EQ(run.status, 0) << run.err;
            results[fmt::format("t{}.las", i)] = bytesOf(folder / "single.las");
        }
        return results;
    }

    std::map<std::string, std::string> written() const {
        std::map<std::string, std::string> results;
        for (const auto& entry : fs::directory_iterator(results_))
            if (entry.path().extension() == ".las") results[entry.path().filename()] = bytesOf(entry.path());
        return results;
    }

    Outcome edited(const Arguments& more) const {
        return corvane(Arguments{"reclassify", tiles, "--out-dir", results_} + edit + more);
    }

    const std::string tiles = folder / "tiles", results_ = folder / "results";
    const Arguments edit{"--from", "ground", "--to", "building", "--where", "ReturnNumber == 1"};
};

TEST_F(Batch, givesTheSameBytesAsOneByOne) {
    const auto expected = oneByOne();
    const Outcome run = edited({"--jobs", "3", "--json"});
    const json report = run.document();
    EXPECT_EQ(report["files"].size(), std::size_t{Tiles});
    std::uint64_t changed = 0;
    for (const json& file : report["files"]) changed += file["changed"].get<std::uint64_t>();
    EXPECT_EQ(report["total"]["changed"], changed);
    EXPECT_TRUE(written() == expected);

    const Outcome again =
        corvane(Arguments{"reclassify", tiles + "/*.las", "--out-dir", results_, "--overwrite"} + edit);
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_TRUE(written() == expected);
    std::size_t place = 0; // lines stand in the order of the files
    for (int i = 0; i < Tiles; ++i) {
        const std::size_t found = again.out.find(tile(i) + ": ");
        EXPECT_NE(found, std::string::npos);
        EXPECT_GE(found, place);
        place = found;
    }
    EXPECT_TRUE(holds(again.out, fmt::format("{} of {} files", Tiles, Tiles)));
}

TEST_F(Batch, oneDamagedFileDoesNotStopTheOthers) {
    auto expected = oneByOne();
    expected.erase("t2.las");
    fs::resize_file(tile(2), 50000);
    const Outcome run = edited({"--jobs", "2"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(holds(run.complaint(), "1 of 6 files failed: " + tile(2))) << run.err;
    EXPECT_TRUE(written() == expected);
}

TEST_F(Batch, callsThatMakeNoSenseAreRefusedBeforeAnyWork) {
    fs::create_directory(folder / "other");
    fs::copy_file(tile(0), folder / "other/t0.las");
    const Arguments call = Arguments{"reclassify", tiles} + edit;
    expectRefused(call, {{{}, {"--out-dir"}},
                         {{"--out-dir", tiles}, {"t0.las", "is read"}},
                         {{folder / "other", "--out-dir", results_}, {"t0.las", "both be written"}},
                         {{tile(0), "--out-dir", results_}, {tile(0), "twice"}},
                         {{"--resume", "--dry-run"}, {"--resume"}}});
    EXPECT_FALSE(fs::exists(results_));
    fs::create_directory(results_);
    write(results_ + "/t4.las", "something of value");
    expectRefused(call, {{{"--out-dir", results_}, {"t4.las", "exists", "--overwrite"}, 1}});
    expectRefused({"histogram"}, {{{folder / "nothing*.las"}, {"nothing"}}});
}

TEST_F(Batch, limitsThatMeetNoFileAreAMiss) {
    const Outcome none = edited({"--z", "9000.."});
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(holds(none.err, "In none of the 6 files")) << none.err;
    EXPECT_TRUE(!fs::exists(results_) || written().empty());

    // Only one of the tiles has points of this source; the others are copied.
    RawPoints marked(bytesOf(tile(3)));
    marked.setByte(5, 17, 77);
    marked.setClass(5, 2);
    write(tile(3), marked.bytes());
    const Arguments call{"reclassify", tiles,  "--out-dir", results_,  "--from",
                         "2",          "--to", "6",         "--where", "UserData == 77"};
    const Outcome one = corvane(call);
    ASSERT_EQ(one.status, 0) << one.err;
    const auto results = written();
    ASSERT_EQ(results.size(), std::size_t{Tiles});
    for (int i = 0; i < Tiles; ++i) EXPECT_EQ(results.at(fmt::format("t{}.las", i)) == bytesOf(tile(i)), i != 3) << i;
    fs::remove_all(results_);
    EXPECT_EQ(corvane(call + Arguments{"--changed-only"}).status, 0);
    EXPECT_EQ(written().size(), 1u);
}

TEST_F(Batch, goesOnWhereItWasStopped) {
    const auto expected = oneByOne();
    // Killed as soon as the first result is there, and again with a signal that can be heard.
    for (const int signal : {SIGKILL, SIGTERM}) {
        fs::remove_all(results_);
        const pid_t child = fork();
        if (child == 0) {
            const int nothing = open("/dev/null", O_RDWR);
            for (const int stream : {0, 1, 2}) dup2(nothing, stream);
            execl(CORVANE_PROGRAM, "corvane", "reclassify", tiles.c_str(), "--out-dir", results_.c_str(), "--from",
                  "ground", "--to", "building", "--where", "ReturnNumber == 1", static_cast<char*>(nullptr));
            _exit(127);
        }
        while (!fs::exists(results_ + "/t0.las") && waitpid(child, nullptr, WNOHANG) == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        kill(child, signal);
        int status = 0;
        waitpid(child, &status, 0);
        for (const auto& [name, bytes] : written())
            EXPECT_TRUE(bytes == expected.at(name)) << name << " is half written";

        const Outcome resumed = edited({"--resume", "--overwrite"});
        EXPECT_EQ(resumed.status, 0) << resumed.err;
        EXPECT_TRUE(written() == expected);
    }

    // What is done is left alone; another call, a changed input and a changed output are done again.
    const auto stamp = fs::last_write_time(results_ + "/t1.las");
    write(results_ + "/t4.las", "spoilt");
    RawPoints changed(bytesOf(tile(5)));
    for (std::uint64_t i = 0; i < changed.count(); ++i) changed.setClass(i, 2);
    write(tile(5), changed.bytes());
    EXPECT_EQ(edited({"--resume", "--overwrite"}).status, 0);
    EXPECT_EQ(fs::last_write_time(results_ + "/t1.las"), stamp);
    EXPECT_TRUE(written() == oneByOne());
    EXPECT_EQ(edited({"--resume", "--overwrite", "--z", "..9000"}).status, 0);
    EXPECT_NE(fs::last_write_time(results_ + "/t1.las"), stamp);
}

TEST_F(Batch, convertsCountsAndNames) {
    const Outcome packed = corvane({"convert", tiles, "--out-dir", results_, "--suffix", "_x.laz", "--jobs", "2"});
    EXPECT_EQ(packed.status, 0) << packed.err;
    const json alone = corvane({"histogram", results_ + "/t1_x.laz", "--json"}).document();
    const json all = corvane({"histogram", results_, "--json", "--jobs", "2"}).document();
    ASSERT_EQ(all["files"].size(), std::size_t{Tiles});
    EXPECT_EQ(all["files"][1]["values"], alone["values"]);
    EXPECT_EQ(all["total"]["points"], 3000 * Tiles);
    EXPECT_EQ(corvane({"labels", tile(0), tile(1), "--json"}).document()["files"].size(), 2u);
}

TEST_F(Batch, memoryIsSharedAmongProcesses) {
    const Outcome shared = corvane({"--memory", "4M", "histogram", tiles, "--jobs", "8"});
    EXPECT_EQ(shared.status, 0) << shared.err;
}

TEST_F(Batch, comparesFolders) {
    ASSERT_EQ(edited({"--suffix", "_fixed.laz"}).status, 0);
    const Arguments call{"compare", tiles, results_, "--suffix", "_fixed"};
    const Outcome run = corvane(call + Arguments{"--json", "--jobs", "2", "--only", "Classification"});
    EXPECT_EQ(run.status, 0) << run.err;
    const json report = json::parse(run.out);
    const json alone = corvane({"compare", tile(2), results_ + "/t2_fixed.laz", "--json"}).document();
    EXPECT_EQ(report["files"][2]["transitions"], alone["transitions"]);
    std::uint64_t changed = 0;
    for (const json& one : report["total"]["transitions"])
        if (one["from"] != one["to"]) changed += one["points"].get<std::uint64_t>();
    EXPECT_EQ(changed + report["total"]["unchanged"].get<std::uint64_t>(), 3000u * Tiles);
    EXPECT_GT(changed, 0u);

    // A tile that is in one folder only, one that differs in more, and a limit that meets one or no tile.
    fs::remove(results_ + "/t5_fixed.laz");
    RawPoints other(bytesOf(tile(3)));
    other.setByte(5, 17, 77);
    write(tile(3), other.bytes());
    const Outcome unlike = corvane(call + Arguments{"--only", "Classification"});
    EXPECT_EQ(unlike.status, 3);
    for (const std::string& part : {tile(5) + ": there is no survey", std::string("t3_fixed.laz: differs from"),
                                    std::string("expected differences in Classification only")})
        EXPECT_TRUE(holds(unlike.err, part)) << unlike.err;
    EXPECT_TRUE(holds(unlike.out, "5 pairs of files, 0 the same"));
    fs::remove(tile(5));
    const Outcome one = corvane(call + Arguments{"--where", "UserData == 77", "--json"});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(json::parse(one.out)["total"]["transitions"].size(), 1u);
    EXPECT_EQ(corvane(call + Arguments{"--where", "UserData == 78"}).status, 1);
}

TEST_F(Batch, limitsOfThoseThatLookMayMissSomeFiles) {
    RawPoints marked(bytesOf(tile(3)));
    marked.setByte(5, 17, 77);
    write(tile(3), marked.bytes());
    for (const Arguments& call : {Arguments{"lint", tiles}, Arguments{"picture", tiles, "--out-dir", results_, "--size",
                                                                      "600x600", "--overwrite"}}) {
        const Outcome some = corvane(call + Arguments{"--where", "UserData == 77"});
        EXPECT_NE(some.status, 1) << some.err;
        const Outcome none = corvane(call + Arguments{"--where", "UserData == 78"});
        EXPECT_EQ(none.status, 1);
        EXPECT_TRUE(holds(none.err, "In none of the 6 files")) << none.err;
    }
    EXPECT_TRUE(fs::exists(results_ + "/t3.png"));
    EXPECT_FALSE(fs::exists(results_ + "/t2.png"));
    const Outcome changes = corvane({"picture", tile(3), tile(4), "--out-dir", results_, "--suffix", "_changes.png",
                                     "--before", tiles, "--size", "600x600"});
    EXPECT_EQ(changes.status, 0) << changes.err;
    EXPECT_TRUE(fs::exists(results_ + "/t4_changes.png"));
}

} // namespace
} // namespace corvane::test
