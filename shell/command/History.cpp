// SPDX-License-Identifier: Apache-2.0
// corvane history, undo, redo: what is kept of the edits of a survey, and the way back and forth through it.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"
#include "network/ReplayNetwork.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>

namespace corvane {
namespace {

struct Arguments {
    std::string survey;
    unsigned count = 1;
    bool network = false;
};

/// An update with its steps, those of masks among them.
struct Entry {
    StoredUpdate update;
    std::vector<StoredStep> steps;

    bool done() const { return steps.front().done; }
};

/// The oldest first.
std::vector<Entry> entriesOf(const EditStore& store) {
    std::map<UpdateId, Entry> entries;
    for (StoredUpdate& update : store.updates()) entries[update.id].update = std::move(update);
    for (StoredStep& step : store.steps()) entries[step.update].steps.push_back(std::move(step));
    std::vector<Entry> list;
    for (auto& [id, entry] : entries)
        if (!entry.steps.empty()) list.push_back(std::move(entry));
    return list;
}

Json asJson(const Entry& entry) {
    Json steps = Json::array();
    for (const StoredStep& step : entry.steps)
        steps.push_back({{"field", step.field},
                         {"module", step.module},
                         {"parameters", step.parameters},
                         {"points", step.vertices}});
    return {{"time", entry.update.time}, {"done", entry.done()}, {"steps", steps}};
}

void print(const std::vector<Entry>& entries) {
    printHead(fmt::format("{:>5}  {:<19}  {:>12}  {:<20}  {}", "", "time", "points", "field", "by"));
    bool present = false;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!entries[i].done() && !present) fmt::print("------ the present; what follows is undone\n");
        present |= !entries[i].done();
        std::string number = std::to_string(i + 1);
        for (const StoredStep& step : entries[i].steps) {
            fmt::print("{:>5}  {:<19}  {:>12}  {:<20}  {}\n", number, timeText(step.time), step.vertices,
                       escaped(step.field), escaped(step.module));
            number.clear();
        }
    }
}

/// What does the edits again on another survey, up to the present.
void printNetwork(const EditStore& store, const std::vector<Entry>& entries) {
    std::vector<Json> updates;
    for (const Entry& entry : entries) {
        if (!entry.done()) continue;
        const Json update = Json::parse(store.actions(entry.update.id), nullptr, false);
        if (!update.is_object() || !update.contains("actions"))
            throw Failure(fmt::format("{}: the edit of {} by {} was not done by a network, so none can do it again.",
                                      store.path(), timeText(entry.update.time), entry.steps.front().module));
        updates.push_back(update);
    }
    printJson(replayNetwork(updates));
}

void show(const GlobalOptions& options, const Arguments& arguments, bool json) {
    const EditStore store = openEdits(options, arguments.survey, EditStore::Access::Read);
    const std::vector<Entry> entries = entriesOf(store);
    if (arguments.network) return printNetwork(store, entries);
    if (json) {
        Json list = Json::array();
        for (const Entry& entry : entries) list.push_back(asJson(entry));
        return printJson({{"survey", arguments.survey}, {"store", store.path()}, {"history", list}});
    }
    if (entries.empty()) return fmt::print("{}: nothing is kept that could be undone\n", escaped(arguments.survey));
    print(entries);
}

enum class Way { Back, Forth };

void go(const GlobalOptions& options, const Arguments& arguments, Way way) {
    EditStore store = openEdits(options, arguments.survey, EditStore::Access::Write);
    std::vector<Entry> entries = entriesOf(store);
    if (way == Way::Back) std::ranges::reverse(entries);
    std::erase_if(entries, [&](const Entry& entry) { return entry.done() != (way == Way::Back); });
    const char* const what = way == Way::Back ? "undone" : "done again";
    if (entries.empty()) throw Failure(fmt::format("{}: there is no edit that could be {}.", arguments.survey, what));
    if (entries.size() < arguments.count)
        throw Failure(fmt::format("{}: only {} edit{} can be {}, not {}; nothing was changed.", arguments.survey,
                                  entries.size(), entries.size() == 1 ? "" : "s", what, arguments.count));
    entries.resize(arguments.count);
    Commit commit;
    for (Entry& entry : entries) {
        if (way == Way::Back) std::ranges::reverse(entry.steps);
        for (const StoredStep& step : entry.steps)
            (way == Way::Back ? commit.undone : commit.redone).push_back(step.id);
    }
    store.commit(commit);
    store.close();
    for (const Entry& entry : entries)
        for (const StoredStep& step : entry.steps)
            fmt::print("{}: {} of {} by {}\n", what, pointsText(step.vertices), escaped(step.field),
                       escaped(step.module));
}

void addWay(CLI::App& program, const GlobalOptions& options, Way way) {
    CLI::App* command =
        way == Way::Back
            ? program.add_subcommand("undo", "Take back the last edit that is kept of a survey, or several.")
            : program.add_subcommand("redo", "Do again what was undone last, or several edits.");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    command->add_option("N", arguments->count, "How many edits")
        ->check(CLI::Range(1u, 1000000u))
        ->capture_default_str();
    command->callback([&options, arguments, way] { go(options, *arguments, way); });
    command->footer(way == Way::Back ? "Examples:\n  corvane undo tile.laz\n  corvane undo tile.laz 3"
                                     : "Examples:\n  corvane redo tile.laz\n  corvane redo tile.laz 3");
}

} // namespace

void addHistory(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "history", "List the edits that are kept of a survey: when, by which module, how many points.");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    command->add_flag("--network", arguments->network,
                      "Print a network file that does the edits again, on another survey");
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] { show(options, *arguments, *json); });
    command->footer("Examples:\n  corvane history tile.laz\n  corvane history tile.laz --network > again.json\n"
                    "  corvane run again.json --survey other.laz --save fixed.laz");
}

void addUndo(CLI::App& program, const GlobalOptions& options) { addWay(program, options, Way::Back); }
void addRedo(CLI::App& program, const GlobalOptions& options) { addWay(program, options, Way::Forth); }

} // namespace corvane
