// SPDX-License-Identifier: Apache-2.0
// corvane patch and apply: all edits of a survey as one small file, and from there onto a copy of it, LAS or LAZ.
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"
#include "network/FieldRange.hpp"
#include "store/EditPatch.hpp"

#include <fmt/format.h>

#include <ctime>

namespace corvane {
namespace {

struct PatchArguments {
    std::string survey, patch;
    bool overwrite = false, reverse = false, unsaved = false;
};

void write(const GlobalOptions& options, const PatchArguments& arguments) {
    checkMayWrite(arguments.patch, arguments.overwrite);
    const EditStore store = openEdits(options, arguments.survey, EditStore::Access::Read);
    const Survey survey(arguments.survey);
    PatchWriter patch(arguments.patch, survey.las().header.pointCount, arguments.overwrite);
    std::uint64_t changed = 0;
    for (const StoredField& field : store.fields()) {
        if (field.origin != Origin::Survey) continue; // masks stay
        patch.beginField(field.name, field.width);
        for (const std::uint32_t fragment : store.changedFragments(field.name))
            if (const auto change = arguments.unsaved ? store.changeFromOrigin(field.name, fragment, field.present)
                                                      : store.changeOfAll(field.name, fragment)) {
                patch.add(survey.ranges().at(fragment).first, *change);
                changed += change->changed();
            }
    }
    Terminal terminal(options.quiet);
    for (const std::string& loss : patch.commit()) terminal.warn(fmt::format("{}: {}", arguments.patch, loss));
    fmt::print("wrote {}: {} changed\n", escaped(arguments.patch), pointsText(changed));
}

/// What the patch does to a fragment, checked against the values that are there.
std::optional<FragmentChange> changeFor(const EditPatch& patch, std::size_t number, const Survey& survey,
                                        std::uint32_t fragment, bool reverse) {
    const EditPatch::Field& patched = patch.fields()[number];
    const PointRange& range = survey.ranges()[fragment];
    auto change = patch.change(number, range.first, static_cast<std::uint32_t>(range.count));
    if (!change || change->empty()) return std::nullopt;
    if (reverse) change = change->inverted();
    const auto field = survey.points().findField(patched.name);
    const auto values = field->getData(field->fragments().at(fragment).id)->copy();
    std::optional<FragmentChange::Mismatch> mismatch;
    Fiber::visitArray<std::uint8_t, std::uint16_t>(
        *values, [&](auto& array) { mismatch = change->apply(std::as_writable_bytes(array.writableValues())); });
    if (mismatch)
        throw Failure(fmt::format("{}: {} of point {} is {} where the patch {} replaces {}; nothing was changed. The "
                                  "patch belongs to another survey, or to another state of this one.",
                                  survey.path(), patched.name, range.first + mismatch->point, mismatch->found,
                                  patch.path(), mismatch->expected));
    return change;
}

Commit::Step stepFor(const EditPatch& patch, std::size_t number, const Survey& survey, bool reverse) {
    const EditPatch::Field& patched = patch.fields()[number];
    const SurveyField& field = survey.findField(patched.name);
    const auto held = survey.points().findField(field.name);
    const int width = held->getElementType() == typeid(std::uint16_t) ? 2 : 1;
    if (field.name != patched.name || largestValueOf(survey, field) == 0 || width != patched.width)
        throw Failure(fmt::format("{}: changes a field \"{}\" of {} bytes a value, which {} does not have.",
                                  patch.path(), patched.name, patched.width, survey.path()));
    Commit::Step step{field.name, std::time(nullptr), "patch", patch.path() + (reverse ? " --reverse" : ""), 0, {}};
    for (std::uint32_t fragment = 0; fragment < survey.ranges().size(); ++fragment)
        if (auto change = changeFor(patch, number, survey, fragment, reverse)) {
            step.vertices += change->changed();
            step.changes.push_back({fragment, std::move(*change)});
        }
    return step;
}

/// All or nothing: everything is checked before anything is stored.
void apply(const GlobalOptions& options, const PatchArguments& arguments) {
    const EditPatch patch(arguments.patch);
    CommandSession session(options);
    const EditedSurvey edited = session.openToEdit(arguments.survey);
    const Survey& survey = *edited.survey;
    if (survey.las().header.pointCount != patch.points())
        throw Failure(fmt::format("{}: is for a survey of {} points; {} has {}.", arguments.patch, patch.points(),
                                  arguments.survey, survey.las().header.pointCount));
    EditStore& store = edited.keeper->store();
    Commit commit;
    commit.update = Commit::Update{std::time(nullptr), "{}"};
    std::uint64_t changed = 0;
    for (std::size_t i = 0; i < patch.fields().size(); ++i) {
        Commit::Step step = stepFor(patch, i, survey, arguments.reverse);
        if (step.changes.empty()) continue;
        changed += step.vertices;
        if (!store.findField(step.field))
            commit.begun.push_back({step.field, patch.fields()[i].width, Origin::Survey, Beginning});
        commit.steps.push_back(std::move(step));
    }
    if (!commit.steps.empty()) store.commit(commit);
    const std::string kept = store.path();
    edited.keeper->close();
    fmt::print("{} changed\nkept in {}\n", pointsText(changed), escaped(kept));
}

} // namespace

void addPatch(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "patch", "Write all edits that are kept of a survey as one small file, for somebody who has a copy of it.");
    const auto arguments = std::make_shared<PatchArguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    command->add_option("OUT", arguments->patch, "The patch to write")->required();
    command->add_flag("--unsaved", arguments->unsaved,
                      "Only what FILE does not have: without the edits that were saved in place");
    command->add_flag("--overwrite", arguments->overwrite, "Replace OUT if it exists");
    command->callback([&options, arguments] { write(options, *arguments); });
    command->footer("The patch is for a copy of FILE from before the first edit that is kept, also when FILE was saved "
                    "in place since. Examples:\n  corvane patch tile.laz tile.patch\n"
                    "  corvane patch tile.laz more.patch --unsaved");
}

void addApply(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "apply", "Do what a patch says, and keep it beside the survey as one edit that can be undone. Every point is "
                 "checked before anything changes.");
    const auto arguments = std::make_shared<PatchArguments>();
    command->add_option("FILE", arguments->survey, "The survey: the same points as those of the patch, LAS or LAZ")
        ->required();
    command->add_option("PATCH", arguments->patch, "The patch")->required();
    command->add_flag("--reverse", arguments->reverse, "Take back what the patch says");
    command->callback([&options, arguments] { apply(options, *arguments); });
    command->footer("Examples:\n  corvane apply tile.las tile.patch\n  corvane apply tile.las tile.patch --reverse");
}

} // namespace corvane
