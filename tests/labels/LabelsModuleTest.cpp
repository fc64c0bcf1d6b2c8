// SPDX-License-Identifier: Apache-2.0
#include "../plugin/LoadedPlugin.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/values/LabelAttributes.hpp"
#include "LookupSupport.hpp"

#include <numeric>

namespace corvane::test {
namespace {

using Kesh::LabelSet;

class LabelsModule : public LoadedPlugin {
protected:
    StrongPtr<Kesh::VObject> made() {
        auto object = creator("Labels")->create("", nullptr);
        set(pool, *object, "inputfield", selector("Classification"));
        return object;
    }

    LabelSet published(const Kesh::VObject& object) const {
        return Kesh::TypedSlot<LabelSet>(object.findOutput("labelset"), {}).get(*pool);
    }

    LabelSet stored() { return Kesh::readLabelSet(find("Classification").attributes()).value_or(LabelSet()); }
};

TEST_F(LabelsModule, namesValuesByTheirPosition) {
    const auto object = made();
    field<unsigned char>("Classification", {{3, 0}, {}, {7, 3}});
    EXPECT_EQ(update(*object), "");
    EXPECT_EQ(asText(published(*object)), "0=ID#0 3=ID#1 7=ID#2 ");
    EXPECT_EQ(stored(), published(*object));
    for (const auto& [value, label] : stored()) {
        EXPECT_EQ(label.colour.a, 1);
        EXPECT_TRUE(label.flags.empty());
        for (const float part : {label.colour.r, label.colour.g, label.colour.b}) EXPECT_TRUE(part >= 0 && part < 1);
    }

    field<unsigned short>("Classification", {{65535, 300, 7}});
    update(*object);
    EXPECT_EQ(asText(stored()), "7=ID#0 300=ID#1 65535=ID#2 ");

    std::vector<unsigned char> all(256);
    std::iota(all.begin(), all.end(), static_cast<unsigned char>(0));
    field<unsigned char>("Classification", {all});
    update(*object);
    ASSERT_EQ(stored().size(), 256u);
    EXPECT_EQ(stored().find(10)->name + stored().find(255)->name, "ID#10ID#255");

    field<unsigned char>("Classification", {});
    update(*object);
    EXPECT_TRUE(Kesh::carriesLabelSet(find("Classification").attributes()) && stored().empty());
}

TEST_F(LabelsModule, keepsWhatTheUserNamesUntilTheFieldChanges) {
    field<unsigned char>("Classification", {{2, 6}});
    const auto object = made();
    update(*object);
    LabelSet edited = published(*object);
    const auto colour = edited[2].colour;
    edited[2].name = "Ground";
    edited[2].flags["editable"] = true;
    edited.addSelection("Assign");
    set(pool, *object, "labelset", edited);
    update(*object);
    EXPECT_EQ(published(*object), edited);
    EXPECT_EQ(asText(stored()), "2=Ground 6=ID#1 ");
    EXPECT_EQ(stored().find(2)->colour, colour);
    EXPECT_EQ(stored().find(2)->flags.at("editable"), true);

    Fiber::Field& changed = find("Classification");
    const auto kept = changed.attributes().getAttribute("Labels.ID");
    for (int i = 0; i < 2; ++i) update(*object);
    EXPECT_EQ(changed.attributes().getAttribute("Labels.ID"), kept) << "nothing new, nothing done";

    changed.setPersistentData(arrayOf<unsigned char>({9, 9}), id(1));
    changed.raiseAge(Ageable::nextTime());
    update(*object);
    EXPECT_EQ(asText(published(*object)) + asText(stored()), "2=ID#0 6=ID#1 9=ID#2 2=ID#0 6=ID#1 9=ID#2 ");
    EXPECT_NE(stored().find(2)->colour, colour);
    EXPECT_TRUE(published(*object).selections().empty());
    EXPECT_TRUE(changed.attributes().getAttribute<bool>("Labels.flags.editable")) << "of the user's set, left alone";
}

TEST_F(LabelsModule, aNewObjectReplacesWhatIsStored) {
    field<unsigned char>("Classification", {{4}});
    LabelSet earlier;
    earlier[1].name = "of another time";
    Kesh::storeLabelSet(earlier, find("Classification").attributes());
    const auto object = made();
    const auto age = find("Classification").age();
    update(*object);
    EXPECT_EQ(asText(stored()), "4=ID#0 ");
    EXPECT_EQ(find("Classification").age(), age) << "labels are no change of the data";
    find("Classification").attributes().setAttribute("Labels.Names", nullptr);
    set(pool, *object, "labelset", earlier);
    update(*object);
    EXPECT_EQ(asText(stored()), "4=ID#0 ") << "without names nothing is stored, so nothing can be edited";
}

TEST_F(LabelsModule, completesWhatWasCutShort) {
    field<unsigned char>("Classification", {{1}, {2}});
    const auto resident = find("Classification").getData(id(1));
    const auto object = made();
    EXPECT_TRUE(object->update(Kesh::VRequest(pool, Holdfast::TimeBudget::immediate())));
    EXPECT_EQ(asText(stored()), "2=ID#0 ") << "it may not wait for the other";
    update(*object);
    EXPECT_EQ(asText(published(*object)) + asText(stored()), "1=ID#0 2=ID#1 1=ID#0 2=ID#1 ");

    struct Impatient : Kesh::VActionNotifier {
        bool progress(std::uint64_t, std::uint64_t, const std::string&) override { return false; }
    };
    auto impatient = Holdfast::create<Impatient>();
    Kesh::VActionNotifier::activate(impatient);
    field<unsigned char>("other", {{3}});
    set(pool, *object, "inputfield", selector("other"));
    EXPECT_EQ(update(*object), "Interrupted; the labels are as they were before.");
    EXPECT_EQ(asText(published(*object)), "1=ID#0 2=ID#1 ");
    impatient.reset();
    EXPECT_EQ(update(*object), "");
    EXPECT_EQ(asText(published(*object)), "3=ID#0 ");
}

TEST_F(LabelsModule, keepsTheLabelsOfFieldsApart) {
    field<unsigned char>("other", {{8}});
    field<unsigned char>("Classification", {{2, 6}});
    LabelSet ofOther;
    ofOther[8].name = "Rail";
    Kesh::storeLabelSet(ofOther, find("other"), Ageable::nextTime());
    const auto object = made();
    update(*object);
    LabelSet edited = published(*object);
    edited[2].name = "Ground";
    set(pool, *object, "labelset", edited);
    set(pool, *object, "inputfield", selector("other"));
    const auto before = find("Classification").attributeAge();
    update(*object);
    EXPECT_EQ(asText(published(*object)), "8=Rail ");
    EXPECT_EQ(Kesh::readLabelSet(find("other").attributes()), ofOther);
    EXPECT_EQ(asText(stored()), "2=Ground 6=ID#1 ") << "what was named belongs to the field that it was published for";
    EXPECT_GT(find("Classification").attributeAge(), before);
    set(pool, *object, "inputfield", selector("Classification"));
    update(*object);
    EXPECT_EQ(asText(published(*object)), "2=Ground 6=ID#1 ");
}

} // namespace
} // namespace corvane::test
