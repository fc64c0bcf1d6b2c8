// SPDX-License-Identifier: Apache-2.0
#include "Bench.hpp"
#include "Node.hpp"

namespace corvane::test {
namespace {

class Time : public Bench {
protected:
    int result(const Node& node) const { return node.out.get(*pool); }
    bool connect(Node& input, Node& output) { return input.connectSlots(*input.findSlot("in"), output.out.slot()); }

    Node a{"a"}, b{"b"}, c{"c"};
};

TEST_F(Time, aTriggerFiresOnceAndInitialValuesNever) {
    update(a);
    EXPECT_EQ(a.runs, 1) << "what was never updated must update";
    EXPECT_EQ(a.fired, 0);
    press(a, "go");
    for (int i = 0; i < 3; ++i) update(a);
    EXPECT_EQ(a.runs, 2);
    EXPECT_EQ(a.fired, 1);
    set(pool, a, "in", 5);
    update(a);
    EXPECT_EQ(a.runs, 3);
    EXPECT_EQ(a.fired, 1);
}

TEST_F(Time, whatWasSetBeforeTheObjectExistedIsNoChange) {
    update(a);
    int changes = 0;
    Node late("late", [&](Node& node, Kesh::VRequest& request) {
        return changes += node.hasChanged(*node.in, *request.pool), true;
    });
    ASSERT_TRUE(connect(late, a));
    update(late);
    EXPECT_EQ(changes, 0);
    EXPECT_EQ(late.in.get(*pool), 1);
    set(pool, a, "in", 7);
    update(late);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(late.in.get(*pool), 8);
}

TEST_F(Time, whatIsSetDuringAnUpdateIsSeenByTheNext) {
    Node busy("busy", [&](Node& node, Kesh::VRequest& request) {
        if (node.runs == 1) set(request.pool, node, "in", 9);
        return Node::addOne(node, request);
    });
    update(busy);
    update(busy);
    EXPECT_EQ(busy.runs, 2);
    update(busy);
    EXPECT_EQ(busy.runs, 2) << "its own output is no change to it";
}

TEST_F(Time, nothingThrownGetsOutAndOutputsStay) {
    const struct {
        Node::Work work;
        const char* status;
    } failures[] = {{[](Node&, Kesh::VRequest&) -> bool { throw std::runtime_error("no more ink"); }, "no more ink"},
                    {[](Node&, Kesh::VRequest&) -> bool { throw 7; }, "The module failed without saying why."},
                    {[](Node& node, Kesh::VRequest& request) {
                         node.setStatusError(*request.pool, "said so");
                         return false;
                     },
                     "said so"}};
    for (const auto& [work, status] : failures) {
        Node failing("failing", work);
        set(pool, failing, "out", 3);
        press(failing, "go");
        for (int i = 0; i < 2; ++i) { // it has failed until an update succeeds
            EXPECT_EQ(update(failing), status);
            EXPECT_FALSE(updated);
        }
        EXPECT_EQ(result(failing), 3);
        EXPECT_EQ(failing.runs, 1) << "a failed update raises the age, too";
        EXPECT_EQ(failing.fired, 1);
    }
}

TEST_F(Time, nothingThrownAroundTheWorkGetsOutEither) {
    struct Faulty : Node {
        using Node::Node;
        bool must_update(const Kesh::VRequest& request, double precision) override {
            if (broken) throw std::bad_alloc();
            return Node::must_update(request, precision);
        }
        bool broken = true;
    } faulty("faulty");
    EXPECT_EQ(update(faulty), "There is not enough memory.");
    faulty.broken = false;
    EXPECT_EQ(update(faulty), "");

    struct Refusing : Kesh::InputNotifier {
        bool notify(Kesh::VValueBase&, const Holdfast::WeakPtr<Kesh::ValuePool>&) override {
            throw std::runtime_error("not this value");
        }
    };
    Node choosy("choosy");
    ASSERT_TRUE(connect(choosy, faulty));
    choosy.in->parameter()->setInputNotifier(Holdfast::create<Refusing>());
    EXPECT_EQ(update(choosy), "not this value");
    EXPECT_EQ(choosy.runs, 0);
    choosy.in->parameter()->setInputNotifier(nullptr);
    EXPECT_EQ(update(choosy), "");
    EXPECT_EQ(result(choosy), result(faulty) + 1);
}

TEST_F(Time, aStatusStandsUntilTheObjectSetsAnother) {
    bool fails = false;
    Node speaker("speaker", [&](Node& node, Kesh::VRequest& request) {
        if (fails) throw std::runtime_error("no more ink");
        if (node.hasChanged(*node.go, *request.pool)) node.setStatusInfo(*request.pool, "done");
        return true;
    });
    press(speaker, "go");
    EXPECT_EQ(update(speaker), "done");
    EXPECT_EQ(update(speaker), "done") << "nothing to do";
    set(pool, speaker, "in", 4);
    EXPECT_EQ(update(speaker), "done") << "nothing to say";
    fails = true;
    set(pool, speaker, "in", 5);
    EXPECT_EQ(update(speaker), "no more ink");
    EXPECT_EQ(update(speaker), "no more ink");
    fails = false;
    set(pool, speaker, "in", 6);
    EXPECT_EQ(update(speaker), "");
}

TEST_F(Time, everyObjectOfADiamondIsLookedAtOnce) {
    struct Join : Node {
        Join() : Node("join"), second(*this, "second", 0) {}
        bool must_update(const Kesh::VRequest& request, double precision) override {
            return ++looks, Node::must_update(request, precision);
        }
        Kesh::TypedSlot<int> second;
        int looks = 0;
    };
    std::vector<StrongPtr<Join>> levels; // so many that the ways through them cannot be walked one by one
    for (int i = 0; i < 60; ++i) {
        levels.push_back(Holdfast::create<Join>());
        if (i == 0) continue;
        ASSERT_TRUE(connect(*levels[i], *levels[i - 1]));
        ASSERT_TRUE(levels[i]->connectSlots(*levels[i]->second.slot(), levels[i - 1]->out.slot()));
    }
    EXPECT_FALSE(levels[0]->connectSlots(*levels[0]->second.slot(), levels.back()->out.slot())) << "a cycle";
    EXPECT_FALSE(connect(a, a)) << "a small cycle";
    EXPECT_FALSE(a.connectSlots(*a.findSlot("go"), b.out.slot())) << "another type";
    EXPECT_FALSE(a.in->source());
    for (const int number : {1, 2}) {
        set(pool, *levels[0], "in", number);
        for (int i = 0; i < number; ++i) update(*levels.back());
        EXPECT_EQ(result(*levels.back()), 60 + number);
        for (const auto& level : levels) EXPECT_EQ(level->runs, number);
    }
    for (const auto& level : levels) EXPECT_EQ(level->looks, 3);
}

TEST_F(Time, anInputTakesTheValueOfAnotherSourceWhateverItsAge) {
    struct Keeper : Kesh::InputNotifier {
        bool notify(Kesh::VValueBase&, const Holdfast::WeakPtr<Kesh::ValuePool>&) override { return false; }
    };
    for (const bool takesOver : {false, true}) {
        Node before("before"), after("after"), reader("reader");
        if (takesOver) reader.in->parameter()->setInputNotifier(Holdfast::create<Keeper>());
        update(before); // older than all others, with the value 1
        set(pool, after, "in", 7);
        set(pool, reader, "in", 100);
        for (Node* source : {&after, &before, &after}) {
            ASSERT_TRUE(connect(reader, *source));
            update(reader);
            EXPECT_EQ(result(reader), result(*source) + 1);
        }
        update(reader);
        reader.ignoreInput(*reader.in);
        set(pool, reader, "in", 9);
        update(reader);
        EXPECT_EQ(reader.runs, 3) << "ignored";
    }
}

TEST_F(Time, mustUpdateSeesInputsOutputsAndConnections) {
    const struct {
        const char* what;
        std::function<void()> act;
        bool must;
    } cases[] = {{"nothing", [] {}, false},
                 {"an input", [&] { set(pool, b, "in", 2); }, true},
                 {"a published value", [&] { set(pool, b, "out", 2); }, true},
                 {"another object", [&] { set(pool, c, "in", 2); }, false},
                 {"a new connection", [&] { connect(b, a); }, true}};
    for (const auto& [what, act, must] : cases) {
        update(b);
        act();
        EXPECT_EQ(b.must_update(Kesh::VRequest(pool), 1), must) << what;
    }
}

TEST_F(Time, aFailingSourceStopsWhatDependsOnIt) {
    Node failing("failing", [](Node&, Kesh::VRequest&) -> bool { throw std::runtime_error("no more ink"); });
    ASSERT_TRUE(connect(b, failing));
    ASSERT_TRUE(connect(c, b));
    const std::string behind = "The input \"in\" could not be brought up to date: ";
    EXPECT_EQ(update(c), behind + behind + "no more ink");
    EXPECT_EQ(b.runs + c.runs, 0);
    EXPECT_FALSE(updated);
}

TEST_F(Time, valuePoolsAreIndependent) {
    const auto other = Holdfast::create<Kesh::ValuePool>();
    set(pool, a, "in", 5);
    press(a, "go");
    EXPECT_TRUE(a.update(Kesh::VRequest(other)));
    EXPECT_EQ(a.fired, 0);
    EXPECT_EQ(a.out.get(*other), 1);
    update(a);
    EXPECT_EQ(a.fired, 1);
    EXPECT_EQ(result(a), 6);
    EXPECT_EQ(a.out.get(*other), 1);
    EXPECT_FALSE(a.must_update(Kesh::VRequest(other), 1));
}

} // namespace
} // namespace corvane::test
