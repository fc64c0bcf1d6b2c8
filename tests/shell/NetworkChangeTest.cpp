// SPDX-License-Identifier: Apache-2.0
// A network that is looked at and changed while it is there: what it says of its objects, and the record of its changes
// as a network file.
#include "ProgramTestSupport.hpp"
#include "network/Network.hpp"
#include "session/Session.hpp"

namespace corvane::test {
namespace {

class NetworkChange : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        SessionOptions options;
        options.pluginPath = CORVANE_PLUGIN;
        session.emplace(options);
        survey = session->open(in);
        network = std::make_unique<Network>(survey);
        network->addObject("points", "Field");
        network->addObject("lasso", "Brush");
        network->addObject("editor", "Edit/ModifyClassification");
        network->connect("points.field", "editor.labelfield");
        network->connect("lasso.brush", "editor.brush");
        network->set("editor.newvalue", 30);
        for (const char* source : {"editor.from0", "editor.from1", "editor.from2", "editor.from3"})
            network->set(source, 2);
        network->update();
    }

    void TearDown() override {
        network.reset();
        survey.reset();
    }

    SlotFacts slot(const std::string& object, const std::string& name) const {
        for (const ObjectFacts& facts : network->objects())
            for (const SlotFacts& found : facts.slots)
                if (facts.name == object && found.name == name) return found;
        ADD_FAILURE() << object << " has no " << name;
        return {};
    }

    /// Half of the survey.
    Stroke half() const {
        const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
        Stroke stroke = allWithin(nullptr);
        stroke.outline = Stroke::Rectangle{{x0 - 1, y0 - 1}, {(x0 + x1) / 2, y1 + 1}};
        return stroke;
    }

    void expectRecordDoesTheSame() const {
        session->save(*survey, out, true);
        const std::string replayed = folder / "replayed.las";
        write(folder / "net.json", network->record().asJson(in, "", "", replayed).dump());
        const Outcome run = corvane({"run", folder / "net.json", "--overwrite"});
        ASSERT_EQ(run.status, 0) << run.err << network->record().asJson(in, "", "", "").dump(1);
        EXPECT_TRUE(bytesOf(replayed) == bytesOf(out));
    }

    std::optional<Session> session;
    std::shared_ptr<const Survey> survey;
    std::unique_ptr<Network> network;
};

TEST_F(NetworkChange, objectsTellWhatIsKnownOfTheirSlots) {
    network->addObject("masked", "Edit/MaskedLabels");
    ASSERT_EQ(network->objects().size(), 4u);
    EXPECT_EQ(network->objects()[2].type, "Edit/ModifyClassification");

    const SlotFacts value = slot("editor", "newvalue");
    EXPECT_EQ(std::tuple(value.kind, value.value, value.minimum.value_or(-1), value.output),
              std::tuple("integer", "30", 0, false));
    EXPECT_FALSE(value.help.empty());
    EXPECT_EQ(network->value("editor.newvalue"), "30");

    const SlotFacts choice = slot("editor", "switch");
    EXPECT_EQ(choice.kind, "choice");
    EXPECT_TRUE(choice.wrap && choice.choices.size() > 1) << choice.choices.size();
    EXPECT_EQ(slot("editor", "assign").shortcut, "a");
    EXPECT_EQ(slot("editor", "undodepth").expertLevel, 5);

    const SlotFacts clear = slot("masked", "unselectAll");
    EXPECT_TRUE(clear.inEditingTools && clear.kind == "action" && clear.tooltip == "Clear mask" && !clear.icon.empty());
    EXPECT_FALSE(slot("masked", "undo").inEditingTools);
    EXPECT_EQ(clear.group, slot("masked", "select").group);

    EXPECT_EQ(slot("editor", "labelfield").source, "points.field");
    EXPECT_TRUE(slot("points", "field").output);
    EXPECT_EQ(slot("masked", "labelfield").source, "");
}

TEST_F(NetworkChange, changesAreRecordedAndCanBeRepeated) {
    network->disconnect("editor.brush");
    network->press("editor.assign");
    network->update();
    EXPECT_TRUE(survey->editedFragments().empty()) << "a brush that is gone selects nothing";

    network->removeObject("lasso");
    EXPECT_THROW(network->draw("lasso.brush", half()), UsageError);
    network->addObject("lasso", "Brush");
    network->connect("lasso.brush", "editor.brush");
    network->draw("lasso.brush", half());
    network->press("editor.assign");
    network->update();
    EXPECT_FALSE(survey->editedFragments().empty());

    network->addObject("other", "Edit/ModifyClassification"); // and goes before it does anything
    network->connect("points.field", "other.labelfield");
    network->set("other.newvalue", 9);
    network->removeObject("other");
    network->press("editor.undo");
    network->update();
    network->disconnect("editor.brush");
    network->connect("lasso.brush", "editor.brush");
    network->press("editor.redo");
    network->update();
    expectRecordDoesTheSame();

    EXPECT_THROW(network->disconnect("editor.from0"), UsageError);
    EXPECT_THROW(network->removeObject("nobody"), UsageError);
}

/// What is kept of each edit does it by itself, with the objects as they were then.
TEST_F(NetworkChange, actionsSinceAnEditBeginWithTheNetworkAsItWas) {
    network->removeObject("lasso");
    network->addObject("tip", "Brush");
    network->connect("tip.brush", "editor.brush");
    network->update();
    network->keepActions();
    network->draw("tip.brush", half());
    network->press("editor.assign");
    network->update();
    const auto since = json::parse(network->record().newText());
    EXPECT_EQ(since["actions"].size(), 1u);
    EXPECT_FALSE(holds(since.dump(), "lasso"));
    EXPECT_EQ(since["connections"].size(), 2u);
    expectRecordDoesTheSame(); // all of it
}

/// The next update is about something else.
TEST_F(NetworkChange, whatFailedIsNotDoneLater) {
    network->set("points.name", "X"); // no field of classes
    network->draw("lasso.brush", half());
    network->press("editor.assign");
    EXPECT_THROW(network->update(), UsageError);
    network->set("points.name", "Classification");
    network->update();
    EXPECT_TRUE(survey->editedFragments().empty());
    expectRecordDoesTheSame();
}

} // namespace
} // namespace corvane::test
