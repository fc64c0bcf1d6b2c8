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
    const std::pair<Arguments, std::vector<std::string>> calls[] = {
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
    for (const auto& [edit, says] : calls) expectRefused(Arguments{"reclassify", survey, out} + edit, 2, says);
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
