// SPDX-License-Identifier: Apache-2.0
#include "../las/LasTestSupport.hpp"
#include "Kesh/values/LabelAttributes.hpp"
#include "survey/LabelFile.hpp"

#include <cmath>
#include <limits>

namespace corvane::test {
namespace {

using Holdfast::StrongPtr;
using Kesh::LabelSet;
using Trait = Kesh::VValueTrait<LabelSet>;

LabelSet parsed(const std::string& text) {
    LabelSet labels;
    Trait::setValueFromText(labels, text);
    return labels;
}

/// Labels 2 and 5, of which one may be edited, and -3.
LabelSet example() {
    LabelSet labels;
    labels[5] = {5, {0.25f, 0.5f, 0.75f, 1}, "High", "tall", {{"editable", true}, {"Editable", false}}};
    labels[2].name = "Ground";
    labels[-3].name = "odd";
    labels.addSelection("Assign");
    return labels;
}

TEST(LabelSet, choosesOnlyWhatItHas) {
    LabelSet labels = example();
    EXPECT_FALSE(labels.addSelection("Assign"));
    EXPECT_TRUE(labels.select("Assign", 5));
    for (const int value : {6, -3}) EXPECT_FALSE(labels.select("Assign", value)) << value;
    EXPECT_FALSE(labels.select("Other", 5));
    EXPECT_EQ(labels.getSelectedValue("Assign"), 5);
    EXPECT_EQ(labels.getSelectedValue("Other"), -1);
}

TEST(LabelSet, textFormLosesNothing) {
    LabelSet labels = example();
    const float odd[] = {0.1f, 1.0f / 3, std::numeric_limits<float>::denorm_min(), std::nextafter(1.0f, 0.0f)};
    labels[std::numeric_limits<int>::min()] = {std::numeric_limits<int>::min(),
                                               {odd[0], odd[1], odd[2], odd[3]},
                                               "\"a\"\\\n\t\x01 Gebäude 🌲",
                                               "/~{",
                                               {{"", true}, {"a/b \"", false}}};
    for (int value = 100; value < 1100; ++value)
        labels[value].colour = {1 / float(value), std::sqrt(float(value)) / 99, 0, 1};
    labels.addSelection("a \"selection\"");
    labels.select("a \"selection\"", 100);
    EXPECT_EQ(parsed(Trait::Text(labels)), labels);
    EXPECT_EQ(parsed(Trait::Text({})), LabelSet());
}

TEST(LabelSet, textFormIsTheDocumentedOne) {
    LabelSet labels;
    labels[2] = {2, {0.1f, 0.3f, 0, 1}, "Ground", "", {{"editable", true}}};
    labels.addSelection("Assign");
    EXPECT_EQ(Trait::Text(labels), R"({"labels":[{"value":2,"name":"Ground","text":"","colour":[0.1,0.3,0.0,1.0],)"
                                   R"("flags":{"editable":true}}],"selections":{"Assign":null}})");
    EXPECT_EQ(parsed(R"({"labels":[{"value":2},{"value":1}]})").size(), 2u);
    labels[2].name = "\xff";
    EXPECT_EQ(parsed(Trait::Text(labels)).find(2)->name, "\uFFFD");
}

TEST(LabelSet, wrongTextIsRefusedWithItsPlaceAndChangesNothing) {
    const struct {
        const char* text;
        const char* problem;
    } cases[] = {
        {R"({"labels":[],"selection":{}})", "the key \"selection\" was found where \"selections\" is"},
        {R"({"labels":[{"value":1},{"value":1}]})", "at /labels/1/value: the value 1 has a label already"},
        {R"({"labels":[{"value":1.0}]})", "at /labels/0/value: 1.0 was found where a whole number"},
        {R"({"labels":[{"value":1,"colour":[1,1,1]}]})", "at /labels/0/colour: [1,1,1] was found where a list of four"},
        {R"({"labels":[{"value":1,"colour":[0,255,0,1]}]})", "at /labels/0/colour/1: 255 was found"},
        {R"({"labels":[{"value":1}],"selections":{"Assign":2}})",
         "at /selections/Assign: the value 2 cannot be chosen"},
        {R"({"labels":[{"value":1}],"selections":{"Assign":""}})", "at /selections/Assign: \"\" was found"},
    };
    for (const auto& [text, problem] : cases) {
        LabelSet labels = example();
        const auto refusal = messageOf<std::invalid_argument>([&] { Trait::setValueFromText(labels, text); });
        EXPECT_TRUE(holds(refusal, problem)) << text << ": " << refusal;
        EXPECT_EQ(labels, example());
    }
}

TEST(LabelFile, isReadAsItWasWrittenAndSaysWhatIsWrong) {
    const Folder folder;
    const std::string path = folder / "labels.json";
    for (const LabelSet& labels : {LabelSet(), example()}) {
        saveLabels(labels, path, true);
        EXPECT_EQ(loadLabels(path), labels);
    }
    const auto failure = [&](const std::string& text) {
        write(path, text);
        return messageOf<Failure>([&] { loadLabels(path); });
    };
    EXPECT_TRUE(holds(failure(std::string(100'000, '[')), path + ": at /0/0")) << "in a sentence";
    EXPECT_TRUE(holds(failure(R"({"labels": [{"value": true}]})"), path + ": at /labels/0/value: true was found"));
}

/// An attribute as text: its elements in order.
template <class T>
std::string elements(const Holdfast::Attributes& attributes, const std::string& name) {
    const auto chunk = attributes.getAttribute<T>(name);
    if (!chunk) return "none";
    std::string text;
    for (const auto& element : chunk->values) text += fmt::format("{};", T(element));
    return text;
}

TEST(StoredLabels, areOneArrayPerQuantityInOrderOfValues) {
    Holdfast::Attributes attributes;
    Kesh::storeLabelSet(example(), attributes);
    EXPECT_EQ(attributes.names(), (std::vector<std::string>{"Labels.Colors", "Labels.ID", "Labels.Names",
                                                            "Labels.flags.Editable", "Labels.flags.editable"}));
    EXPECT_EQ(elements<int>(attributes, "Labels.ID"), "-3;2;5;");
    EXPECT_EQ(elements<std::string>(attributes, "Labels.Names"), "odd;Ground;High;");
    EXPECT_EQ(elements<bool>(attributes, "Labels.flags.editable"), "false;false;true;");
    EXPECT_EQ(elements<bool>(attributes, "Labels.flags.Editable"), "false;false;false;");
    const auto colours = attributes.getAttribute<Sextant::rgba_float_t>("Labels.Colors");
    ASSERT_TRUE(colours && colours->size() == 3);
    EXPECT_EQ(colours->values[2], (Sextant::rgba_float_t{0.25f, 0.5f, 0.75f, 1}));

    const auto read = Kesh::readLabelSet(attributes);
    ASSERT_TRUE(read);
    LabelSet expected = example();
    expected[5].text.clear(); // second texts and selections are not stored, and a flag that lacks reads as false
    for (auto& [value, label] : expected)
        for (const char* flag : {"editable", "Editable"}) label.flags.try_emplace(flag, false);
    EXPECT_TRUE(std::equal(read->begin(), read->end(), expected.begin(), expected.end()));
    EXPECT_TRUE(read->selections().empty());

    Kesh::storeLabelSet({}, attributes);
    EXPECT_EQ(elements<int>(attributes, "Labels.ID"), "");
    EXPECT_EQ(elements<bool>(attributes, "Labels.flags.editable"), "false;false;true;") << "as the first set left it";
    EXPECT_EQ(Kesh::readLabelSet(attributes), LabelSet());
}

TEST(StoredLabels, countOnlyWhenValuesNamesAndColoursAreThere) {
    for (const char* broken : {"Labels.ID", "Labels.Names", "Labels.Colors"})
        for (const bool missing : {false, true}) {
            Holdfast::Attributes attributes;
            Kesh::storeLabelSet(example(), attributes);
            EXPECT_TRUE(Kesh::carriesLabelSet(attributes));
            const auto shorts = Holdfast::create<Holdfast::Chunk<short>>(3, short{1});
            attributes.setAttribute(broken, missing ? nullptr : StrongPtr<Holdfast::ChunkBase>(shorts));
            EXPECT_FALSE(Kesh::carriesLabelSet(attributes)) << broken;
            EXPECT_FALSE(Kesh::readLabelSet(attributes)) << broken;
        }
    Holdfast::Attributes attributes;
    Kesh::storeLabelSet(example(), attributes);
    attributes.setAttribute("Labels.ID", Holdfast::create<Holdfast::Chunk<int>>(2, 1));
    EXPECT_FALSE(Kesh::readLabelSet(attributes)) << "names for more than the values";
}

} // namespace
} // namespace corvane::test
