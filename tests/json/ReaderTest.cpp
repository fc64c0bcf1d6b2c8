// SPDX-License-Identifier: Apache-2.0
#include "json/Reader.hpp"
#include "../support/Messages.hpp"

#include <gtest/gtest.h>

namespace json {
namespace {

using corvane::test::holds;
using corvane::test::messageOf;

std::string problemOf(const std::string& text, const std::string& name = "") {
    return messageOf<Error>([&] { Document(text, name); });
}

std::string nested(std::size_t depth, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t i = 0; i < depth; ++i) text += open;
    text += "1";
    for (std::size_t i = 0; i < depth; ++i) text += close;
    return text;
}

TEST(Document, saysWhereItIsNoJson) {
    const std::pair<std::string, const char*> cases[] = {
        {"", "is not JSON at byte 1"},
        {"{\"labels\":[", "is not JSON at byte 12"},
        {"[1] 2", "is not JSON at byte 5"},
        {"[1,\n nul]", "line 2, column 5"},
        {"[\"Geb\xE4ude\"]", "ill-formed UTF-8"},
        {"[\"\xED\xA0\x80\"]", "ill-formed UTF-8"},
        {"{\"a\": [1, 2, 1e999]}", "at /a/2: a number is too large"},
        {"-1e999", "a number is too large"},
        {R"({"a": [{}, {"b/~": 1, "c": 2, "b/~": 1}]})", "at /a/1/b~1~0: the key \"b~1~0\" stands twice"},
        {R"({"": 1, "": 1})", "at /: the key \"\" stands twice"},
    };
    for (const auto& [text, problem] : cases) {
        EXPECT_TRUE(holds(problemOf(text), problem)) << text << ": " << problemOf(text);
        EXPECT_TRUE(problemOf(text, "net.json").starts_with("net.json")) << text;
    }
    EXPECT_LT(problemOf("[\"" + std::string(1'000'000, 'x')).size(), 300u) << "what was read is not repeated";
}

TEST(Document, boundsItsDepth) {
    EXPECT_NO_THROW(Document(nested(Document::Deepest, "[", "]")));
    EXPECT_NO_THROW(Document(nested(Document::Deepest, "{\"a\":", "}")));
    for (const std::size_t depth : {std::size_t{Document::Deepest} + 1, std::size_t{100'000}}) {
        EXPECT_TRUE(holds(problemOf(nested(depth, "[", "]"), "f"), "f at /0/0")) << depth;
        EXPECT_TRUE(holds(problemOf(nested(depth, "{\"a\":", "}")), "nested more than 64 levels deep")) << depth;
        EXPECT_NE(problemOf(nested(depth, "[", "")), "");
    }
}

TEST(Document, keepsWhatItReads) {
    const std::string text = R"({"z":[1,-2,0.1,18446744073709551615],"a":{"":null,"ä":true},"e":[],"o":{}})";
    EXPECT_EQ(Document(text).root.dump(), text);
    EXPECT_EQ(Document("\xEF\xBB\xBF 7").root, 7);
}

/// Quadratic, this would take minutes.
TEST(Document, mayHaveManyMembers) {
    constexpr int Count = 100'000;
    Value object;
    for (int i = 0; i < Count; ++i) append(object, "k" + std::to_string(i), i);
    const Document document(object.dump());
    const auto members = Reader(document).members();
    ASSERT_EQ(members.size(), std::size_t{Count});
    EXPECT_EQ(members[Count - 1].key, "k99999");
    EXPECT_TRUE(holds(messageOf<Error>([&] { members.back().value.text(); }), "at /k99999: 99999 was found where"));
}

TEST(Reader, refusesWithThePlace) {
    const Document document(R"({"list": [1, {"colour": "x", "flag": 1}, [1, 2], "1"], "large": 2147483648})", "f.json");
    const Reader root(document), list = root.member("list");
    const auto elements = list.elements();
    const std::pair<std::string, std::function<void()>> cases[] = {
        {"f.json: {\"list\"", [&] { root.text(); }},
        {"f.json: the key \"lists\" is missing", [&] { root.member("lists"); }},
        {"f.json at /list/0: 1 was found where true or false is expected", [&] { elements[0].flag(); }},
        {"f.json at /list/0: 1 was found where a list is expected", [&] { elements[0].elements(); }},
        {"f.json at /list/1/colour: \"x\" was found where a number", [&] { elements[1].member("colour").number(); }},
        {"f.json at /list/1: the key \"colour\" was found where \"color\" is expected",
         [&] {
             elements[1].expectKeys({"color", "flag"});
         }},
        {"f.json at /list/1: the key \"colour\" was found where one of \"flag\", \"x\" is",
         [&] {
             elements[1].expectKeys({"flag", "x"});
         }},
        {"f.json at /list/2: [1,2] was found where a list of 3 numbers", [&] { elements[2].numbers(3); }},
        {"f.json at /list/3: \"1\" was found where a number", [&] { elements[3].number(); }},
        {"f.json at /list: too long", [&] { list.at([] { throw std::invalid_argument("too long"); }); }},
        {"f.json at /list/0: 1 was", [&] { list.at([&] { return elements[0].text(); }); }},
        {"f.json at /large: 2147483648 was found where a whole number of 32 bits",
         [&] { root.member("large").integer(); }},
    };
    for (const auto& [problem, read] : cases) EXPECT_TRUE(messageOf<Error>(read).starts_with(problem)) << problem;
    EXPECT_EQ(elements[2].numbers(2), (std::vector<double>{1, 2}));
    EXPECT_EQ(elements[0].oneOrMore().size(), 1u);
}

} // namespace
} // namespace json
