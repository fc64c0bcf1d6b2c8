// SPDX-License-Identifier: Apache-2.0
// corvane restore: what was edited as it was before, or as another delivery of the points has it; as one more edit.
#include "command/EditCommand.hpp"
#include "network/RestoreValues.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

struct RestoreArguments : EditArguments {
    std::string other;
};

/// Without edits there is nothing to go back to, and of those of the other file nothing is taken.
void checkStores(const GlobalOptions& options, const RestoreArguments& arguments) {
    if (arguments.other.empty()) {
        if (const std::string path = editStorePath(arguments.in, options.edits); !EditStore::exists(path))
            throw Failure(fmt::format("{}: no edits are kept of this survey, so there is nothing to restore: there is "
                                      "no {}. Give --values-of for the values of another file.",
                                      arguments.in, path));
        return;
    }
    if (const std::string path = editStorePath(arguments.other, {}); EditStore::exists(path))
        Terminal(options.quiet)
            .note(fmt::format("{}: the values are taken as the file has them, without the edits in "
                              "{}.",
                              arguments.other, path));
}

std::optional<EditResult> run(const GlobalOptions& options, const RestoreArguments& arguments) {
    checkStores(options, arguments);
    GlobalOptions withHistory = options; // a dry run goes back through it, too
    withHistory.edits.history = true;
    SurveyEdit edit(withHistory, arguments);
    const auto* const history = edit.survey().points().histories().find(edit.field().name);
    if (arguments.other.empty() && (!history || history->done == 0))
        throw Failure(fmt::format("{}: no edit of {} is kept that could be undone, so nobody knows what was before. "
                                  "Give --values-of for the values of another file.",
                                  arguments.in, edit.field().name));
    edit.addEditor(RestoreValuesType);
    edit.network().set("editor.values", arguments.other);
    if (edit.limit()) edit.draw(allWithin(edit.limit()));
    edit.network().press("editor.restore");
    edit.act();
    return edit.finish(nullptr);
}

} // namespace

void addRestore(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "restore", "Give points the values back that they had before all edits that are kept of the survey, inside "
                   "limits or everywhere; or those that another file of the same points has. It is kept as one more "
                   "edit, which can be undone.");
    const auto survey = std::make_shared<std::string>();
    const auto arguments = std::make_shared<RestoreArguments>();
    command->add_option("FILE", *survey, "The survey")->required();
    command->add_option("--values-of", arguments->other, "Another file of the same points, whose values they get");
    const EditJob job = [arguments](const GlobalOptions& given) { return run(given, *arguments); };
    makeKeptEditCommand(*command, options, *arguments, job, survey);
    command->footer(R"(Examples:
  corvane restore tile.laz --within too-much.geojson
  corvane restore tile.laz --values-of delivery1.laz --where "Z > 400")");
}

} // namespace corvane
