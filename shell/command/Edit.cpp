// SPDX-License-Identifier: Apache-2.0
// corvane edit: edits that are kept beside the survey, which stays as it is until somebody saves.
#include "command/Commands.hpp"

namespace corvane {

void addEdit(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "edit",
        "Edit a survey without writing it: what changes is kept beside it, in FILE.edits, with its history, and "
        "every command sees it. `save` writes a file, `undo` takes back, `discard` forgets.");
    const auto survey = std::make_shared<std::string>();
    command->add_option("FILE", *survey, "The survey")->required();
    command->require_subcommand(1);
    addReclassify(*command, options, survey);
    addRelabel(*command, options, survey);
    addRun(*command, options, survey);
    command->footer(R"(Examples:
  corvane edit tile.laz reclassify --from ground --to building --within roofs.geojson
  corvane edit tile.laz run network.json
  corvane history tile.laz
  corvane undo tile.laz
  corvane save tile.laz fixed.laz)");
}

} // namespace corvane
