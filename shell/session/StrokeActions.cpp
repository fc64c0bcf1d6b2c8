// SPDX-License-Identifier: Apache-2.0
#include "session/StrokeActions.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace corvane {
namespace {

constexpr char Strokes[] = "strokes", Update[] = "update";

bool isNetwork(const json::Value& actions) { return actions.is_object() && actions.contains("actions"); }

bool contains(const auto& range, const auto& value) { return std::ranges::find(range, value) != range.end(); }

/// The updates that go, of which all that is done are strokes: their masks were not undone.
std::set<UpdateId> strokesThatGo(const EditStore& store, const Commit& commit) {
    std::set<std::string> masks;
    for (const StoredField& field : store.fields())
        if (field.origin == Origin::Zeros) masks.insert(field.name);
    std::set<UpdateId> going, staying;
    for (const StoredStep& step : store.steps()) {
        const bool goes = contains(commit.ended, step.field) || contains(commit.gone, step.id);
        if (!goes || !masks.contains(step.field))
            staying.insert(step.update);
        else if (step.done)
            going.insert(step.update);
    }
    std::erase_if(going, [&](UpdateId update) { return staying.contains(update); });
    return going;
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

} // namespace

std::string withStrokes(const EditStore& store, const Commit& commit, const std::string& actions) {
    if ((commit.ended.empty() && commit.gone.empty()) || !editsData(store, commit)) return actions;
    const std::set<UpdateId> updates = strokesThatGo(store, commit);
    if (updates.empty()) return actions;
    json::Value edit = json::Value::parse(actions, nullptr, false);
    if (!isNetwork(edit)) return actions;
    edit[Strokes] = json::Value::array();
    for (const UpdateId update : updates) {
        std::string text;
        try {
            text = store.actions(update);
        } catch (const Failure&) { // damaged: an edit is none the worse for it
        }
        json::Value stroke = json::Value::parse(text, nullptr, false);
        if (!isNetwork(stroke)) return "{}";
        stroke[Update] = update;
        edit[Strokes].push_back(std::move(stroke));
    }
    return edit.dump(-1, ' ', false, json::Value::error_handler_t::replace);
}

void addActions(std::map<UpdateId, json::Value>& updates, UpdateId update, json::Value actions) {
    if (actions.contains(Strokes))
        for (json::Value& stroke : actions[Strokes]) {
            const UpdateId number = stroke.at(Update).get<UpdateId>();
            updates[number] = std::move(stroke);
        }
    actions.erase(Strokes);
    updates[update] = std::move(actions);
}

} // namespace corvane
