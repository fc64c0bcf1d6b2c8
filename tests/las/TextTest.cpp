// SPDX-License-Identifier: Apache-2.0
#include "base/Text.hpp"

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(Text, escapesWhatSteersATerminalAndNothingElse) {
    for (const char* shown : {"", "Gebäude", "Ω ≤ 5 €", "点云", "\xF0\x9F\x8C\xB2", "a\\x41 \"b\""})
        EXPECT_EQ(escaped(shown), shown);
    EXPECT_EQ(escaped("\x1B[2Jred\x07\x7F"), "\\x1B[2Jred\\x07\\x7F");
    EXPECT_EQ(escaped("a\nb\tc\r"), "a\\x0Ab\\x09c\\x0D");
    EXPECT_EQ(escaped(std::string_view("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(escaped("\xC2\x9Bm"), "\\xC2\\x9Bm");            // the one character that stands for escape and bracket
    EXPECT_EQ(escaped("a\xE2\x80\xAE!"), "a\\xE2\\x80\\xAE!"); // what follows would be read from the right
}

TEST(Text, escapesEachByteThatIsNoUtf8) {
    EXPECT_EQ(escaped("Geb\xE4ude"), "Geb\\xE4ude"); // Latin-1
    EXPECT_EQ(escaped("\xC3"), "\\xC3");             // cut off
    EXPECT_EQ(escaped("\xE2\x82!"), "\\xE2\\x82!");
    EXPECT_EQ(escaped("\xC0\xAF"), "\\xC0\\xAF"); // longer than needed
    EXPECT_EQ(escaped("\xE0\x9F\xBF"), "\\xE0\\x9F\\xBF");
    EXPECT_EQ(escaped("\xED\xA0\x80"), "\\xED\\xA0\\x80");          // half of a pair
    EXPECT_EQ(escaped("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80"); // beyond the last character
    EXPECT_EQ(escaped("\xFF\x80"), "\\xFF\\x80");
}

TEST(Text, goesIntoJsonWithoutLoss) {
    EXPECT_EQ(asUtf8("Geb\xE4ude\x1B Gebäude"), "Geb\\xE4ude\x1B Gebäude");
    EXPECT_EQ(escapedJson("{\n  \"ä\": \"\x7F\xC2\x9B\xE2\x80\xAE\"\n}"), "{\n  \"ä\": \"\\u007f\\u009b\\u202e\"\n}");
}

} // namespace
} // namespace corvane
