// SPDX-License-Identifier: Apache-2.0
#include "session/StepList.hpp"

#include "json/Document.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace corvane {
namespace {

using Json = json::Value;

const std::string FilePosition = "filePosition"; // entry of the store
constexpr std::size_t Explained = 200;           // steps of which the actions are read; what is older shows its module

std::string className(int value, const Kesh::LabelSet& labels) {
    const Kesh::Label* label = labels.find(value);
    return label && !label->name.empty() ? fmt::format("{} {}", value, label->name) : std::to_string(value);
}

/// What an action of a network does, in few words.
std::string wordsOf(const Json& action, const Kesh::LabelSet& labels) {
    const std::string pressed = action.contains("press") ? action.at("press").dump() : "";
    if (pressed.find(".applySelection") != std::string::npos)
        for (const auto& [slot, value] : action.at("set").items())
            if (slot.ends_with(".labels")) return className(value.at("selections").at("Assign").get<int>(), labels);
    if (pressed.find(".unselect\"") != std::string::npos) return "Remove";
    return action.contains("draw") ? "Select" : "";
}

/// Empty where the actions do not say it in few words.
std::string wordsFromActions(const std::string& text, const Kesh::LabelSet& labels) {
    try {
        const Json network = Json::parse(text);
        const Json& actions = network.at("actions");
        return actions.empty() ? "" : wordsOf(actions.back(), labels);
    } catch (const Json::exception&) {
        return ""; // of another program, perhaps
    }
}

std::shared_ptr<const HistoryStep> describe(const EditStore& store, StepId id, bool inWords,
                                            const Kesh::LabelSet& labels) {
    const StoredStep step = store.step(id);
    const bool edited = inWords && step.module.starts_with("Edit/MaskedLabels");
    const std::string words = edited ? wordsFromActions(store.actions(step.update), labels) : "";
    return std::make_shared<const HistoryStep>(
        HistoryStep{step.time, words.empty() ? step.module : words, step.module, step.vertices});
}

} // namespace

HistoryList StepLists::of(const EditStore& store, const std::string& field, const Kesh::LabelSet& labels) {
    Known& known = known_[field];
    const std::vector<StepMark> marks = marksOf(store, field);
    const auto differs = std::ranges::mismatch(marks, known.marks, {}, &StepMark::id, &StepMark::id).in1;
    const auto same = static_cast<std::size_t>(differs - marks.begin());
    if (same < marks.size() || same < known.marks.size()) {
        auto steps =
            std::make_shared<HistoryList::Steps>(known.steps->begin(), known.steps->begin() + std::ptrdiff_t(same));
        for (std::size_t i = same; i < marks.size(); ++i)
            steps->push_back(describe(store, marks[i].id, i + Explained >= marks.size(), labels));
        known.steps = std::move(steps);
        known.marks = marks;
    }
    return {known.steps, static_cast<int>(std::ranges::count(marks, true, &StepMark::done))};
}

NamedBytes filePosition(const EditStore& store) {
    Json positions = Json::object();
    for (const StoredField& field : store.fields())
        if (field.origin == Origin::Survey) json::append(positions, field.name, field.present);
    const std::string text = positions.dump(-1, ' ', false, Json::error_handler_t::replace);
    const auto bytes = std::as_bytes(std::span(text));
    return {FilePosition, std::vector<std::byte>(bytes.begin(), bytes.end())};
}

StepId filePositionOf(const EditStore& store, const std::string& field) {
    const auto entry = store.entry(FilePosition);
    if (!entry) return Beginning;
    const std::string text(reinterpret_cast<const char*>(entry->data()), entry->size());
    const Json positions = Json::parse(text, nullptr, false);
    const bool known = positions.is_object() && positions.contains(field) && positions.at(field).is_number_integer();
    return known ? positions.at(field).get<StepId>() : Beginning;
}

std::vector<StepMark> marksOf(const EditStore& store, const std::string& field) {
    return store.findField(field) ? store.marks(field) : std::vector<StepMark>();
}

int stepsBehind(const std::vector<StepMark>& steps, StepId step) {
    int apart = 0;
    bool isThere = step == Beginning;
    StepId oldest = step;
    for (const StepMark& stored : steps) {
        apart += stored.done != (stored.id <= step);
        isThere = isThere || stored.id == step;
        oldest = std::min(oldest, stored.id);
    }
    const bool vanished = !isThere && oldest < step; // it was undone, and something else was done
    return apart + vanished;
}

} // namespace corvane
