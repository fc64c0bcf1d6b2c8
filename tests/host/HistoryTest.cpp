// SPDX-License-Identifier: Apache-2.0
#include "Bench.hpp"

#include "Fiber/MaskField.hpp"

#include <algorithm>

namespace corvane::test {
namespace {

/// One field of one value, and edits of it that are recorded.
class History : public Bench {
protected:
    History() { put(Name, newField(0)); }

    static StrongPtr<Fiber::Field> newField(int value) {
        const auto made = Holdfast::create<Fiber::Field>(typeid(int));
        made->setPersistentData(arrayOf<int>({value}), id(0));
        return made;
    }
    void put(const std::string& name, const StrongPtr<Fiber::Field>& added) {
        vertices().makeField(vertices().makeFieldID(name), added);
    }
    Fiber::History history() { return {vertices(), Name}; }
    int value() { return values<int>(Name).at(0); }

    /// The field gets the value, and the history a step.
    void edit(int value, int depth) {
        const auto step = newField(value);
        find(Name).exchange(*step);
        history().record(step, {0, "to " + std::to_string(value), "", 1}, depth);
    }
    bool undo() { return history().undo(find(Name), Ageable::nextTime()); }
    bool redo() { return history().redo(find(Name), Ageable::nextTime()); }

    /// Position and size, the steps from the oldest on, and the numbers under which steps or others are stored.
    std::string state() {
        const Fiber::History shown = history();
        std::string text = std::to_string(shown.position()) + "/" + std::to_string(shown.size());
        for (int i = 0; i < shown.size(); ++i) text += (shown.step(i).undone ? " -" : " ") + shown.step(i).module;
        text += ", numbers";
        for (int i = 0; i < 100; ++i)
            if (vertices().findField(Name + Fiber::History::stepName(i))) text += " " + std::to_string(i);
        return text;
    }
};

TEST_F(History, keepsOrderWhileNumbersComeRound) {
    for (int value = 1; value <= 7; ++value) edit(value, 3);
    EXPECT_EQ(state(), "3/3 to 5 to 6 to 7, numbers 0 1 2");
    EXPECT_TRUE(undo() && undo());
    EXPECT_EQ(value(), 5);
    EXPECT_EQ(state(), "1/3 to 5 -to 6 -to 7, numbers 0 1 2");
    EXPECT_TRUE(redo());
    EXPECT_EQ(value(), 6);
    edit(8, 3);
    EXPECT_EQ(state(), "3/3 to 5 to 6 to 8, numbers 0 1 2") << "what was undone goes";
    EXPECT_FALSE(redo());
    edit(9, 1);
    EXPECT_EQ(state().substr(0, 8), "1/1 to 9");
    for (int value = 10; value < 20; ++value) edit(value, 4);
    EXPECT_EQ(state(), "4/4 to 16 to 17 to 18 to 19, numbers 0 1 2 3");
    EXPECT_TRUE(undo() && undo() && undo() && undo());
    EXPECT_FALSE(undo());
    EXPECT_EQ(value(), 15);
    edit(5, 4);
    EXPECT_EQ(state().substr(0, 8), "1/1 to 5");
    history().clear();
    EXPECT_EQ(state(), "0/0, numbers");
}

TEST_F(History, aFieldOfTheDataIsNoStepWhateverItsName) {
    put(Name + ".undo0", newField(77));
    put(Name + ".undo2", newField(78));
    EXPECT_EQ(state(), "0/0, numbers 0 2");
    EXPECT_FALSE(undo());
    for (int value = 1; value <= 5; ++value) edit(value, 3);
    EXPECT_EQ(history().size(), 3);
    EXPECT_TRUE(undo() && undo() && undo());
    EXPECT_EQ(value(), 2);
    edit(9, 3);
    history().clear();
    EXPECT_EQ(state(), "0/0, numbers 0 2");
    EXPECT_EQ(values<int>(Name + ".undo0").at(0) + values<int>(Name + ".undo2").at(0), 155) << "nobody wrote there";
}

TEST_F(History, isFoundInTheAttributesOfItsStepsAlone) {
    for (int value = 1; value <= 4; ++value) edit(value, 10);
    undo();
    const std::string before = state().substr(0, state().find(','));
    std::vector<StrongPtr<Fiber::Field>> steps;
    for (int i = 0; i < 4; ++i) steps.push_back(vertices().findField(Name + Fiber::History::stepName(i)));
    history().clear();
    const std::vector<std::pair<std::size_t, const char*>> places{
        {2, "Other"}, {0, "Classification.undo9"}, {3, "b"}, {1, "a"}};
    for (const auto& [step, name] : places) put(name, steps[step]);
    EXPECT_EQ(state().substr(0, before.size()), before);
    EXPECT_TRUE(redo());
    EXPECT_EQ(value(), 4);
    EXPECT_TRUE(undo() && undo() && undo() && undo());
    EXPECT_EQ(value(), 0);
    vertices().removeField("a");
    EXPECT_EQ(history().size(), 3);
    put("b", newField(1));
    EXPECT_EQ(history().size(), 2) << "another field took its place";
}

TEST_F(History, namesOfStepsAreNoNamesOfMasks) {
    for (const char* name : {"Classification.undo0", "mask.undo12", ".undo3"}) {
        EXPECT_TRUE(Fiber::History::isStepName(name)) << name;
        EXPECT_THROW(Fiber::findMask(vertices(), name, find(Name)), std::runtime_error) << name;
    }
    for (const char* name : {"mask", "undo0", ".undo", "mask.undo1x", "mask.undo-1", "mask.undo 1"}) {
        EXPECT_FALSE(Fiber::History::isStepName(name)) << name;
        EXPECT_FALSE(Fiber::findMask(vertices(), name, find(Name))) << name;
    }
}

} // namespace
} // namespace corvane::test
