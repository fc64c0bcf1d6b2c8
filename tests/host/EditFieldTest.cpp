// SPDX-License-Identifier: Apache-2.0
#include "Bench.hpp"

#include <algorithm>

namespace corvane::test {
namespace {

/// Gives vertices a value, counts those that had another, and can be made to throw.
class Painter : public Kesh::EditField {
public:
    Painter() : EditField("painter", 0, nullptr, "field") {}

    int failAt = -1;    // number of a fragment
    std::string handed; // numbers of fragments
    std::vector<Holdfast::WeakPtr<Fiber::CreativeArrayBase>> targets;
    std::ptrdiff_t mostTargets = 0; // alive at a time

private:
    bool wantsFieldOperation(const Kesh::VRequest& request, Fiber::Representation&, const std::string&,
                             const FieldPtr&) override {
        return hasChanged(*paint_, *request.pool) || brushSlot().ValueAge(*request.pool) > age(*request.pool);
    }

    ArrayPtr modifyFragment(const Kesh::VRequest& request, Fiber::Field& field, const FragmentPtr& fragment,
                            std::span<const std::uint32_t> indices, Changes& changes, const ArrayPtr& target) override {
        handed += std::to_string(fragment->number());
        targets.push_back(target);
        mostTargets = std::max(mostTargets, std::ranges::count_if(targets, [](auto& t) { return bool(t.lock()); }));
        EXPECT_EQ(field.getCreator(fragment), target);
        const auto array = target->writableData<unsigned char>();
        const auto value = static_cast<unsigned char>(value_.get(*request.pool));
        for (const auto i : indices) {
            changes.writes += array->values()[i] != value;
            changes.vertices += array->values()[i] != value;
            array->writableValues()[i] = value;
        }
        if (static_cast<int>(fragment->number()) == failAt) throw std::runtime_error("the brush broke");
        return target;
    }

    Kesh::TypedSlot<Kesh::Action> paint_{*this, "paint", Holdfast::create<Kesh::VAction>()};
    Kesh::TypedSlot<int> value_{*this, "value", 0};
};

/// Three fragments of four vertices: 0 to 3, 10 to 13, 20 to 23.
class Editing : public Bench {
protected:
    Editing() {
        field<unsigned char>(Name, {{0, 1, 2, 3}, {10, 11, 12, 13}, {20, 21, 22, 23}});
        positions(3, 4);
        set(pool, *editor, "field", selector(Name));
        update(*editor);
    }

    /// Presses and updates, with a value to paint unless it is negative.
    std::string act(const std::string& action, int value = -1) {
        if (value >= 0) set(pool, *editor, "value", value);
        press(*editor, action);
        return update(*editor);
    }

    /// Draws a stroke from x to x and updates.
    std::string stroke(double from, double to, int value) {
        set(pool, *editor, "value", value);
        draw(*editor, from, to);
        return update(*editor);
    }

    /// Steps done and undone, and values.
    std::string state() {
        const Fiber::History history(vertices(), Name);
        std::string text = std::to_string(history.position()) + "/" + std::to_string(history.size());
        for (const int value : values<unsigned char>()) text += " " + std::to_string(value);
        return text;
    }

    std::vector<StrongPtr<Fiber::CreativeArrayBase>> arrays() {
        std::vector<StrongPtr<Fiber::CreativeArrayBase>> all;
        for (const auto& [number, fragment] : find(Name).fragments()) all.push_back(fragment.array);
        return all;
    }

    StrongPtr<Painter> editor = Holdfast::create<Painter>();
    const std::string initial = "0/0 0 1 2 3 10 11 12 13 20 21 22 23";
};

TEST_F(Editing, undoAndRedoBringBackEveryValue) {
    EXPECT_EQ(stroke(2, 12, 9), "4 vertex data have been modified.");
    EXPECT_EQ(stroke(20, 21, 5), "1 vertex data have been modified.");
    const auto age = find(Name).age();
    const std::pair<const char*, const char*> steps[] = {{"undo", "1/2 0 1 9 9 9 9 12 13 20 21 22 23"},
                                                         {"undo", "0/2 0 1 2 3 10 11 12 13 20 21 22 23"},
                                                         {"redo", "1/2 0 1 9 9 9 9 12 13 20 21 22 23"},
                                                         {"redo", "2/2 0 1 9 9 9 9 12 13 5 21 22 23"}};
    for (const auto& [action, expected] : steps) {
        act(action);
        EXPECT_EQ(state(), expected);
    }
    EXPECT_EQ(editor->status(*pool).text, "Redid a change of 1 vertex of the data by painter; 2 to undo, 0 to redo.");
    EXPECT_GT(find(Name).age(), age) << "others must see the change";
    EXPECT_EQ(act("redo"), "There is nothing to redo in the data.");
}

TEST_F(Editing, anEditThatFailsLeavesEverythingAsItWas) {
    stroke(0, 2, 7);
    act("undo");
    const auto before = arrays();
    const auto age = find(Name).age();
    set(pool, *editor, "brush", Kesh::Brush());
    update(*editor);
    for (const int fragment : {0, 1, 2}) {
        editor->failAt = fragment;
        EXPECT_EQ(stroke(-1, 30, 9), "the brush broke");
        EXPECT_FALSE(updated);
        EXPECT_EQ(state(), "0/1" + initial.substr(3));
        EXPECT_EQ(arrays(), before);
        EXPECT_EQ(find(Name).age(), age);
    }
    editor->failAt = -1;
    act("redo");
    EXPECT_EQ(state(), "1/1 7 7 2 3 10 11 12 13 20 21 22 23");
}

TEST_F(Editing, aHistoryIsTrimmedByWhoRecordsAndByNobodyElse) {
    const auto other = Holdfast::create<Painter>();
    set(pool, *other, "field", selector(Name));
    set(pool, *other, "undodepth", 2);
    for (const int value : {5, 6, 7, 8}) stroke(0, 1, value), update(*other);
    set(pool, *editor, "undodepth", 3);
    update(*editor);
    EXPECT_EQ(state().substr(0, 5), "4/4 8");
    set(pool, *editor, "undodepth", 0);
    stroke(0, 1, 9);
    EXPECT_EQ(state().substr(0, 5), "4/4 9") << "no step, and those that are stored stay";
    act("undo");
    EXPECT_EQ(state().substr(0, 5), "3/4 7");
    set(pool, *other, "value", 4);
    press(*other, "paint");
    update(*other);
    EXPECT_EQ(state().substr(0, 5), "2/2 4");
}

TEST_F(Editing, anEditOutsideAnUpdateTakesATimeOfItsOwn) {
    const Kesh::EditTarget target{Kesh::VRequest(pool), editor->dataHistory(), vertices(), vertices().findField(Name),
                                  Name};
    set(pool, *editor, "value", 9);
    const auto before = Ageable::GlobalTime.load();
    EXPECT_EQ(editor->edit(target).changes.vertices, 12u);
    EXPECT_GT(find(Name).age(), before);
    EXPECT_EQ(find(Name).getMostRecentCreatorAge(), find(Name).age());
    press(*editor, "undo");
    const auto pressed = Ageable::GlobalTime.load();
    EXPECT_EQ(editor->doUndoRedo(target).substr(0, 5), "Undid");
    EXPECT_EQ(state(), "0/1" + initial.substr(3));
    EXPECT_GT(find(Name).age(), pressed);
    EXPECT_EQ(find(Name).getMostRecentCreatorAge(), find(Name).age());
    EXPECT_EQ(update(*editor), "") << "the press is served";
}

TEST_F(Editing, aPressActsOnce) {
    for (const int value : {5, 6, 7}) stroke(0, 1, value);
    act("undo");
    press(*editor, "redo");
    act("undo");
    for (int i = 0; i < 3; ++i) update(*editor);
    EXPECT_EQ(state().substr(0, 5), "1/3 5") << "pressed together, undo wins";
}

TEST_F(Editing, theBrushDecidesWhichVerticesAreEdited) {
    EXPECT_EQ(act("paint", 9), "12 vertex data have been modified.") << "no brush: every vertex";
    set(pool, *editor, "brush", Kesh::Brush());
    EXPECT_EQ(act("paint", 8), " No vertex data have been modified.") << "a brush without a stroke";
    EXPECT_EQ(editor->handed, "012");
    EXPECT_EQ(stroke(11, 13, 7), "2 vertex data have been modified.");
    EXPECT_EQ(editor->handed, "0121") << "fragments without a selected vertex are not handed over";
    EXPECT_EQ(act("paint", 6), "2 vertex data have been modified.") << "the stroke stays";
}

TEST_F(Editing, untouchedFragmentsStayOnTheDisc) {
    const auto before = arrays();
    stroke(11, 13, 7);
    EXPECT_EQ(loads(Name), (std::vector{0, 1, 0}));
    EXPECT_EQ(loads(Fiber::PositionsName), (std::vector{1, 1, 1})) << "once for box and selection";
    EXPECT_EQ(arrays()[0], before[0]);
    EXPECT_NE(arrays()[1], before[1]);
    EXPECT_EQ(arrays()[2], before[2]);
    EXPECT_EQ(find(Name + ".undo0").fragments().size(), 1u);
    find(Fiber::PositionsName).iterate([](const auto&, const auto& array) { return array->discardCreation(); });
    stroke(20, 22, 7);
    stroke(9, 15, 7);
    EXPECT_EQ(loads(Fiber::PositionsName), (std::vector{1, 1, 2})) << "boxes are known: only what they do not decide";
}

TEST_F(Editing, whatCannotBeEditedIsAnErrorOrNoVertex) {
    field<Point>(Fiber::PositionsName, {{Point(0)}, {}, {}});
    EXPECT_EQ(stroke(-1, 1, 5), "Fragment 0 has 4 vertices but 1 positions.");
    vertices().removeField(Fiber::PositionsName);
    EXPECT_EQ(stroke(-1, 1, 5), "The brush cannot select anything: the grid has no field \"Positions\".");
    set(pool, *editor, "field", selector("Nothing"));
    EXPECT_EQ(act("paint", 9), " No vertex data have been modified.");
    EXPECT_EQ(act("undo"), "There is nothing to undo in the data.");
    EXPECT_EQ(state(), initial);
    set(pool, *editor, "field", Fiber::FieldSelector());
    EXPECT_EQ(act("paint", 9), "No field is selected; connect the input \"field\" to one.");
}

TEST_F(Editing, fragmentsInWhichNothingWasWrittenAreGivenBack) {
    act("paint", 9);
    editor->targets.clear();
    editor->mostTargets = 0;
    EXPECT_EQ(act("paint"), " No vertex data have been modified.");
    EXPECT_EQ(editor->targets.size(), 3u);
    EXPECT_EQ(editor->mostTargets, 1) << "one copy at a time";
    EXPECT_EQ(state().substr(0, 3), "1/1") << "and no step";
}

TEST_F(Editing, aFieldThatIsOtherThanItsHistoryIsLeftAlone) {
    stroke(0, 1, 5);
    field<unsigned char>(Name, {{0, 1}, {}, {}});
    EXPECT_EQ(act("undo"),
              "The last change of the data \"Classification\" cannot be undone, and is left: its fragments "
              "are not those of the field any more.");
    EXPECT_EQ(state(), "1/1 0 1");
}

} // namespace
} // namespace corvane::test
