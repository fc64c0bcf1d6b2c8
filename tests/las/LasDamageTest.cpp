// SPDX-License-Identifier: Apache-2.0
#include "LasTestSupport.hpp"

#include <limits>
#include <sys/stat.h>

namespace corvane {
namespace {

using test::holds;
using test::Survey;

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t Most = std::numeric_limits<std::uint64_t>::max();

/// One VLR with a payload of 10 bytes at 375, points at 439, one EVLR with a payload of 5 at 529: 594 bytes.
Survey whole() { return Survey().vlr("somebody", 7, "0123456789").points().evlr("somebody", 8, "01234"); }

struct Damage {
    const char* name;
    std::function<void(Survey&)> inflict;
    std::uint64_t offset;
    const char* found;
    const char* expected;
};

const Damage Damages[] = {
    {"signature", [](Survey& s) { s.put<char>(0, 'P'); }, 0, "50 41 53 46", "4c 41 53 46"},
    {"empty", [](Survey& s) { s.cut(0); }, 0, "the end of the file", "at least 227 bytes"},
    {"shorter than its header", [](Survey& s) { s.cut(374); }, 374, "the end of the file", "375 bytes for version 1.4"},
    {"major version", [](Survey& s) { s.put<char>(24, 2); }, 24, "version 2.4", "1.0 to 1.5"},
    {"minor version", [](Survey& s) { s.put<char>(25, 6); }, 24, "version 1.6", "1.0 to 1.5"},
    {"small header", [](Survey& s) { s.put<std::uint16_t>(94, 227); }, 94, "size of 227", "at least 375"},
    {"large header", [](Survey& s) { s.put<std::uint16_t>(94, 595); }, 94, "size of 595", "at most the 594"},
    {"points in the header", [](Survey& s) { s.put<std::uint32_t>(96, 374); }, 96, "start at 374", "from 375"},
    {"points behind the file", [](Survey& s) { s.put<std::uint32_t>(96, 595); }, 96, "start at 595", "to 594"},
    {"garbage VLR count", [](Survey& s) { s.put<std::uint32_t>(100, 0xFFFFFFFF); }, 100, "4294967295 VLRs",
     "at most 1"},
    {"VLR beyond the points", [](Survey& s) { s.put<std::uint16_t>(395, 11); }, 395, "VLR 1 of 1 with 11",
     "at most the 10"},
    {"no room for the second VLR",
     [](Survey& s) { s.put<std::uint32_t>(96, 492).put<std::uint32_t>(100, 2).put<std::uint64_t>(247, 0); }, 439,
     "53 bytes before the points", "VLR 2 of 2 with a header of 54"},
    {"point format", [](Survey& s) { s.put<char>(104, 11); }, 104, "point format 11", "0 to 10"},
    {"record length", [](Survey& s) { s.put<std::uint16_t>(105, 29); }, 105, "length of 29", "at least 30"},
    {"too many points", [](Survey& s) { s.put<std::uint64_t>(247, 6); }, 247, "6 points of 30", "at most 5"},
    // 30 times this is 14 more than 2 to the power of 64: a product would wrap round to a small number.
    {"count that wraps round", [](Survey& s) { s.put<std::uint64_t>(247, Most / 30 + 1); }, 247, "points of 30",
     "at most 5"},
    {"legacy count", [](Survey& s) { s.put<std::uint64_t>(247, 0).put<std::uint32_t>(107, 6); }, 107, "6 points",
     "at most 5"},
    {"zero scale", [](Survey& s) { s.put<double>(139, 0); }, 139, "Y scale 0", "finite number other than 0"},
    {"offset not a number", [](Survey& s) { s.put(155, NaN); }, 155, "X offset nan", "a finite number"},
    {"scale that overflows", [](Survey& s) { s.put(131, 1e300); }, 131, "X scale 1e+300", "finite coordinates"},
    {"EVLR in the points", [](Survey& s) { s.put<std::uint64_t>(235, 528); }, 235, "start at 528", "from 529"},
    {"EVLR behind the file", [](Survey& s) { s.put<std::uint64_t>(235, Most); }, 235, "start at 18446744073709551615",
     "to 594"},
    {"garbage EVLR count", [](Survey& s) { s.put<std::uint32_t>(243, 1 << 30); }, 243, "1073741824 EVLRs", "at most 1"},
    {"EVLR too long", [](Survey& s) { s.put<std::uint64_t>(549, 6); }, 549, "EVLR 1 of 1 with 6", "at most the 5"},
    {"EVLR of absurd length", [](Survey& s) { s.put(549, Most); }, 549, "with 18446744073709551615", "at most the 5"},
};

TEST(LasDamage, saysWhereWhatWasFoundAndWhatWasExpected) {
    for (const auto& damage : Damages) {
        SCOPED_TRACE(damage.name);
        auto survey = whole();
        ASSERT_EQ(survey.failure(), "");
        damage.inflict(survey);
        const auto message = survey.failure();
        const auto found = message.find(fmt::format("survey.las: at offset {} found ", damage.offset));
        const auto expected = message.find(", expected ");
        ASSERT_NE(found, std::string::npos) << message;
        EXPECT_LT(message.find(damage.found, found), expected) << message;
        EXPECT_TRUE(holds(message.substr(std::min(expected, message.size())), damage.expected)) << message;
        EXPECT_TRUE(message.ends_with('.')) << message;
    }
}

TEST(LasDamage, isACompressionThatNothingExplains) {
    auto unexplained = whole().put<std::uint8_t>(104, 0x86);
    EXPECT_TRUE(holds(unexplained.failure(), "expected a VLR \"laszip encoded\" 22204")) << unexplained.failure();
    auto wrong = Survey().vlr("laszip encoded", 22204, "abc").points().put<std::uint8_t>(104, 0x86);
    EXPECT_TRUE(holds(wrong.failure(), "in the record of the compression, found 3 bytes")) << wrong.failure();
    EXPECT_EQ(Survey().vlr("laszip encoded", 22204, "left behind").points().failure(), "");
}

TEST(LasDamage, everyCutIsNoticed) {
    const auto survey = whole();
    for (std::size_t size = 0; size < survey.size(); ++size) {
        const auto message = Survey(survey).cut(size).failure();
        ASSERT_TRUE(holds(message, "survey.las: at offset ")) << size << ": " << message;
    }
}

struct Oddity {
    const char* name;
    std::function<Survey()> make;
    const char* warning; ///< "" where none may be given
};

const Oddity Oddities[] = {
    {"nothing", whole, ""},
    {"version 1.5", [] { return Survey(5, 6).points(); }, ""},
    {"longer header",
     [] { return Survey(2, 3).append(10).put<std::uint16_t>(94, 237).put<std::uint32_t>(96, 237).points(); }, ""},
    {"two bytes before the points",
     [] { return Survey(0, 1).append(2).put<std::uint16_t>(227, 0xCCDD).put<std::uint32_t>(96, 229).points(); }, ""},
    {"waveforms behind the points", [] { return Survey(3, 4).points().append(9).put<std::uint64_t>(227, 406); }, ""},
    {"only a legacy count", [] { return Survey(4, 1).points().put<std::uint64_t>(247, 0).put<std::uint32_t>(107, 3); },
     "the older is used"},
    {"counts that differ", [] { return Survey(4, 1).points().put<std::uint32_t>(107, 2); }, "the first is used"},
    {"format of a later version", [] { return Survey(2, 6).points(); },
     "does not belong to version 1.2, which has 0 to 3"},
    {"bytes behind the points", [] { return Survey().points().append(5); }, "5 bytes from offset 465"},
    {"bytes behind the EVLRs", [] { return whole().append(4); }, "4 bytes from offset 594"},
    {"bounds not a number", [] { return Survey().points().put(195, NaN); }, "Y bounds at offset 195"},
    {"bounds upside down", [] { return Survey().points().put<double>(219, 1); }, "Z bounds at offset 211"},
    {"EVLR start without EVLRs", [] { return Survey().points().put(235, Most); }, "counts none"},
};

TEST(LasDamage, whatCanBeReadIsReadWithAWarning) {
    for (const auto& oddity : Oddities) {
        SCOPED_TRACE(oddity.name);
        const auto las = oddity.make().open();
        EXPECT_EQ(las.header.pointCount, Survey::Points);
        EXPECT_EQ(las.warnings.size(), *oddity.warning ? 1U : 0U) << test::joined(las.warnings);
        EXPECT_TRUE(holds(test::joined(las.warnings), oddity.warning)) << test::joined(las.warnings);
    }
    EXPECT_TRUE(Survey().put<double>(219, 1).open().warnings.empty()) << "bounds of no points";
}

TEST(InputFile, refusesWhatCannotBeRead) {
    const test::Folder folder;
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_TRUE(holds(test::messageOf<Failure>([&] { InputFile(folder / "none.las"); }),
                      "none.las: cannot be opened: No such file"));
    EXPECT_TRUE(holds(test::messageOf<Failure>([&] { InputFile(folder / "."); }), "not a regular file"));
    EXPECT_TRUE(holds(test::messageOf<Failure>([&] { InputFile(folder / "pipe"); }), "not a regular file"));
}

TEST(InputFile, saysWhenTheFileEndsOrShrinks) {
    const test::Folder folder;
    whole().write(folder / "survey.las");
    const auto las = LasFile::open(folder / "survey.las");
    std::array<std::byte, 10> bytes;
    const auto read = [&](std::uint64_t offset) {
        return test::messageOf<Failure>([&] { las.file->read(offset, bytes); });
    };
    EXPECT_EQ(read(584), "");
    EXPECT_TRUE(holds(read(585), "10 bytes were asked for at offset 585, but the file ends at 594"));
    EXPECT_TRUE(holds(read(Most - 4), "the file ends at 594"));
    std::filesystem::resize_file(folder / "survey.las", 590);
    EXPECT_EQ(read(580), "");
    EXPECT_TRUE(holds(read(584), "shrank while it was open: it ends before offset 594"));
    EXPECT_TRUE(holds(test::messageOf<Failure>([&] { readPayload(*las.file, las.evlrs.at(0), 99); }), "shrank"));
}

} // namespace
} // namespace corvane
