// SPDX-License-Identifier: Apache-2.0
// Edits of other fields than the class, and of classes that a field cannot hold.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

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
    const FieldEdit edits[] = {{"UserData", 17, 122, 5},
                               {"Withheld", 15, 0, 1, 1, 7},
                               {"ReturnNumber", 14, 1, 7, 3, 0},
                               {"Colors[0]", 34, 106, 255, 16},
                               {"Colors[1]", 36, 104, 3, 16}};
    const RawPoints before(bytesOf(survey));
    for (const FieldEdit& edit : edits) {
        SCOPED_TRACE(fmt::format("{} {} to {}", edit.field, edit.from, edit.to));
        const Outcome run = reclassify({"--field", edit.field, "--from", std::to_string(edit.from), "--to",
                                        std::to_string(edit.to), "--json", "--overwrite"},
                                       survey);
        EXPECT_EQ(run.status, 0) << run.err;
        if (run.status != 0) continue;
        RawPoints expected = before;
        std::uint64_t changed = 0;
        const int mask = ((1 << edit.bits) - 1) << edit.firstBit;
        for (std::uint64_t i = 0; i < before.count(); ++i) {
            const std::size_t place = before.place(i, edit.byte);
            const int stored = edit.bits > 8 ? before.get<std::uint16_t>(place) : before.get<std::uint8_t>(place);
            if ((stored & mask) != edit.from << edit.firstBit) continue;
            const int now = (stored & ~mask) | edit.to << edit.firstBit;
            expected.setByte(i, edit.byte, now & 0xFF);
            if (edit.bits > 8) expected.setByte(i, edit.byte + 1, now >> 8);
            ++changed;
        }
        EXPECT_GT(changed, 0u);
        EXPECT_EQ(run.document()["changed"], changed);
        EXPECT_TRUE(bytesOf(out) == expected.bytes());
    }
}

struct Refused {
    Arguments edit;
    std::vector<std::string> says;
};

TEST_F(Fields, thatCannotBeEditedAreRefusedWithAReason) {
    const Refused calls[] = {
        {{"--field", "pointsourceid", "--from", "7326", "--to", "3"}, {"7326", "0 to 255", "relabel"}},
        {{"--field", "ScanAngleRank", "--from", "1", "--to", "2"}, {"ScanAngleRank", "int8"}},
        {{"--field", "Intensity_49", "--from", "1", "--to", "2"}, {"Intensity_49", "uint32"}},
        {{"--field", "Positions", "--from", "1", "--to", "2"}, {"Positions", "double"}},
        {{"--field", "Clasification", "--from", "1", "--to", "2"},
         {"\"Clasification\"", "Did you mean \"Classification\"?"}},
        {{"--field", "Overlap", "--from", "0", "--to", "1"}, {"\"Overlap\"", "Withheld"}},
        {{"--field", "Withheld", "--from", "0", "--to", "2"}, {"--to 2", "0 to 1"}},
        {{"--field", "UserData", "--from", "0", "--to", "256"}, {"--to 256", "0 to 255"}},
        {{"--from", "1", "--to", "32"}, {"--to 32", "0 to 31", "point formats 6 to 10"}},
        {{"--from", "64", "--to", "2"}, {"--from 64", "0 to 31", "point formats 6 to 10"}}};
    for (const Refused& call : calls) {
        Arguments arguments{"reclassify", survey, out};
        arguments.insert(arguments.end(), call.edit.begin(), call.edit.end());
        expectRefused(arguments, 2, call.says);
    }
}

TEST_F(Fields, classAbove31IsRefusedWhereANetworkStoresItInFiveBits) {
    const json network{
        {"objects",
         {{{"name", "p"}, {"type", "Field"}},
          {{"name", "e"}, {"type", "Edit/ModifyClassification"}, {"parameters", {{"from0", 1}, {"newvalue", 40}}}}}},
        {"connections", {{{"from", "p.field"}, {"to", "e.labelfield"}}}},
        {"actions", {{{"press", "e.assign"}, {"save", out}}}}};
    write(folder / "net.json", network.dump());
    expectRefused({"run", folder / "net.json", "--survey", survey}, 1,
                  {survey, "/actions/0", "40", "5 bits", "point formats 6 to 10", "Nothing was written."});
}

} // namespace
} // namespace corvane::test
