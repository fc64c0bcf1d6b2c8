// SPDX-License-Identifier: Apache-2.0
// The modules at work in networks side by side, each on a thread of its own.
#include "Kesh/values/LabelSet.hpp"
#include "LoadedPlugin.hpp"

#include <thread>

namespace corvane::test {
namespace {

/// A network on data of its own.
class Tile : Workbench {
public:
    void editAndCount(int target) {
        positions(3, 4);
        field<unsigned char>("Classification", {{2, 5, 2, 6}, {5, 5, 2, 9}, {6, 2, 5, 5}});
        const auto direct = made("ModifyClassification", "labelfield"), masked = made("MaskedLabels", "labelfield"),
                   labels = made("Labels", "inputfield"), histogram = made("PointCloudHistogram", "inputfield");
        for (const char* source : {"from0", "from1", "from2", "from3"}) set(pool, *direct, source, 2);
        set(pool, *direct, "newvalue", target);
        press(*direct, "assign");
        EXPECT_EQ(update(*direct), "4 vertex data have been modified.");

        update(*labels);
        Kesh::LabelSet labelSet = Kesh::TypedSlot<Kesh::LabelSet>(*labels, "labelset").get(*pool);
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
        for (const auto& object : {direct, masked, labels, histogram}) Kesh::VCreatorBase::deleteInstance(object);
    }

private:
    StrongPtr<Kesh::VObject> made(const std::string& module, const std::string& input) {
        const auto object = creator(module)->create("", nullptr);
        test::set(pool, *object, input, selector("Classification"));
        return object;
    }
};

class Threads : public LoadedPlugin {};

TEST_F(Threads, networksWorkSideBySide) {
    std::vector<std::jthread> threads;
    for (int target = 20; target < 24; ++target)
        threads.emplace_back([target] {
            for (int round = 0; round < 20; ++round) Tile().editAndCount(target);
        });
}

} // namespace
} // namespace corvane::test
