// SPDX-License-Identifier: Apache-2.0
#include "network/NetworkFile.hpp"

#include "base/Failure.hpp"
#include "base/InputFile.hpp"
#include "network/Progress.hpp"
#include "network/Strokes.hpp"

#include <fmt/format.h>

#include <iterator>

namespace corvane {
namespace {

/// Calls the function; what it finds wrong with the file is a wrong call.
template <class Function>
auto told(Function function) {
    try {
        return function();
    } catch (const json::Error& error) {
        throw UsageError(fmt::format("{}.", error.what()));
    }
}

/// Calls the function; a UsageError that it throws gets the place in front.
template <class Function>
auto at(const json::Reader& where, Function function) {
    try {
        return function();
    } catch (const UsageError& error) {
        throw UsageError(where.place() + error.what());
    }
}

/// Label sets may stand elsewhere: {"file": "labels.json"}, or {"from": "survey"} for those that the survey brings.
std::string textOf(const Network& network, const json::Reader& value) {
    const bool reference = value.value().is_object() && value.value().size() == 1;
    if (reference && value.has("file")) return readTextFile(value.member("file").text());
    if (!reference || !value.has("from")) return value.valueText();
    if (value.member("from").text() != "survey") value.member("from").fail("only \"survey\" has labels to give");
    const auto& labels = network.survey().labels();
    if (!labels) value.fail("the survey names no classes: it has no Classification Lookup record");
    return Kesh::VValueTrait<Kesh::LabelSet>::Text(*labels);
}

void setSlot(Network& network, const std::string& slot, const json::Reader& value) {
    const std::string text = textOf(network, value);
    at(value, [&] { network.set(slot, text); });
}

void addObject(Network& network, const json::Reader& object) {
    object.expectKeys({"name", "type", "parameters"});
    const std::string name = object.member("name").text(), type = object.member("type").text();
    at(object, [&] { network.addObject(name, type); });
    if (!object.has("parameters")) return;
    for (const auto& [parameter, value] : object.member("parameters").members())
        setSlot(network, name + "." + parameter, value);
}

void connect(Network& network, const json::Reader& connection) {
    connection.expectKeys({"from", "to", "fromAnything"});
    const bool fromAnything = connection.has("fromAnything") && connection.member("fromAnything").flag();
    const std::string from = connection.member("from").text(), to = connection.member("to").text();
    at(connection, [&] { network.connect(from, to, fromAnything); });
}

void draw(Network& network, const std::string& slot, const json::Reader& stroke) {
    const Kesh::Brush brush = readStroke(stroke, network.survey());
    at(stroke, [&] { network.draw(slot, brush); });
}

/// `suffix` completes the name of what is pressed.
void press(Network& network, const json::Reader& name, const std::string& suffix) {
    const std::string slot = name.text() + suffix;
    at(name, [&] { network.press(slot); });
}

Kesh::VHistogram wholeCount(const Network& network, const Fiber::FieldSelector& field) {
    const Count counted = countPoints(network.survey(), {.field = field}, untilInterrupted());
    if (counted.complete()) return counted.histogram;
    throw Failure(fmt::format("\"{}\" cannot be counted: some of its fragments cannot be had.", field.getFieldName()));
}

Report report(const Network& network, const json::Reader& name) {
    const std::string object = name.text();
    return at(name, [&] {
        const Fiber::FieldSelector field = network.selectorOf(object);
        const auto histogram = network.histogramOf(object);
        const Kesh::VHistogram& counted = histogram ? *histogram : wholeCount(network, field);
        return Report{object, network.status(object), field.getFieldName(), classCounts(counted), histogram};
    });
}

void save(const json::Reader& target, const NetworkHooks& hooks) {
    if (target.value().is_string()) return hooks.save(target.text(), false);
    target.expectKeys({"path", "overwrite"});
    hooks.save(target.member("path").text(), target.has("overwrite") && target.member("overwrite").flag());
}

/// A job that fails in the function gets the place in front.
template <class Function>
void placed(const json::Reader& where, Function function) {
    try {
        function();
    } catch (const UsageError&) {
        throw; // has its place
    } catch (const Failure& failure) {
        throw Failure(where.place() + failure.what());
    }
}

/// Triggers of editors that are written as actions of their own: {"undo": "editor"}.
constexpr const char* Verbs[] = {"select", "unselect", "undo", "redo", "undoMask", "redoMask"};

/// Everything that stands in one action happens together, in one update; reports and saving follow.
void runAction(Network& network, const json::Reader& action, const NetworkHooks& hooks) {
    std::vector<std::string> keys{"set", "draw", "press", "report", "save"};
    keys.insert(keys.end(), std::begin(Verbs), std::end(Verbs));
    action.expectKeys(keys);
    if (action.has("set"))
        for (const auto& [slot, value] : action.member("set").members()) setSlot(network, slot, value);
    if (action.has("draw"))
        for (const auto& [slot, stroke] : action.member("draw").members()) draw(network, slot, stroke);
    if (action.has("press"))
        for (const json::Reader& slot : action.member("press").oneOrMore()) press(network, slot, "");
    for (const char* verb : Verbs)
        if (action.has(verb))
            for (const json::Reader& object : action.member(verb).oneOrMore())
                press(network, object, std::string(".") + verb);
    at(action, [&] { network.update(); });
    if (action.has("report"))
        for (const json::Reader& object : action.member("report").oneOrMore()) hooks.report(report(network, object));
    if (action.has("save")) save(action.member("save"), hooks);
}

} // namespace

NetworkFile::NetworkFile(const std::string& text, std::string name)
    : document_(told([&] { return json::Document(text, std::move(name)); })) {
    told([&] { root().expectKeys({"$schema", "survey", "objects", "connections", "actions"}); });
}

std::string NetworkFile::surveyPath() const {
    return told([&] { return root().has("survey") ? root().member("survey").text() : std::string(); });
}

void NetworkFile::build(Network& network) const {
    for (const json::Reader& object : root().member("objects").elements()) addObject(network, object);
    if (root().has("connections"))
        for (const json::Reader& connection : root().member("connections").elements()) connect(network, connection);
}

void NetworkFile::run(Network& network, const NetworkHooks& hooks) const {
    told([&] { runAll(network, hooks); });
}

void NetworkFile::runAll(Network& network, const NetworkHooks& hooks) const {
    build(network);
    const json::Reader objects = root().member("objects");
    placed(objects, [&] { at(objects, [&] { network.update(); }); });
    if (!root().has("actions")) return;
    for (const json::Reader& action : root().member("actions").elements())
        placed(action, [&, &action = action] { runAction(network, action, hooks); });
}

} // namespace corvane
