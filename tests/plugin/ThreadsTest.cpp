// SPDX-License-Identifier: Apache-2.0
// The modules at work in networks side by side, each on a thread of its own. The thread sanitizer is the judge of most
// of it.
#include "../host/Node.hpp"
#include "Kesh/catalogue/VInput.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "LoadedPlugin.hpp"

#include <thread>

namespace corvane::test {
namespace {

constexpr int Networks = 4, Rounds = 20;

/// A network on data of its own.
class Tile : Workbench {
public:
    void editAndCount(int target) {
        positions(3, 4);
        field<unsigned char>("Classification", {{2, 5, 2, 6}, {5, 5, 2, 9}, {6, 2, 5, 5}});
        const auto direct = made("ModifyClassification", "labelfield"), masked = made("MaskedLabels", "labelfield"),
                   taker = made("MaskedLabels", "labelfield"), histogram = made("PointCloudHistogram", "inputfield");
        for (const char* source : {"from0", "from1", "from2", "from3"}) set(pool, *direct, source, 2);
        set(pool, *direct, "newvalue", target);
        press(*direct, "assign");
        EXPECT_EQ(update(*direct), "4 vertex data have been modified.");

        const auto labels =
            Kesh::connectFromAnything(*taker, *taker->findSlot("labels"), direct->findOutput("labelfield"),
                                      typeid(Kesh::LabelSet), *pool, [](const auto&) { return false; });
        update(*taker);
        Kesh::LabelSet labelSet = Kesh::TypedSlot<Kesh::LabelSet>(*taker, "labels").get(*pool);
        EXPECT_EQ(labelSet.size(), 4u);
        labelSet[target].flags["editable"] = true;
        labelSet.addSelection("Assign");
        labelSet.select("Assign", 9);
        test::set(pool, *masked, "labels", labelSet);
        draw(*masked, 0, 15);
        press(*masked, "select");
        update(*masked);
        press(*masked, "applySelection");
        EXPECT_EQ(update(*masked), "3 vertex data have been modified.");
        press(*masked, "undo");
        update(*masked);

        Kesh::Enum scope({"WholeDataset", "Region", "Mask", "Brush"}, 0);
        test::set(pool, *histogram, "scope", scope);
        press(*histogram, "compute");
        const std::string report = update(*histogram);
        EXPECT_NE(report.find("\n  " + std::to_string(target) + ": 4"), std::string::npos) << report;
        for (const auto& object : {direct, masked, taker, labels.provider, histogram})
            Kesh::VCreatorBase::deleteInstance(object);
    }

private:
    StrongPtr<Kesh::VObject> made(const std::string& module, const std::string& input) {
        const auto preferences = Kesh::VCreationPreferences::named("of tiles");
        preferences->offerProvider("Brush", {});
        const auto object = creator(module)->create("", preferences);
        test::set(pool, *object, input, selector("Classification"));
        return object;
    }
};

class Threads : public LoadedPlugin {};

/// Runs the work on as many threads as there are networks.
void together(const std::function<void(int network)>& work) {
    std::vector<std::jthread> threads;
    for (int network = 0; network < Networks; ++network) threads.emplace_back(work, network);
}

TEST_F(Threads, networksWorkSideBySide) {
    std::atomic<int> statuses = 0;
    Kesh::StatusIndicator::setSink([&](const std::string&, const Kesh::Status&) { ++statuses; });
    together([](int network) {
        for (int round = 0; round < Rounds; ++round) Tile().editAndCount(20 + network);
    });
    Kesh::StatusIndicator::setSink(nullptr);
    EXPECT_EQ(statuses, 4 * Networks * Rounds);
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
