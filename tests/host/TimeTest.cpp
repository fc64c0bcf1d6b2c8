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
        EXPECT_EQ(update(failing), status);
        EXPECT_FALSE(updated);
        EXPECT_EQ(result(failing), 3);
        EXPECT_FALSE(failing.update(Kesh::VRequest(pool))) << "it has failed until an update succeeds";
        EXPECT_EQ(failing.runs, 1) << "a failed update raises the age, too";
        EXPECT_EQ(failing.fired, 1);
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

TEST_F(Time, sourcesComeUpToDateFirstAndOnce) {
    ASSERT_TRUE(connect(b, a));
    ASSERT_TRUE(connect(c, b));
    set(pool, a, "in", 10);
    update(c);
    EXPECT_EQ(result(c), 13);
    set(pool, a, "in", 20);
    update(c);
    update(c);
    EXPECT_EQ(result(c), 23);
    EXPECT_EQ(a.runs * 100 + b.runs * 10 + c.runs, 222);
    EXPECT_FALSE(connect(a, c)) << "a cycle";
    EXPECT_FALSE(connect(a, a)) << "a small cycle";
    EXPECT_FALSE(a.connectSlots(*a.findSlot("go"), c.out.slot())) << "another type";
    EXPECT_FALSE(a.in->source());
}

TEST_F(Time, aFailingSourceStopsWhatDependsOnIt) {
    Node failing("failing", [](Node&, Kesh::VRequest&) -> bool { throw std::runtime_error("no more ink"); });
    ASSERT_TRUE(connect(b, failing));
    ASSERT_TRUE(connect(c, b));
    const std::string status = update(c);
    EXPECT_NE(status.find("\"in\""), std::string::npos) << status;
    EXPECT_NE(status.find("no more ink"), std::string::npos) << status;
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
