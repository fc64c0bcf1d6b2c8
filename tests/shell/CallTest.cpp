// SPDX-License-Identifier: Apache-2.0
// Calls of reclassify: sources, what is expected, where the result goes, polygons that do not fit.
#include "ProgramTestSupport.hpp"

#include <sys/stat.h>

namespace corvane::test {
namespace {

/// in.las with classes 0 to 7 in turn, so that each is there.
class Calls : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        RawPoints points(bytesOf(in));
        for (std::uint64_t i = 0; i < points.count(); ++i) points.setClass(i, static_cast<int>(i % 8));
        write(in, points.bytes());
    }

    /// The classes that 0 to 7 have become, as one text.
    std::string classesAfter(const Arguments& edit) {
        const Outcome run = reclassify(edit + Arguments{"--overwrite"});
        if (run.status != 0) return run.err;
        const RawPoints after(bytesOf(out));
        std::string classes;
        for (std::uint64_t i = 0; i < after.count(); ++i) {
            const char now = static_cast<char>('0' + after.classOf(i));
            if (i < 8) classes += now;
            if (now != classes[i % 8]) return fmt::format("point {} is unlike the others of its class", i);
        }
        return classes;
    }

    void expectRefusedCall(const Arguments& more, int status, const std::vector<std::string>& says) const {
        expectRefused(Arguments{"reclassify", in} + more, status, says);
    }
};

TEST_F(Calls, changeTheClassesThatTheyNameAndNoOther) {
    const std::pair<Arguments, std::string> table[] = {
        {{"--from", "3", "--to", "5"}, "01254567"},
        {{"--from", "3", "--to", "0"}, "01204567"},
        {{"--from", "1", "--from", "2", "--from", "3", "--from", "7", "--to", "2"}, "02224562"},
        {{"--from", "1", "--from", "6", "--to", "6"}, "06234567"},
        {{"--from", "1", "--to", "6", "--switch", "3"}, "01234517"},
        {{"--from", "1", "--from", "2", "--to", "6", "--switch", "0"}, "01134517"},
    };
    for (const auto& [edit, after] : table)
        EXPECT_EQ(classesAfter(edit), after) << fmt::format("{}", fmt::join(edit, " "));
}

TEST_F(Calls, thatMakeNoSenseAreRefused) {
    const std::tuple<Arguments, int, std::vector<std::string>> table[] = {
        {{out, "--from", "1", "--from", "2", "--from", "3", "--from", "4", "--from", "5", "--to", "6"},
         2,
         {"--from", "5", "4"}},
        {{out, "--from", "300", "--to", "6"}, 2, {"--from 300", "0 to 255"}},
        {{out, "--from", "1", "--to", "256"}, 2, {"--to 256", "0 to 255"}},
        {{"--from", "1", "--to", "6"}, 2, {"OUT", "--dry-run"}},
        {{out, "--from", "1", "--to", "6", "--expect", "many"}, 2, {"--expect", "many", "MIN..MAX"}},
        {{out, "--from", "1", "--to", "6", "--expect", "9..1"}, 2, {"--expect", "9..1"}},
        {{out, "--from", "1", "--to", "6", "--expect", "0..249"}, 1, {"250", "0..249", "nothing was written"}},
        {{out, "--from", "1", "--to", "6", "--expect", "251"}, 1, {"250", "251", "nothing was written"}},
        {{out, "--from", "1", "--to", "6", "--memory", "lots"}, 2, {"--memory", "lots", "256M"}},
        {{out, "--from", "1", "--to", "6", "--overwrit"}, 2, {"--overwrit", "--overwrite"}},
        {{out, "--from", "1"}, 2, {"--to"}},
    };
    for (const auto& [more, status, says] : table) expectRefusedCall(more, status, says);
}

TEST_F(Calls, withTheExpectedNumberOfChangesSave) {
    for (const char* expected : {"250", "0..250", "250..9999"})
        EXPECT_EQ(classesAfter({"--from", "1", "--to", "6", "--expect", expected}), "06234567") << expected;
}

TEST_F(Calls, forPracticeWriteNothing) {
    const auto before = folder.contents();
    for (const Arguments& place : {Arguments{}, Arguments{out}, Arguments{in}}) {
        const Arguments call = Arguments{"reclassify", in} + place;
        EXPECT_EQ(corvane(call + Arguments{"--from=1", "--to=6", "--dry-run", "--json"}).document()["changed"], 250);
        EXPECT_TRUE(folder.contents() == before);
    }
}

TEST_F(Calls, whoseResultCannotBeWrittenLeaveNothingBehind) {
    write(out, "something of value");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    const std::tuple<Arguments, std::vector<std::string>> table[] = {
        {{out}, {out, "exists", "--overwrite"}},
        {{in}, {in, "exists", "--overwrite"}},
        {{folder / "folder", "--overwrite"}, {folder / "folder", "folder"}},
        {{folder / "pipe", "--overwrite"}, {folder / "pipe", "not a regular file"}},
        {{folder / "missing/out.las"}, {folder / "missing", "No such file"}},
        {{in + "/out.las", "--overwrite"}, {in + "/out.las", "Not a directory"}},
        {{"/proc/corvane/out.las"}, {"/proc/corvane"}},
        {{folder / std::string(300, 'x')}, {"cannot be written", "File name too long"}},
    };
    for (const auto& [place, says] : table) expectRefusedCall(place + Arguments{"--from", "1", "--to", "6"}, 1, says);
}

TEST_F(Calls, mayReplaceTheResultOrTheSurveyItself) {
    const RawPoints before(bytesOf(in));
    const std::string longest = folder / std::string(255, 'x'); // that a name can be
    write(longest, "something of no value");
    for (const std::string& place : {longest, in}) {
        const Outcome run = corvane({"reclassify", in, place, "--from", "1", "--to", "6", "--overwrite"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(changedRecords(before, RawPoints(bytesOf(place))), 250u);
        EXPECT_EQ(folder.contents().size(), 2u);
    }
}

TEST_F(Calls, withAPolygonElsewhereWarnAndChangeNothing) {
    const Outcome run =
        reclassify({"--from", "1", "--to", "6", "--json", "--within", "POLYGON((1e3 1e3, 2e3 1e3, 2e3 2e3))"});
    EXPECT_EQ(run.document()["changed"], 0);
    EXPECT_TRUE(run.err.starts_with("corvane: warning: The polygons miss the survey")) << run.err;
    EXPECT_TRUE(bytesOf(out) == bytesOf(in));
}

TEST_F(Calls, withPolygonsThatCannotBeMeantAreRefused) {
    const std::tuple<std::string, int, std::vector<std::string>> table[] = {
        {"POLYGON((8 50, 9 50, 9 51, 8 50))", 1, {"degrees", "Nothing was written"}},
        {"POLYGON((0 0, 9", 1, {"POLYGON((0 0, 9"}},
        {"missing.wkt", 2, {"missing.wkt", "neither WKT nor"}},
        {in, 1, {in}},
    };
    for (const auto& [polygon, status, says] : table)
        expectRefusedCall({out, "--from", "1", "--to", "6", "--within", polygon}, status, says);
}

} // namespace
} // namespace corvane::test
