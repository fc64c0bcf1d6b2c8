// SPDX-License-Identifier: Apache-2.0
#include "LoadedPlugin.hpp"

#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/values/LabelSet.hpp"

#include <algorithm>
#include <optional>
#include <random>
#include <set>

namespace corvane::test {
namespace {

using Bytes = std::vector<unsigned char>;
constexpr int Fragments = 3, VerticesEach = 4, Vertices = Fragments * VerticesEach;

/// x of a vertex, as Bench::positions places them.
int placeOf(int vertex) { return vertex / VerticesEach * 10 + vertex % VerticesEach; }

/// Both masked editors, told the same things: which classes may be selected, and what they become.
class MaskedEditing : public LoadedPlugin, public testing::WithParamInterface<const char*> {
protected:
    MaskedEditing() {
        field<unsigned char>(Name, {{2, 5, 2, 6}, {5, 5, 2, 9}, {6, 2, 9, 5}});
        positions(Fragments, VerticesEach);
        newEditor();
        classes({2, 5}, 6);
    }

    void TearDown() override { editor.reset(); }

    void newEditor() {
        if (editor) Kesh::VCreatorBase::deleteInstance(editor);
        editor = creator(GetParam())->create("", nullptr);
        set(pool, *editor, "labelfield", selector(Name));
        update(*editor);
    }

    bool labelled() const { return GetParam() == std::string("MaskedLabels"); }

    void classes(std::vector<int> selectable, int target) {
        if (labelled()) {
            Kesh::LabelSet labels;
            for (const int value : {2, 5, 6, 7, 9})
                labels[value].flags["editable"] = std::ranges::find(selectable, value) != selectable.end();
            labels.addSelection("Assign");
            labels.select("Assign", target);
            set(pool, *editor, "labels", labels);
        } else {
            selectable.resize(4, selectable.front());
            for (std::size_t i = 0; i < 4; ++i) set(pool, *editor, "from" + std::to_string(i), selectable[i]);
            set(pool, *editor, "newvalue", target);
        }
    }

    std::string act(const std::string& trigger) {
        press(*editor, trigger);
        return update(*editor);
    }
    std::string stroke(int from, int to) {
        draw(*editor, from, to);
        return update(*editor);
    }
    std::string unselectStroke(int from, int to) {
        draw(*editor, from, to);
        return act("unselect");
    }

    /// A mask beside the data, made by somebody else.
    Fiber::Field& addMask(const std::string& name, const std::vector<Bytes>& fragments) {
        field<unsigned char>(name, fragments);
        find(name).attributes().setAttribute("Mask", Holdfast::create<Holdfast::Chunk<bool>>(1, true));
        return find(name);
    }

    bool hasMask(const std::string& name = "mask") { return bool(vertices().findField(name)); }
    Bytes mask(const std::string& name = "mask") { return values<unsigned char>(name); }
    int steps(const std::string& fieldName) { return Fiber::History(vertices(), fieldName).size(); }

    StrongPtr<Kesh::VObject> editor;
};

INSTANTIATE_TEST_SUITE_P(Editors, MaskedEditing,
                         testing::Values("MaskedLabels", "ModifyIntegerClassificationWithMasking"),
                         [](const auto& editor) { return std::string(editor.param); });

TEST_P(MaskedEditing, aTypicalEditFromStrokeToStatus) {
    const Bytes before = values<unsigned char>();
    stroke(0, 11); // fragment 0 and the first vertex of fragment 1
    EXPECT_EQ(mask(), (Bytes{255, 255, 255, 0, 255, 0, 0, 0, 0, 0, 0, 0})) << "class 6 is locked";
    EXPECT_EQ(values<unsigned char>(), before);
    unselectStroke(1, 2);
    EXPECT_EQ(mask(), (Bytes{255, 0, 255, 0, 255, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(act("undoMask"),
              "Undid a change of 1 vertex of the mask by Edit/" + std::string(GetParam()) + "; 1 to undo, 1 to redo.");
    EXPECT_EQ(mask()[1], 255);
    EXPECT_EQ(act("redoMask").substr(0, 5), "Redid");
    EXPECT_EQ(act("applySelection"), "3 vertex data have been modified.");
    EXPECT_EQ(values<unsigned char>(), (Bytes{6, 5, 6, 6, 6, 5, 2, 9, 6, 2, 9, 5}));
    EXPECT_FALSE(hasMask()) << "each apply starts a fresh selection";
    EXPECT_EQ(steps("mask"), 0);
    EXPECT_EQ(act("applySelection"), "3 vertex data have been modified.") << "nothing new to say without a mask";
    EXPECT_EQ(steps(Name), 1);
    act("undo");
    EXPECT_EQ(values<unsigned char>(), before);
    act("redo");
    EXPECT_EQ(values<unsigned char>()[0], 6);
    EXPECT_EQ(loads(Name)[2], 1) << "loaded to be compared here, and never by the editor";
}

TEST_P(MaskedEditing, triggersThatFireTogetherAreServedInTheirOrder) {
    stroke(0, 4);
    press(*editor, "unselectAll");
    EXPECT_EQ(act("applySelection"), "");
    EXPECT_FALSE(hasMask());
    EXPECT_EQ(values<unsigned char>()[0], 2);

    stroke(0, 4);
    stroke(10, 14);
    press(*editor, "purgeUndoData");
    act("select");
    EXPECT_EQ(steps("mask"), 0);
    EXPECT_EQ(mask()[0], 255) << "the mask itself is no history";

    press(*editor, "select");
    unselectStroke(0, 40);
    EXPECT_EQ(mask(), Bytes(Vertices, 0)) << "unselecting wins";
}

TEST_P(MaskedEditing, undoAndRedoActOnlyWhereNothingElseDid) {
    const Bytes before = values<unsigned char>();
    stroke(0, 4);
    act("applySelection");
    const Bytes after = values<unsigned char>();
    for (const std::string trigger : {"unselectAll", "select", "unselect", "applySelection"}) {
        stroke(0, 4);
        unselectStroke(0, 4); // an apply of nothing, too, is an apply
        const int position = Fiber::History(vertices(), "mask").position();
        for (const char* action : {"undo", "undoMask"}) press(*editor, action);
        act(trigger);
        update(*editor); // the presses are spent
        EXPECT_EQ(values<unsigned char>(), after) << trigger;
        EXPECT_TRUE(!hasMask() || Fiber::History(vertices(), "mask").position() >= position) << trigger;
    }
    press(*editor, "undo");
    EXPECT_EQ(act("applySelection").substr(0, 5), "Undid") << "nothing is applied without a mask";
    EXPECT_EQ(values<unsigned char>(), before);
    stroke(0, 2);
    press(*editor, "redo");
    EXPECT_EQ(act("undoMask"), "Redid a change of 3 vertices of the data by Edit/" + std::string(GetParam()) +
                                   "; 1 to undo, 0 to redo. Undid a change of 2 vertices of the mask by Edit/" +
                                   std::string(GetParam()) + "; 0 to undo, 1 to redo.");
    press(*editor, "undo");
    act("purgeUndoData");
    EXPECT_EQ(values<unsigned char>(), after);
}

TEST_P(MaskedEditing, theStatusIsOfWhatWasDoneLast) {
    stroke(0, 4);
    EXPECT_EQ(act("applySelection"), "3 vertex data have been modified.");
    for (const std::string trigger : {"select", "unselect", "unselectAll", "purgeUndoData"}) {
        editor->setStatusInfo(*pool, "of the last time");
        EXPECT_EQ(act(trigger), "") << trigger;
    }
}

TEST_P(MaskedEditing, whatIsInterruptedLeavesEverythingAsItWas) {
    struct Impatient : Kesh::VActionNotifier {
        bool progress(std::uint64_t done, std::uint64_t total, const std::string& text) override {
            heard = text;
            return done + 1 < total;
        }
        std::string heard;
    };
    const char* const refusal = "The edit was interrupted; nothing has been changed.";
    auto notifier = Holdfast::create<Impatient>();
    Kesh::VActionNotifier::activate(StrongPtr<Kesh::VActionNotifier>(notifier));
    EXPECT_EQ(stroke(0, 40), refusal);
    EXPECT_EQ(notifier->heard, "Editing mask");
    EXPECT_FALSE(hasMask());
    notifier.reset();

    stroke(0, 40);
    const Bytes before = values<unsigned char>(), masked = mask();
    notifier = Holdfast::create<Impatient>();
    Kesh::VActionNotifier::activate(StrongPtr<Kesh::VActionNotifier>(notifier));
    EXPECT_EQ(act("applySelection"), refusal);
    EXPECT_EQ(notifier->heard, "Editing Classification");
    EXPECT_EQ(values<unsigned char>(), before);
    EXPECT_EQ(mask(), masked);
    EXPECT_EQ(steps(Name), 0);
    EXPECT_EQ(steps("mask"), 1);
    notifier.reset();
    EXPECT_EQ(act("applySelection"), "8 vertex data have been modified.");
}

TEST_P(MaskedEditing, aFieldOfTheDataIsNoMask) {
    field<unsigned char>("UserData", {{1, 1, 1, 1}, {1, 1, 1, 1}, {1, 1, 1, 1}});
    stroke(0, 4);
    act("applySelection");
    act("undo");
    for (const std::string& name : {Name, std::string("UserData")}) {
        set(pool, *editor, "maskfield", name);
        for (const char* trigger : {"select", "applySelection", "undoMask"})
            EXPECT_NE(act(trigger).find("cannot be the mask"), std::string::npos) << trigger;
        EXPECT_EQ(act("unselectAll"), "");
        EXPECT_EQ(values<unsigned char>("UserData"), Bytes(Vertices, 1));
        EXPECT_EQ(steps(Name), 1) << "of the data";
    }
    set(pool, *editor, "maskfield", Name + ".undo0");
    EXPECT_NE(stroke(0, 40).find("named as the steps of a history"), std::string::npos);
    EXPECT_EQ(act("redo").substr(0, 5), "Redid");
    EXPECT_EQ(act("purgeUndoData"), "");
    EXPECT_EQ(steps(Name), 0);
}

TEST_P(MaskedEditing, aMaskOfOtherFragmentsIsRefusedUntilItIsCleared) {
    addMask("mask", {{255, 255}});
    for (const char* trigger : {"select", "applySelection"})
        EXPECT_NE(act(trigger).find("belongs to other fragments"), std::string::npos) << trigger;
    EXPECT_EQ(act("unselectAll"), "");
    stroke(0, 4);
    EXPECT_EQ(mask()[0], 255);
}

TEST_P(MaskedEditing, fragmentsThatAreMissingHoldNothing) {
    find(Name).setPersistentData(nullptr, id(1));
    addMask("mask", {{0, 255, 0, 0}});
    stroke(20, 30);
    EXPECT_EQ(mask(), (Bytes{0, 255, 0, 0, 0, 255, 0, 255}))
        << "the mask got the last fragment, and needs none between";
    EXPECT_EQ(act("applySelection"), "3 vertex data have been modified.");
    EXPECT_EQ(values<unsigned char>(), (Bytes{2, 6, 2, 6, 6, 6, 9, 6}));
    addMask("mask", {{255, 0, 0, 0}});
    EXPECT_EQ(act("applySelection"), "1 vertex data have been modified.");
}

TEST_P(MaskedEditing, whatCannotBeWrittenDoesNotCount) {
    field<float>("Height", {{1, 2, 3, 4}, {1, 2, 3, 4}, {1, 2, 3, 4}});
    set(pool, *editor, "labelfield", selector("Height"));
    addMask("mask", {Bytes(4, 255), Bytes(4, 255), Bytes(4, 255)});
    EXPECT_EQ(act("applySelection"), " No vertex data have been modified.");
    EXPECT_EQ(steps("Height"), 0);
    set(pool, *editor, "labelfield", selector("Nothing"));
    for (const char* trigger : {"select", "applySelection"})
        EXPECT_EQ(act(trigger), " No vertex data have been modified.") << "no field has the name";
    EXPECT_FALSE(hasMask());
}

/// Whole copies of every state of a field, and which of them is the present.
struct States {
    std::vector<Bytes> states;
    std::size_t present = 0;
    static constexpr std::size_t Depth = 32;

    const Bytes& now() const { return states[present]; }
    void record(const Bytes& state) {
        states.resize(++present);
        states.push_back(state);
        if (states.size() > Depth + 1) states.erase(states.begin()), --present;
    }
    void undo() { present -= present > 0; }
    void redo() { present += present + 1 < states.size(); }
    void purge() { *this = {{now()}}; }
};

TEST_P(MaskedEditing, aLongRandomWalkAgreesWithWholeCopies) {
    std::mt19937 engine(5);
    const auto random = [&](int below) { return std::uniform_int_distribution(0, below - 1)(engine); };
    States data{{values<unsigned char>()}};
    std::map<std::string, States> masks;
    std::string maskName = "mask";
    std::vector<int> selectable{2, 5};
    int target = 6, applied = 0, maskUndone = 0;
    for (int i = 0; i < 1500; ++i) {
        const auto found = masks.find(maskName);
        const int choice = random(30);
        if (choice < 12) {
            const bool unselect = choice >= 9;
            const int from = random(24), to = from + 1 + random(14);
            unselect ? unselectStroke(from, to) : stroke(from, to);
            States& model = masks.try_emplace(maskName, States{{Bytes(Vertices, 0)}}).first->second;
            Bytes state = model.now();
            bool written = false;
            for (int v = 0; v < Vertices; ++v) {
                const auto index = static_cast<std::size_t>(v);
                if (placeOf(v) < from || placeOf(v) >= to) continue;
                if (std::ranges::find(selectable, data.now()[index]) == selectable.end()) continue;
                state[index] = unselect ? 0 : 255;
                written = true;
            }
            if (written) model.record(state);
        } else if (choice < 15) {
            act("applySelection");
            if (found != masks.end()) {
                Bytes state = data.now();
                for (std::size_t v = 0; v < state.size(); ++v)
                    if (found->second.now()[v]) state[v] = static_cast<unsigned char>(target);
                if (found->second.now() != Bytes(Vertices, 0)) data.record(state), ++applied;
                masks.erase(found);
            }
        } else if (choice < 20) {
            act(choice < 18 ? "undo" : "redo");
            choice < 18 ? data.undo() : data.redo();
        } else if (choice < 25) {
            act(choice < 23 ? "undoMask" : "redoMask");
            if (found != masks.end()) choice < 23 ? found->second.undo() : found->second.redo(), ++maskUndone;
        } else if (choice == 25) {
            act("unselectAll");
            masks.erase(maskName);
        } else if (choice == 26 && random(4) == 0) {
            act("purgeUndoData");
            data.purge();
            if (found != masks.end()) found->second.purge();
        } else if (choice == 27) {
            maskName = maskName == "mask" ? "other" : "mask";
            set(pool, *editor, "maskfield", maskName);
            update(*editor);
        } else if (choice == 28) {
            newEditor();
            set(pool, *editor, "maskfield", maskName);
            classes(selectable, target);
            update(*editor);
        } else {
            selectable = random(2) ? std::vector<int>{2, 6} : std::vector<int>{5, 7, 9};
            target = random(2) ? 7 : 2;
            classes(selectable, target);
            update(*editor);
        }
        ASSERT_EQ(values<unsigned char>(), data.now()) << i;
        ASSERT_EQ(steps(Name) + 1, static_cast<int>(data.states.size())) << i;
        for (const std::string name : {"mask", "other"}) {
            const auto model = masks.find(name);
            ASSERT_EQ(hasMask(name), model != masks.end()) << i;
            if (model == masks.end()) continue;
            ASSERT_EQ(mask(name), model->second.now()) << i;
            ASSERT_EQ(steps(name) + 1, static_cast<int>(model->second.states.size())) << i;
        }
    }
    EXPECT_GT(applied, 50);
    EXPECT_GT(maskUndone, 50);
}

class MaskedLabels : public MaskedEditing {};
INSTANTIATE_TEST_SUITE_P(Labels, MaskedLabels, testing::Values("MaskedLabels"));

TEST_P(MaskedLabels, aFreshSetIsPreparedAndNothingIsEditableAtFirst) {
    Kesh::LabelSet fresh;
    fresh[2].name = "Ground";
    fresh[5].flags["editable"] = true;
    set(pool, *editor, "labels", fresh);
    const auto prepared = Kesh::TypedSlot<Kesh::LabelSet>(editor->findSlot("labels"), {}).get(*pool);
    EXPECT_FALSE(prepared.find(2)->flags.at("editable"));
    EXPECT_TRUE(prepared.find(5)->flags.at("editable")) << "kept";
    EXPECT_EQ(prepared.selections().count("Assign"), 1u);
    stroke(0, 40);
    EXPECT_EQ(mask(), (Bytes{0, 255, 0, 0, 255, 255, 0, 0, 0, 0, 0, 255}));
    EXPECT_EQ(act("applySelection"), "No label has been selected for modifying data.");
    EXPECT_EQ(steps(Name), 0);
    EXPECT_FALSE(hasMask()) << "as after any apply";
}

class MaskedIntegers : public MaskedEditing {};
INSTANTIATE_TEST_SUITE_P(Integers, MaskedIntegers, testing::Values("ModifyIntegerClassificationWithMasking"));

TEST_P(MaskedIntegers, theSwitchReversesAnEdit) {
    classes({2}, 7);
    stroke(0, 40);
    act("applySelection");
    EXPECT_EQ(std::ranges::count(values<unsigned char>(), 2), 0);
    Kesh::Enum exchange{"none", "0", "1", "2", "3"};
    exchange.select(1);
    set(pool, *editor, "switch", exchange);
    stroke(0, 40);
    EXPECT_EQ(act("applySelection"), "4 vertex data have been modified.");
    EXPECT_EQ(values<unsigned char>(), (Bytes{2, 5, 2, 6, 5, 5, 2, 9, 6, 2, 9, 5}));
}

} // namespace
} // namespace corvane::test
