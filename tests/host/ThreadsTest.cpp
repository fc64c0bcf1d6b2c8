// SPDX-License-Identifier: Apache-2.0
// Networks side by side, each on a thread of its own. The thread sanitizer is the judge of most of it.
#include "Bench.hpp"
#include "Kesh/catalogue/ModuleRegistration.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Node.hpp"

#include <latch>
#include <thread>

namespace corvane::test {
namespace {

constexpr int Networks = 4, Rounds = 50;

class Doubler : public Kesh::VObject {
public:
    using Provided = int;
    Doubler(const std::string& name, const StrongPtr<Kesh::VCreationPreferences>& preferences)
        : VObject(name, {{.name = "brush", .initial = Kesh::Brush(), .group = "strokes"},
                         {.name = "in", .initial = 0},
                         {.name = "twice", .initial = 0, .isOutput = true}}) {
        Kesh::Brush::connectBrushAsInput(*this, *findSlot("brush"), "Brush", preferences);
    }

protected:
    bool unsychronized_update(Kesh::VRequest& request, double) override {
        const int twice = 2 * Kesh::TypedSlot<int>(*this, "in").get(*request.pool);
        findSlot("twice")->parameter()->setValue(*request.pool, Holdfast::create<Kesh::VValue<int>>(twice),
                                                 request.time);
        setStatusInfo(*request.pool, std::to_string(twice));
        return true;
    }
};

using DoublerRegistration = Kesh::FieldModuleRegistration<Doubler, int>;
const Kesh::ModuleIntroduction Introduction{{}, {}, {}, "Doubler", {}, "Compute", 0, {}};

/// Runs the work on as many threads as there are networks, all at the same time.
void together(const std::function<void(int network)>& work) {
    std::latch start(Networks);
    std::vector<std::jthread> threads;
    for (int i = 0; i < Networks; ++i)
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
}

class Threads : public Bench {};

TEST_F(Threads, networksOfModulesAreMadeUsedAndDeletedSideBySide) {
    const DoublerRegistration registration(Introduction);
    std::atomic<int> heard = 0;
    Kesh::StatusIndicator::setSink([&](const std::string&, const Kesh::Status&) { ++heard; });
    together([](int network) {
        const auto ours = Holdfast::create<Kesh::ValuePool>();
        for (int round = 0; round < Rounds; ++round) {
            const auto creator = Kesh::VCreatorBase::find("Compute/Doubler");
            const auto preferences = Kesh::VCreationPreferences::named("of threads");
            preferences->offerProvider("Brush", {});
            const auto first = creator->create("", preferences), second = creator->create("", preferences);
            ASSERT_TRUE(second->connectSlots(*second->findSlot("in"), first->findOutput("twice")));
            set(ours, *first, "in", network + round);
            EXPECT_TRUE(second->update(Kesh::VRequest(ours)));
            EXPECT_EQ(second->status(*ours).text, std::to_string(4 * (network + round)));
            Node taker("taker");
            const auto offered = Kesh::connectFromAnything(taker, *taker.in.slot(), first->findOutput("twice"),
                                                           typeid(int), *ours, [](const auto&) { return false; });
            EXPECT_TRUE(offered.connected);
            for (const auto& object : {first, second}) Kesh::VCreatorBase::deleteInstance(object);
        }
    });
    Kesh::StatusIndicator::setSink(nullptr);
    EXPECT_EQ(heard, 2 * Networks * Rounds);
}

TEST_F(Threads, whatHappensOnOneConcernsNoOther) {
    struct Listener : Kesh::VActionNotifier {
        explicit Listener(bool stops) : goOn(!stops) {}
        void triggered(const std::string& name, const Kesh::ValuePool&) override { heard += name; }
        bool progress(std::uint64_t, std::uint64_t, const std::string&) override { return goOn; }
        bool goOn;
        std::string heard;
    };
    const auto above = Holdfast::create<Listener>(true);
    Kesh::VActionNotifier::activate(above);
    together([](int network) {
        const auto listener = Holdfast::create<Listener>(network == 0);
        Kesh::VActionNotifier::activate(listener);
        const auto ours = Holdfast::create<Kesh::ValuePool>();
        Node node("node");
        for (int round = 0; round < Rounds; ++round) {
            set(ours, node, "go", Holdfast::create<Kesh::VAction>());
            EXPECT_EQ(Kesh::VActionNotifier::reportProgress(0, 1, "work"), network != 0);
        }
        EXPECT_EQ(listener->heard.size(), 2 * Rounds);
    });
    EXPECT_EQ(above->heard, "");
    EXPECT_FALSE(Kesh::VActionNotifier::reportProgress(0, 1, "work"));
}

} // namespace
} // namespace corvane::test
