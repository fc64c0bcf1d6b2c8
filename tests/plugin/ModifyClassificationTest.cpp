// SPDX-License-Identifier: Apache-2.0
#include "LoadedPlugin.hpp"

#include <limits>

namespace corvane::test {
namespace {

/// The settings of an edit.
struct Edit {
    int newValue = 0;
    std::array<int, 4> from{};
    int exchanged = 0; // case number of the switch
};

class ModifyClassification : public LoadedPlugin {
protected:
    ModifyClassification() : editor(creator("ModifyClassification")->create("", nullptr)) {
        set(pool, *editor, "labelfield", selector(Name));
    }

    void settings(const Edit& edit) {
        set(pool, *editor, "newvalue", edit.newValue);
        for (std::size_t i = 0; i < edit.from.size(); ++i) set(pool, *editor, "from" + std::to_string(i), edit.from[i]);
        Kesh::Enum exchange{"none", "0", "1", "2", "3"};
        exchange.select(edit.exchanged);
        set(pool, *editor, "switch", exchange);
    }

    /// What one edit makes of values of type T: the report without its sentence, and the values.
    template <class T>
    std::string edited(const std::vector<T>& before, const Edit& edit) {
        field<T>(Name, {before});
        settings(edit);
        press(*editor, "assign");
        std::string text = update(*editor);
        text = text.substr(0, text.find(" vertex"));
        for (const int value : values<T>(Name)) text += " " + std::to_string(value);
        return text;
    }

    StrongPtr<Kesh::VObject> editor;

    void TearDown() override { editor.reset(); } // before the plug-in goes
};

TEST_F(ModifyClassification, replacementsAreCounted) {
    const struct {
        std::vector<unsigned char> before;
        Edit edit;
        const char* expected;
    } cases[] = {
        {{0, 3, 0}, {}, "8 0 3 0"},                // as it starts: each of four tests finds each zero
        {{1, 2, 3}, {2, {1, 2, 9, 9}}, "3 2 2 3"}, // the target is a source, too
        {{1, 2, 3, 4, 5}, {3, {1, 3, 5, 1}}, "4 3 2 3 4 3"},
        {{1, 5, 6, 7, 8, 9}, {5, {6, 8, 7, 9}, 3}, "4 1 7 7 7 7 7"},
        {{5, 6}, {5, {6, 99, 99, 99}, 1}, "1 6 6"},
        {{5, 6}, {5, {6, 99, 99, 99}, 2}, "6 99 99"}, // 5 took the place of from1; what became 99 is found twice more
        {{44, 0, 1}, {1, {300, 256, 300, 256}}, " No 44 0 1"}, // beyond what a vertex can hold
        {{1, 2}, {256, {1, 9, 9, 9}}, "1 0 2"},
        {{1, 2}, {300, {1, 44, 9, 9}}, "2 44 2"}, // compared as it was stored
        {{}, {5, {}}, " No"},
    };
    for (const auto& [before, edit, expected] : cases) EXPECT_EQ(edited(before, edit), expected);
}

template <class T>
std::vector<T> extremes() {
    return {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 7};
}

TEST_F(ModifyClassification, everyElementTypeHasItsOwnWidthAndSign) {
    const Edit lowest{300, {0, -128, -32768, 99}}, highest{-1, {255, 65535, 127, 32767}};
    EXPECT_EQ(edited(extremes<unsigned char>(), lowest), "1 44 255 7");
    EXPECT_EQ(edited(extremes<signed char>(), lowest), "1 44 127 7");
    EXPECT_EQ(edited(extremes<unsigned short>(), lowest), "1 300 65535 7");
    EXPECT_EQ(edited(extremes<short>(), lowest), "1 300 32767 7");
    EXPECT_EQ(edited(extremes<unsigned char>(), highest), "1 0 255 7");
    EXPECT_EQ(edited(extremes<signed char>(), highest), "1 -128 -1 7");
    EXPECT_EQ(edited(extremes<unsigned short>(), highest), "1 0 65535 7");
    EXPECT_EQ(edited(extremes<short>(), highest), "1 -32768 -1 7");
    EXPECT_EQ(edited(extremes<int>(), lowest).substr(0, 3), " No") << "no variant for it";
}

TEST_F(ModifyClassification, aStrokeAloneEditsAndTheSwitchStaysAsItWasSet) {
    field<unsigned char>(Name, {{1, 1, 1}, {1, 1, 1}});
    positions(2, 3);
    settings({1, {2, 9, 9, 9}, 1});
    EXPECT_EQ(update(*editor), "") << "settings alone edit nothing";
    draw(*editor, 1, 11);
    EXPECT_EQ(update(*editor), "3 vertex data have been modified.");
    EXPECT_EQ(values<unsigned char>(), (std::vector<unsigned char>{1, 2, 2, 2, 1, 1}));
    press(*editor, "assign");
    EXPECT_EQ(update(*editor), " No vertex data have been modified.") << "1 becomes 2, again, and not back";
    press(*editor, "undo");
    update(*editor);
    EXPECT_EQ(values<unsigned char>(), (std::vector<unsigned char>{1, 1, 1, 1, 1, 1}));
}

} // namespace
} // namespace corvane::test
