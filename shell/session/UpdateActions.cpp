// SPDX-License-Identifier: Apache-2.0
// Updates are done again in the order in which they were done at first. That comes to the same only if each of them
// finds what it found then: an undo of one field in between, of a selection or of an edit that a selection looked at,
// changes that. So with each update stands the last step of each field that was done when it began, and where another
// one would be, the update is refused.
#include "session/UpdateActions.hpp"

#include "base/Failure.hpp"
#include "base/Text.hpp"
#include "network/ReplayNetwork.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace corvane {
namespace {

using Json = json::Value;
using Steps = std::map<std::string, StepId>; // of each field the last one

constexpr char Found[] = "present", Ended[] = "ended", Strokes[] = "strokes", Update[] = "update", Made[] = "steps";

bool isNetwork(const Json& actions) { return actions.is_object() && actions.contains("actions"); }

bool contains(const auto& range, const auto& value) { return std::ranges::find(range, value) != range.end(); }

/// Masks begin empty, fields of the survey do not.
std::set<std::string> masksOf(const EditStore& store) {
    std::set<std::string> masks;
    for (const StoredField& field : store.fields())
        if (field.origin == Origin::Zeros) masks.insert(field.name);
    return masks;
}

/// An edit of data, and not a selection that takes the place of another.
bool editsData(const EditStore& store, const Commit& commit) {
    return std::ranges::any_of(commit.steps, [&](const Commit::Step& step) {
        const auto isIt = [&](const auto& begun) { return begun.name == step.field; };
        const auto begun = std::ranges::find_if(commit.begun, isIt);
        const auto known = store.findField(step.field);
        return (begun != commit.begun.end() ? begun->origin : known ? known->origin : Origin::Zeros) == Origin::Survey;
    });
}

/// What was done before the commit's own steps: an action may have gone back and forth first.
Steps foundBy(const EditStore& store, const Commit& commit) {
    Steps found;
    if (commit.undone.empty() && commit.redone.empty()) {
        for (const StoredField& field : store.fields())
            if (field.present != Beginning) found[field.name] = field.present;
        return found;
    }
    const std::set<StepId> undone(commit.undone.begin(), commit.undone.end());
    const std::set<StepId> redone(commit.redone.begin(), commit.redone.end());
    for (const StoredField& field : store.fields())
        for (const StepMark& step : store.marks(field.name))
            if (redone.contains(step.id) || (step.done && !undone.contains(step.id))) found[field.name] = step.id;
    return found;
}

/// The strokes of the selection that goes, by their updates: those whose masks were not undone. None where something
/// else belongs to one of these updates, which may stay, or go another way.
std::optional<std::map<UpdateId, Steps>> strokesThatGo(const EditStore& store, const Commit& commit) {
    const std::set<std::string> masks = masksOf(store);
    std::map<UpdateId, Steps> going;
    const std::set<StepId> gone(commit.gone.begin(), commit.gone.end());
    std::vector<UpdateId> others;
    for (const StoredField& field : store.fields()) {
        const bool all = contains(commit.ended, field.name), isMask = masks.contains(field.name);
        for (const StepMark& step : store.marks(field.name)) {
            if (isMask && step.done && (all || gone.contains(step.id)))
                going[step.update][field.name] = step.id;
            else
                others.push_back(step.update);
        }
    }
    const auto goes = [&](UpdateId update) { return going.contains(update); };
    if (std::ranges::any_of(others, goes)) return std::nullopt;
    return going;
}

/// Whether the strokes that are kept of a mask say how it came to what it holds.
bool isExplained(const EditStore& store, const std::string& mask) {
    return !store.hasBase(mask) && !store.attributes(mask).contains(UnexplainedMask);
}

/// As a list; none where they cannot be done again.
std::optional<Json> strokesOf(const EditStore& store, const Commit& commit) {
    for (const std::string& mask : masksOf(store))
        if (contains(commit.ended, mask) && !isExplained(store, mask)) return std::nullopt;
    const auto going = strokesThatGo(store, commit);
    if (!going) return std::nullopt;
    Json strokes = Json::array();
    for (const auto& [update, steps] : *going) {
        std::string text;
        try {
            text = store.actions(update);
        } catch (const Failure&) { // damaged: the edit itself is none the worse for it
        }
        Json stroke = Json::parse(text, nullptr, false);
        if (!isNetwork(stroke)) return std::nullopt;
        stroke[Update] = update;
        stroke[Made] = steps;
        strokes.push_back(std::move(stroke));
    }
    return strokes;
}

/// An update that is to be done again.
struct Replayed {
    Json actions;
    Steps steps;     // that it made
    std::string who; // for sentences
};

using Replay = std::map<UpdateId, Replayed>;

[[noreturn]] void refuse(const EditStore& store, const std::string& what) {
    throw Failure(fmt::format("{}: {}. corvane patch carries what all edits came to.", store.path(), what));
}

/// The strokes of its selection come under numbers of their own, since other edits may lie between.
void add(Replay& replay, UpdateId update, Replayed replayed) {
    if (replayed.actions.contains(Strokes))
        for (Json& stroke : replayed.actions[Strokes]) {
            const UpdateId number = stroke.at(Update).get<UpdateId>();
            Steps steps = stroke.contains(Made) ? stroke.at(Made).get<Steps>() : Steps();
            replay[number] = {std::move(stroke), std::move(steps), "a selection for " + replayed.who};
        }
    replayed.actions.erase(Strokes);
    replay[update] = std::move(replayed);
}

Replay updatesDone(const EditStore& store) {
    std::map<UpdateId, std::vector<StoredStep>> made;
    for (StoredStep& step : store.steps()) made[step.update].push_back(std::move(step));
    Replay replay;
    for (const auto& [update, steps] : made) {
        if (std::ranges::none_of(steps, &StoredStep::done)) continue;
        Replayed replayed;
        replayed.who = fmt::format("the edit of {} by {}", timeText(steps.front().time), steps.front().module);
        if (!std::ranges::all_of(steps, &StoredStep::done))
            refuse(store, fmt::format("of {} a part is undone, so no network does the rest again", replayed.who));
        for (const StoredStep& step : steps) replayed.steps[step.field] = step.id;
        replayed.actions = Json::parse(store.actions(update), nullptr, false);
        if (!isNetwork(replayed.actions))
            refuse(store, fmt::format("{} cannot be done again: no network did it, or what led to its selection is "
                                      "not kept",
                                      replayed.who));
        add(replay, update, std::move(replayed));
    }
    return replay;
}

/// What the fields of the survey were when the first update began. Steps from before that are the survey's own.
Steps beginning(const EditStore& store, const Replay& replay) {
    Steps first, mentioned;
    const std::set<std::string> masks = masksOf(store);
    for (const StoredField& field : store.fields()) {
        if (masks.contains(field.name)) continue;
        for (const auto& [update, replayed] : replay) {
            const Json& found = replayed.actions.at(Found);
            const StepId step = found.value(field.name, Beginning);
            mentioned.try_emplace(field.name, step);
            if (replayed.steps.contains(field.name)) first.try_emplace(field.name, step);
        }
    }
    for (const StoredStep& step : store.steps()) // what is undone was not there before all
        if (const auto known = mentioned.find(step.field); known != mentioned.end() && known->second == step.id)
            known->second = Beginning;
    first.merge(mentioned);
    std::erase_if(first, [](const auto& field) { return field.second == Beginning; });
    return first;
}

/// Each of them must find what it found.
void compareStates(const EditStore& store, const Replay& replay) {
    if (!std::ranges::all_of(replay, [](const auto& r) { return r.second.actions.contains(Found); })) return; // older
    Steps present = beginning(store, replay);
    for (const auto& [update, replayed] : replay) {
        if (replayed.actions.at(Found).get<Steps>() != present)
            refuse(store, fmt::format("{} found other steps done than it would find when all are done in their order, "
                                      "so it could change other points",
                                      replayed.who));
        if (replayed.actions.contains(Ended))
            for (const Json& mask : replayed.actions.at(Ended)) present.erase(mask.get<std::string>());
        for (const auto& [field, step] : replayed.steps) present[field] = step;
    }
}

} // namespace

std::string actionsToKeep(const EditStore& store, const Commit& commit, const std::string& actions) {
    const std::size_t end = actions.rfind('}');
    if (end == actions.npos || actions.find("\"actions\"") == actions.npos) return "{}";
    Json kept{{Found, foundBy(store, commit)}};
    if (!commit.ended.empty()) kept[Ended] = commit.ended;
    if (editsData(store, commit) && !(commit.ended.empty() && commit.gone.empty())) {
        std::optional<Json> strokes = strokesOf(store, commit);
        if (!strokes) return "{}";
        if (!strokes->empty()) kept[Strokes] = std::move(*strokes);
    } else { // a selection that another one takes the place of is not looked at
        for (const std::string& mask : masksOf(store))
            if (contains(commit.ended, mask) || contains(commit.gone, kept[Found].value(mask, Beginning)))
                kept[Found].erase(mask);
    }
    // Spliced: polygons of edits are long.
    const std::string text = kept.dump(-1, ' ', false, Json::error_handler_t::replace);
    return actions.substr(0, end) + "," + text.substr(1);
}

Json replayOf(const EditStore& store) {
    const Replay replay = updatesDone(store);
    try {
        compareStates(store, replay);
    } catch (const Json::exception& problem) {
        refuse(store, fmt::format("what the actions of an edit found cannot be understood: {}", problem.what()));
    }
    std::vector<Json> updates;
    for (const auto& [update, replayed] : replay) updates.push_back(replayed.actions);
    return replayNetwork(updates);
}

} // namespace corvane
