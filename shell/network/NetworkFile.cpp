// SPDX-License-Identifier: Apache-2.0
#include "network/NetworkFile.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

void setSlot(Network& network, const std::string& slot, const JsonReader& value) {
    const std::string text = value.scalar();
    value.at([&] { network.set(slot, text); });
}

void addObject(Network& network, const JsonReader& object) {
    object.expectKeys({"name", "type", "parameters"});
    const std::string name = object.member("name").text(), type = object.member("type").text();
    object.at([&] { network.addObject(name, type); });
    if (!object.has("parameters")) return;
    for (const auto& [parameter, value] : object.member("parameters").members())
        setSlot(network, name + "." + parameter, value);
}

void connect(Network& network, const JsonReader& connection) {
    connection.expectKeys({"from", "to", "fromAnything"});
    const bool fromAnything = connection.has("fromAnything") && connection.member("fromAnything").flag();
    const std::string from = connection.member("from").text(), to = connection.member("to").text();
    connection.at([&] { network.connect(from, to, fromAnything); });
}

void draw(Network& network, const std::string& slot, const JsonReader& stroke) {
    stroke.expectKeys({"view", "polygon"});
    if (stroke.has("view") && stroke.member("view").text() != "above")
        stroke.member("view").fail("the view \"above\" is the one there is.");
    const JsonReader polygon = stroke.member("polygon");
    std::vector<std::string> arguments;
    for (const JsonReader& one : polygon.oneOrMore()) arguments.push_back(one.text());
    polygon.at([&] { network.drawFromAbove(slot, readPolygons(arguments)); });
}

/// `suffix` completes the name of what is pressed.
void press(Network& network, const JsonReader& name, const std::string& suffix) {
    const std::string slot = name.text() + suffix;
    name.at([&] { network.press(slot); });
}

Report report(const Network& network, const JsonReader& name) {
    const std::string object = name.text();
    return name.at([&] {
        return Report{object, network.status(object), network.fieldNameOf(object),
                      countClasses(*network.fieldOf(object))};
    });
}

void save(const JsonReader& target, const NetworkHooks& hooks) {
    if (target.value().is_string()) return hooks.save(target.text(), false);
    target.expectKeys({"path", "overwrite"});
    hooks.save(target.member("path").text(), target.has("overwrite") && target.member("overwrite").flag());
}

/// Everything that stands in one action happens together, in one update; reports and saving follow.
void runAction(Network& network, const JsonReader& action, const NetworkHooks& hooks) {
    action.expectKeys({"set", "draw", "press", "undo", "redo", "report", "save"});
    if (action.has("set"))
        for (const auto& [slot, value] : action.member("set").members()) setSlot(network, slot, value);
    if (action.has("draw"))
        for (const auto& [slot, stroke] : action.member("draw").members()) draw(network, slot, stroke);
    if (action.has("press"))
        for (const JsonReader& slot : action.member("press").oneOrMore()) press(network, slot, "");
    for (const char* direction : {"undo", "redo"})
        if (action.has(direction))
            for (const JsonReader& object : action.member(direction).oneOrMore())
                press(network, object, std::string(".") + direction);
    network.update();
    if (action.has("report"))
        for (const JsonReader& object : action.member("report").oneOrMore()) hooks.report(report(network, object));
    if (action.has("save")) save(action.member("save"), hooks);
}

} // namespace

NetworkFile::NetworkFile(const std::string& text, std::string name)
    : json_(parseJson(text, name)), name_(std::move(name)) {
    root().expectKeys({"$schema", "survey", "objects", "connections", "actions"});
}

std::string NetworkFile::surveyPath() const { return root().has("survey") ? root().member("survey").text() : ""; }

void NetworkFile::build(Network& network) const {
    for (const JsonReader& object : root().member("objects").elements()) addObject(network, object);
    if (root().has("connections"))
        for (const JsonReader& connection : root().member("connections").elements()) connect(network, connection);
}

void NetworkFile::run(Network& network, const NetworkHooks& hooks) const {
    build(network);
    network.update();
    if (!root().has("actions")) return;
    for (const JsonReader& action : root().member("actions").elements()) {
        try {
            runAction(network, action, hooks);
        } catch (const UsageError&) {
            throw;
        } catch (const Failure& failure) {
            action.failed(failure);
        }
    }
}

} // namespace corvane
