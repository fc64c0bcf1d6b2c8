// SPDX-License-Identifier: Apache-2.0
#include "network/NetworkFile.hpp"

#include "network/StrokeText.hpp"
#include "survey/BrushedPoints.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <optional>
#include <set>

namespace corvane {
namespace {

using json::Reader;

/// What a job of the function fails with gets the place in front.
template <class Function>
auto placed(const Reader& where, Function function) {
    try {
        return function();
    } catch (const UsageError& error) {
        throw UsageError(where.place() + error.what());
    } catch (const Interrupted& stopped) {
        throw Interrupted(where.place() + stopped.what());
    } catch (const Failure& failure) {
        throw Failure(where.place() + failure.what());
    }
}

/// What the reader finds wrong is a wrong call.
template <class Function>
auto read(Function function) {
    try {
        return function();
    } catch (const json::Error& error) {
        throw UsageError(fmt::format("{}.", error.what()));
    }
}

/// Label sets may stand elsewhere: {"file": "labels.json"}, or {"from": "survey"} for those that the survey brings.
std::optional<Kesh::LabelSet> labelsElsewhere(const Network& network, const Reader& value) {
    if (!value.value().is_object() || value.value().size() != 1) return std::nullopt;
    if (value.has("file")) return loadLabels(value.member("file").text());
    if (!value.has("from")) return std::nullopt;
    if (value.member("from").text() != "survey") value.member("from").fail("only \"survey\" has labels to give");
    auto labels = network.survey().labels();
    if (!labels) value.fail("the survey names no classes: it has no Classification Lookup record");
    return labels;
}

/// Sources of an editor that are left out mean class 0, which is rarely what somebody wants who names one of them.
class SourceNotes {
public:
    explicit SourceNotes(const Reader& root) {
        for (const Reader& object : root.member("objects").elements())
            if (object.has("parameters"))
                for (const auto& parameter : object.member("parameters").members())
                    see(object.member("name").text(), parameter.key);
        if (!root.has("actions")) return;
        for (const Reader& action : root.member("actions").elements())
            if (action.has("set"))
                for (const auto& [path, value] : action.member("set").members())
                    see(path.substr(0, path.rfind('.')), path.substr(path.rfind('.') + 1));
    }

    void tell(const std::string& file, const NetworkHooks& hooks) const {
        for (const auto& [object, named] : named_) {
            std::vector<std::string> missing;
            for (const char* source : Sources)
                if (!named.contains(source)) missing.push_back(source);
            if (missing.empty() || !hooks.note) continue;
            hooks.note(
                fmt::format("{}: {} of \"{}\" {} left out and {} class 0; to leave class 0 alone, repeat another "
                            "source there.",
                            file, fmt::join(missing, ", "), object, missing.size() == 1 ? "is" : "are",
                            missing.size() == 1 ? "means" : "mean"));
        }
    }

private:
    static constexpr std::array<const char*, 4> Sources{"from0", "from1", "from2", "from3"};

    void see(const std::string& object, const std::string& parameter) {
        if (std::ranges::find(Sources, parameter) != Sources.end()) named_[object].insert(parameter);
    }

    std::map<std::string, std::set<std::string>> named_; // by object
};

/// One run of a file.
class Run {
public:
    Run(Network& network, const NetworkHooks& hooks) : network_(network), hooks_(hooks) {}

    void addObject(const Reader& object) {
        object.expectKeys({"name", "type", "parameters"});
        const std::string name = object.member("name").text(), type = object.member("type").text();
        placed(object, [&] { network_.addObject(name, type); });
        if (!object.has("parameters")) return;
        for (const auto& [parameter, value] : object.member("parameters").members()) set(name + "." + parameter, value);
    }

    void connect(const Reader& connection) {
        connection.expectKeys({"from", "to", "fromAnything"});
        const bool fromAnything = connection.has("fromAnything") && connection.member("fromAnything").flag();
        const std::string from = connection.member("from").text(), to = connection.member("to").text();
        const std::string made = placed(connection, [&] { return network_.connect(from, to, fromAnything); });
        if (!made.empty() && hooks_.note)
            hooks_.note(fmt::format("{}the object \"{}\" was made to supply {}.", connection.place(), made, to));
    }

    void begin(const Reader& objects) {
        placed(objects, [&] { network_.update(); });
    }

    void act(const Reader& action) {
        std::vector<std::string> keys{"disconnect", "remove", "add",    "connect", "set",
                                      "draw",       "press",  "report", "save"};
        keys.insert(keys.end(), std::begin(Verbs), std::end(Verbs));
        action.expectKeys(keys);
        rebuild(action);
        if (action.has("set"))
            for (const auto& [slot, value] : action.member("set").members()) set(slot, value);
        if (action.has("draw"))
            for (const auto& [slot, stroke] : action.member("draw").members()) draw(slot, stroke);
        if (action.has("press"))
            for (const Reader& slot : action.member("press").oneOrMore()) press(slot, "");
        for (const char* verb : Verbs)
            if (action.has(verb))
                for (const Reader& object : action.member(verb).oneOrMore()) press(object, std::string(".") + verb);
        placed(action, [&] { network_.update(); });
        if (hooks_.acted) placed(action, hooks_.acted);
        if (action.has("report"))
            for (const Reader& object : action.member("report").oneOrMore())
                hooks_.report(placed(object, [&] { return reportOf(network_, object.text()); }));
        if (action.has("save")) save(action.member("save"));
    }

private:
    /// Triggers of editors that are written as actions of their own: {"undo": "editor"}.
    static constexpr const char* Verbs[] = {"select", "unselect", "undo", "redo", "undoMask", "redoMask"};

    /// Changes the network itself.
    void rebuild(const Reader& action) {
        if (action.has("disconnect"))
            for (const Reader& input : action.member("disconnect").oneOrMore())
                placed(input, [&] { network_.disconnect(input.text()); });
        if (action.has("remove"))
            for (const Reader& object : action.member("remove").oneOrMore())
                placed(object, [&] { network_.removeObject(object.text()); });
        if (action.has("add"))
            for (const Reader& object : action.member("add").oneOrMore()) addObject(object);
        if (action.has("connect"))
            for (const Reader& connection : action.member("connect").oneOrMore()) connect(connection);
    }

    void set(const std::string& slot, const Reader& value) {
        placed(value, [&] {
            if (const auto labels = labelsElsewhere(network_, value))
                network_.set(slot, *labels);
            else
                network_.set(slot, value.valueText());
        });
    }

    void draw(const std::string& slot, const Reader& stroke) {
        const Stroke drawn = placed(
            stroke, [&] { return readStroke(stroke, [&](const Reader& json) { return placedPolygons(json); }); });
        placed(stroke, [&] { drawing(stroke, [&] { network_.draw(slot, drawn); }); });
        placed(stroke, [&] { tellMiss(stroke, drawn); });
    }

    /// A stroke that selects nothing is rarely meant.
    void tellMiss(const Reader& stroke, const Stroke& drawn) {
        if (meetsAny(network_.survey(), brushOf(drawn, network_.survey()), network_.watch())) return;
        if (hooks_.strict) throw Failure("no point of the survey is there; nothing of this action was done.");
        if (hooks_.note) hooks_.note(stroke.place() + "no point of the survey is there.");
    }

    /// In the survey's coordinates.
    PolygonSet placedPolygons(const Reader& json) {
        PlacedPolygons placed = polygonsFor(network_.survey().las(), json, hooks_.polygons);
        for (const std::string& notice : placed.notices)
            if (hooks_.note) hooks_.note(json.place() + notice);
        return std::move(placed.polygons);
    }

    /// `suffix` completes the name of what is pressed.
    void press(const Reader& name, const std::string& suffix) {
        const std::string slot = name.text() + suffix;
        placed(name, [&] { network_.press(slot); });
    }

    void save(const Reader& target) {
        if (target.value().is_string()) return placed(target, [&] { hooks_.save(target.text(), false); });
        target.expectKeys({"path", "overwrite"});
        const std::string path = target.member("path").text();
        const bool overwrite = target.has("overwrite") && target.member("overwrite").flag();
        placed(target, [&] { hooks_.save(path, overwrite); });
    }

    Network& network_;
    const NetworkHooks& hooks_;
};

} // namespace

NetworkFile::NetworkFile(const std::string& text, const std::string& name)
    : document_(read([&] { return json::Document(text, name); })) {
    read([&] { root().expectKeys({"$schema", "survey", "objects", "connections", "actions"}); });
}

std::string NetworkFile::surveyPath() const {
    return read([&] { return root().has("survey") ? root().member("survey").text() : std::string(); });
}

void NetworkFile::run(Network& network, const NetworkHooks& hooks) const {
    read([&] {
        SourceNotes(root()).tell(document_.name, hooks);
        Run run(network, hooks);
        const Reader objects = root().member("objects");
        for (const Reader& object : objects.elements()) run.addObject(object);
        if (root().has("connections"))
            for (const Reader& connection : root().member("connections").elements()) run.connect(connection);
        run.begin(objects);
        if (root().has("actions"))
            for (const Reader& action : root().member("actions").elements()) run.act(action);
    });
}

} // namespace corvane
