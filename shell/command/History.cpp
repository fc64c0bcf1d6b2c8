// SPDX-License-Identifier: Apache-2.0
// corvane history, undo, redo: what is kept of the edits of a survey, and the way back and forth through it.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"
#include "session/UpdateActions.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <map>

namespace corvane {
namespace {

struct HistoryArguments {
    std::string survey, older;
    unsigned count = 1;
    bool network = false, drop = false;
};

/// An update with its steps, those of masks among them.
struct Entry {
    StoredUpdate update;
    std::vector<StoredStep> steps;

    /// Any of it: a selection may have been undone by itself.
    bool done() const { return std::ranges::any_of(steps, &StoredStep::done); }
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
                         {"points", step.vertices},
                         {"done", step.done}});
    return {{"time", entry.update.time}, {"done", entry.done()}, {"steps", steps}};
}

/// Those of the edit; the field stands in the table, and the depth is always the same.
std::string parametersText(const StoredStep& step) {
    std::string text = step.parameters;
    for (const std::string& known : {"labelfield=" + step.field, fmt::format("undodepth={}", KeptSteps)})
        if (const std::size_t at = text.find(known); at != text.npos)
            text.erase(at, known.size() + (text.size() > at + known.size() ? 1 : 0));
    return text;
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
            if (const std::string text = parametersText(step); !text.empty())
                fmt::print("{:>5}  {}\n", "", escaped(text));
            number.clear();
        }
    }
}

void show(const GlobalOptions& options, const HistoryArguments& arguments, bool json) {
    const EditStore store = openEdits(options, arguments.survey, EditStore::Access::Read);
    if (arguments.network) return printJson(replayOf(store));
    const std::vector<Entry> entries = entriesOf(store);
    if (json) {
        Json list = Json::array();
        for (const Entry& entry : entries) list.push_back(asJson(entry));
        return printJson({{"survey", arguments.survey}, {"store", store.path()}, {"history", list}});
    }
    if (entries.empty()) return fmt::print("{}: nothing is kept that could be undone\n", escaped(arguments.survey));
    print(entries);
}

/// Seconds since 1970 of a time of this place: "2026-03-12", "2026-03-12 14:03" or "2026-03-12 14:03:59".
std::int64_t parseTime(const std::string& text) {
    for (const char* format : {"%Y-%m-%d", "%Y-%m-%d %H:%M", "%Y-%m-%d %H:%M:%S"}) {
        std::tm time{};
        time.tm_isdst = -1; // whether it is summer is for the system to know
        const char* const end = strptime(text.c_str(), format, &time);
        const int day = time.tm_mday;
        const std::time_t seconds = std::mktime(&time);
        if (end && *end == '\0' && time.tm_mday == day) return seconds; // the 31st of June is another day
    }
    throw UsageError(
        fmt::format("--older: \"{}\" is no date; write 2026-03-12, or 2026-03-12 14:03 for a time of that day.", text));
}

/// Steps that go leave their changes where they are done.
Commit droppingOf(const EditStore& store, const std::string& older) {
    const std::int64_t limit = older.empty() ? 0 : parseTime(older);
    Commit commit;
    for (const StoredField& field : store.fields()) {
        std::vector<StepId> undone;
        for (const StoredStep& step : store.steps(field.name)) {
            if (!older.empty() && (!step.done || step.time >= limit)) break;
            (step.done ? commit.gone : undone).push_back(step.id);
        }
        commit.gone.insert(commit.gone.end(), undone.rbegin(), undone.rend());
    }
    return commit;
}

/// Fields of which nothing is kept any more.
Commit endingOf(const EditStore& store) {
    Commit commit;
    for (const StoredField& field : store.fields())
        if (store.changedFragments(field.name).empty() && store.attributes(field.name).empty())
            commit.ended.push_back(field.name);
    return commit;
}

void drop(const GlobalOptions& options, const HistoryArguments& arguments, bool json) {
    if (!arguments.older.empty()) parseTime(arguments.older);
    EditStore store = openEdits(options, arguments.survey, EditStore::Access::Write);
    const std::size_t before = entriesOf(store).size();
    const std::uintmax_t bytes = std::filesystem::file_size(store.path());
    store.commit(droppingOf(store, arguments.older));
    store.commit(endingOf(store));
    const std::size_t left = entriesOf(store).size();
    const bool empty = store.fields().empty();
    store.shrink();
    store.close();
    if (empty) EditStore::remove(store.path());
    const std::uintmax_t now = empty ? 0 : std::filesystem::file_size(store.path());
    if (json)
        return printJson({{"survey", arguments.survey},
                          {"store", store.path()},
                          {"forgotten", before - left},
                          {"left", left},
                          {"bytesBefore", bytes},
                          {"bytes", now}});
    fmt::print("forgot how {} of {} edits were made; {} had {} bytes and has {}\n", before - left, before,
               escaped(store.path()), bytes, now);
}

enum class Way { Back, Forth };

void go(const GlobalOptions& options, const HistoryArguments& arguments, Way way) {
    EditStore store = openEdits(options, arguments.survey, EditStore::Access::Write);
    std::vector<Entry> entries = entriesOf(store);
    if (way == Way::Back) std::ranges::reverse(entries);
    const auto isMeant = [&](const StoredStep& step) { return step.done == (way == Way::Back); };
    std::erase_if(entries, [&](const Entry& entry) { return std::ranges::none_of(entry.steps, isMeant); });
    const char* const what = way == Way::Back ? "undone" : "done again";
    if (entries.empty()) throw Failure(fmt::format("{}: there is no edit that could be {}.", arguments.survey, what));
    if (entries.size() < arguments.count)
        throw Failure(fmt::format("{}: only {} edit{} can be {}, not {}; nothing was changed.", arguments.survey,
                                  entries.size(), entries.size() == 1 ? "" : "s", what, arguments.count));
    entries.resize(arguments.count);
    Commit commit;
    for (Entry& entry : entries) {
        if (way == Way::Back) std::ranges::reverse(entry.steps);
        std::erase_if(entry.steps, [&](const StoredStep& step) { return !isMeant(step); });
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
    const auto arguments = std::make_shared<HistoryArguments>();
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
    const auto arguments = std::make_shared<HistoryArguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    CLI::Option* network = command->add_flag("--network", arguments->network,
                                             "Print a network file that does the edits again, on another survey");
    CLI::Option* drop = command->add_flag(
        "--drop", arguments->drop, "Forget how it came to the present: the edits stay, and cannot be undone any more");
    drop->excludes(network);
    command->add_option("--older", arguments->older, "Only the edits from before this date, such as 2026-03-12")
        ->needs(drop);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        arguments->drop ? ::corvane::drop(options, *arguments, *json) : show(options, *arguments, *json);
    });
    command->footer("Examples:\n  corvane history tile.laz\n  corvane history tile.laz --network > again.json\n"
                    "  corvane run again.json --survey other.laz --save fixed.laz\n"
                    "  corvane history tile.laz --drop --older 2026-03-01");
}

void addUndo(CLI::App& program, const GlobalOptions& options) { addWay(program, options, Way::Back); }
void addRedo(CLI::App& program, const GlobalOptions& options) { addWay(program, options, Way::Forth); }

} // namespace corvane
