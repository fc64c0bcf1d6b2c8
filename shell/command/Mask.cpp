// SPDX-License-Identifier: Apache-2.0
// corvane mask: the points that are selected in the masks kept of a survey.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <ranges>

namespace corvane {
namespace {

struct MaskArguments {
    std::string survey;
    bool clear = false, undo = false, redo = false;
};

std::vector<StoredField> masksOf(const EditStore& store) {
    std::vector<StoredField> masks = store.fields();
    std::erase_if(masks, [](const StoredField& field) { return field.origin != Origin::Zeros; });
    return masks;
}

/// The last step of a mask that is done, or the first that is undone.
void move(EditStore& store, const std::vector<StoredField>& masks, bool back) {
    std::vector<StoredStep> steps;
    for (const StoredField& mask : masks)
        for (StoredStep& step : store.steps(mask.name))
            if (step.done == back) steps.push_back(std::move(step));
    if (steps.empty())
        throw Failure(
            fmt::format("{}: no selection is there that could be {}.", store.path(), back ? "undone" : "done again"));
    const StoredStep step = back ? *std::ranges::max_element(steps, {}, &StoredStep::id)
                                 : *std::ranges::min_element(steps, {}, &StoredStep::id);
    Commit commit;
    (back ? commit.undone : commit.redone) = {step.id};
    store.commit(commit);
}

void clear(EditStore& store, const std::vector<StoredField>& masks) {
    Commit commit;
    for (const StoredField& mask : masks) commit.ended.push_back(mask.name);
    store.commit(commit);
}

std::uint64_t selectedIn(const EditStore& store, const StoredField& mask) {
    std::uint64_t selected = 0;
    for (const std::uint32_t fragment : store.changedFragments(mask.name))
        if (const auto change = store.changeFromOrigin(mask.name, fragment, mask.present))
            selected += static_cast<std::uint64_t>(
                std::ranges::count_if(change->after(), [](std::byte value) { return value != std::byte{0}; }));
    return selected;
}

void run(const GlobalOptions& options, const MaskArguments& arguments, bool json) {
    const bool writes = arguments.clear || arguments.undo || arguments.redo;
    EditStore store = openEdits(options, arguments.survey, writes ? EditStore::Access::Write : EditStore::Access::Read);
    if (arguments.clear) clear(store, masksOf(store));
    if (arguments.undo || arguments.redo) move(store, masksOf(store), arguments.undo);
    Json masks = Json::array();
    for (const StoredField& mask : masksOf(store)) {
        masks.push_back({{"mask", mask.name}, {"selected", selectedIn(store, mask)}});
        if (!json)
            fmt::print("{}: {} selected\n", escaped(mask.name),
                       pointsText(masks.back()["selected"].get<std::uint64_t>()));
    }
    if (json)
        printJson({{"survey", arguments.survey}, {"masks", masks}});
    else if (masks.empty())
        fmt::print("{}: nothing is selected\n", escaped(arguments.survey));
    if (writes) store.close();
}

} // namespace

void addMask(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "mask", "Say how many points are selected in the masks that are kept of a survey, clear them, or undo a "
                "selection.");
    const auto arguments = std::make_shared<MaskArguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    CLI::Option* clear = command->add_flag("--clear", arguments->clear, "Select nothing, and forget how it was");
    CLI::Option* undo = command->add_flag("--undo", arguments->undo, "Take back the last selection")->excludes(clear);
    command->add_flag("--redo", arguments->redo, "Do again what was undone last")->excludes(clear)->excludes(undo);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] { run(options, *arguments, *json); });
    command->footer("Examples:\n  corvane mask tile.laz\n  corvane mask tile.laz --undo");
}

} // namespace corvane
