// SPDX-License-Identifier: Apache-2.0
// Calls of reclassify: sources, what is expected, where the result goes, polygons that do not fit, other fields.
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
    std::string classesAfter(const Arguments& call) {
        const Outcome run = reclassify(call + Arguments{"--overwrite"});
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

    const Arguments edit{"--from", "1", "--to", "6"};
};

TEST_F(Calls, changeTheClassesThatTheyNameAndNoOther) {
    const std::pair<Arguments, std::string> table[] = {
        {{"--from", "3", "--to", "0"}, "01204567"},
        {{"--from", "3", "--to", "011"}, "012;4567"}, // 11, decimal
        {{"--from", "1", "--from", "2", "--from", "3", "--from", "7", "--to", "2"}, "02224562"},
        {{"--from", "1", "--from", "6", "--to", "6"}, "06234567"},
        {{"--from", "1", "--to", "6", "--switch", "3"}, "01234517"},
        {{"--from", "1", "--from", "2", "--to", "6", "--switch", "0"}, "01134517"},
    };
    for (const auto& [call, after] : table)
        EXPECT_EQ(classesAfter(call), after) << fmt::format("{}", fmt::join(call, " "));
}

TEST_F(Calls, thatMakeNoSenseAreRefused) {
    expectRefused({"reclassify", in}, {{{out, "--from", "300", "--to", "6"}, {"--from 300", "0 to 255"}},
                                       {{out, "--from", "1", "--to", "256"}, {"--to 256", "0 to 255"}},
                                       {{"--from", "1", "--to", "6"}, {"OUT", "--dry-run"}},
                                       {{out, "--from", "1"}, {"--to"}},
                                       {{out, "--from", "", "--to", "6"}, {"--from"}},
                                       {{out, "--from", "0x10", "--to", "6"}, {"--from"}},
                                       {{out, "--from", "2", "--to="}, {"--to"}}});
    expectRefused(Arguments{"reclassify", in, out} + edit,
                  {{{"--expect", "many"}, {"--expect", "many", "MIN..MAX"}},
                   {{"--expect", "9..1"}, {"--expect", "9..1"}},
                   {{"--expect", ""}, {"--expect"}},
                   {{"--expect", "0..249"}, {"250", "0..249", "nothing was written"}, 1},
                   {{"--expect", "251"}, {"250", "251", "nothing was written"}, 1},
                   {{"--memory", "lots"}, {"--memory", "lots", "256M"}},
                   {{"--overwrit"}, {"--overwrit", "--overwrite"}},
                   {{"--within", "POLYGON((8 50, 9 50, 9 51, 8 50))"}, {"degrees", "Nothing was written"}, 1},
                   {{"--within", "POLYGON((1e3 1e3, 2e3 1e3, 2e3 2e3))"}, {"The polygons miss", "Nothing was"}, 1},
                   {{"--within", "POLYGON((0 0, 9"}, {"POLYGON((0 0, 9"}, 1},
                   {{"--within", "missing.wkt"}, {"missing.wkt", "neither WKT nor"}},
                   {{"--within", in}, {in}, 1}});
}

TEST_F(Calls, withTheExpectedNumberOfChangesSave) {
    for (const char* expected : {"250", "0..250", "250..9999"})
        EXPECT_EQ(classesAfter(edit + Arguments{"--expect", expected}), "06234567") << expected;
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
    expectRefused(Arguments{"reclassify", in} + edit,
                  {{{out}, {out, "exists", "--overwrite"}, 1},
                   {{in}, {in, "exists", "--overwrite"}, 1},
                   {{folder / "folder", "--overwrite"}, {folder / "folder", "folder"}, 1},
                   {{folder / "pipe", "--overwrite"}, {folder / "pipe", "not a regular file"}, 1},
                   {{folder / "missing/out.las"}, {folder / "missing", "No such file"}, 1},
                   {{in + "/out.las", "--overwrite"}, {in + "/out.las", "Not a directory"}, 1},
                   {{"/proc/corvane/out.las"}, {"/proc/corvane"}, 1},
                   {{folder / std::string(300, 'x')}, {"cannot be written", "File name too long"}, 1}});
}

TEST_F(Calls, mayReplaceTheResultOrTheSurveyItself) {
    const RawPoints before(bytesOf(in));
    const std::string longest = folder / std::string(255, 'x'); // that a name can be
    write(longest, "something of no value");
    for (const std::string& place : {longest, in}) {
        const Outcome run = corvane(Arguments{"reclassify", in, place, "--overwrite"} + edit);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(changedRecords(before, RawPoints(bytesOf(place))), 250u);
        EXPECT_EQ(folder.contents().size(), 2u);
    }
}

class Fields : public RealSurveys {
protected:
    const std::string survey = Data / "extrabytes12_pf3_eb27.las";
};

struct FieldEdit {
    const char* field;
    std::size_t byte; ///< in the record
    int from, to;
    int bits = 8, firstBit = 0;
};

TEST_F(Fields, ofAFewBitsOneByteOrTwoAreEditedInPlace) {
    const RawPoints before(bytesOf(survey));
    for (const FieldEdit& edit : {FieldEdit{"UserData", 17, 122, 5}, FieldEdit{"Withheld", 15, 0, 1, 1, 7},
                                  FieldEdit{"ReturnNumber", 14, 1, 7, 3, 0}, FieldEdit{"Colors[1]", 36, 104, 3, 16}}) {
        SCOPED_TRACE(edit.field);
        const Outcome run = reclassify({"--field", edit.field, "--from", std::to_string(edit.from), "--to",
                                        std::to_string(edit.to), "--json", "--overwrite"},
                                       survey);
        RawPoints expected = before;
        const int mask = ((1 << edit.bits) - 1) << edit.firstBit;
        for (std::uint64_t i = 0; i < before.count(); ++i) {
            const std::size_t place = before.place(i, edit.byte);
            const int stored = before.get<std::uint16_t>(place); // of a byte, with the next one
            if ((stored & mask) == edit.from << edit.firstBit)
                expected.put(place, static_cast<std::uint16_t>((stored & ~mask) | edit.to << edit.firstBit));
        }
        EXPECT_GT(changedRecords(before, expected), 0u);
        EXPECT_EQ(run.document()["changed"], changedRecords(before, expected));
        EXPECT_TRUE(bytesOf(out) == expected.bytes());
    }
}

TEST_F(Fields, thatCannotBeEditedAreRefusedWithAReason) {
    expectRefused({"reclassify", survey, out},
                  {{{"--field", "ScanAngleRank", "--from", "1", "--to", "2"}, {"ScanAngleRank", "int8"}},
                   {{"--field", "Intensity_49", "--from", "1", "--to", "2"}, {"Intensity_49", "uint32"}},
                   {{"--field", "Positions", "--from", "1", "--to", "2"}, {"Positions", "double"}},
                   {{"--field", "Clasification", "--from", "1", "--to", "2"},
                    {"\"Clasification\"", "Did you mean \"Classification\"?"}},
                   {{"--field", "Overlap", "--from", "0", "--to", "1"}, {"\"Overlap\"", "Withheld"}},
                   {{"--field", "Withheld", "--from", "0", "--to", "2"}, {"--to 2", "0 to 1"}},
                   {{"--field", "UserData", "--from", "0", "--to", "256"}, {"--to 256", "0 to 255"}},
                   {{"--from", "1", "--to", "32"}, {"--to 32", "0 to 31", "point formats 6 to 10"}},
                   {{"--from", "64", "--to", "2"}, {"--from 64", "0 to 31", "point formats 6 to 10"}}});
}

TEST_F(Fields, classAbove31IsRefusedWhereANetworkStoresItInFiveBits) {
    write(folder / "net.json", R"({"objects": [
        {"name": "p", "type": "Field"},
        {"name": "e", "type": "Edit/ModifyClassification", "parameters": {"from0": 1, "newvalue": 40}}],
        "connections": [{"from": "p.field", "to": "e.labelfield"}], "actions": [{"press": "e.assign"}]})");
    expectRefused({"run", folder / "net.json", "--survey", survey, "--save", out}, 1,
                  {survey, "40", "5 bits", "point formats 6 to 10", "Nothing was written."});
}

} // namespace
} // namespace corvane::test
