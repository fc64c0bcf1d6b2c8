// SPDX-License-Identifier: Apache-2.0
// corvane save and discard: what becomes of the edits that are kept of a survey.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>

namespace corvane {
namespace {

struct Arguments {
    std::string survey, out;
    bool overwrite = false;
};

void save(const GlobalOptions& options, const Arguments& arguments) {
    if (options.edits.original) throw UsageError("--original: the file is there already; save writes the edits.");
    checkMayWriteSurvey(arguments.out, arguments.overwrite);
    openEdits(options, arguments.survey, EditStore::Access::Read); // without which nobody needs this
    CommandSession session(options);
    const auto survey = session.open(arguments.survey);
    const auto begin = std::chrono::steady_clock::now();
    session.save(*survey, arguments.out, arguments.overwrite);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::error_code error; // the file may have been taken away already
    const auto bytes = std::filesystem::file_size(arguments.out, error);
    printWritten(arguments.out, survey->las().header.pointCount, error ? 0 : bytes, taken.count());
}

void discard(const GlobalOptions& options, const std::string& survey) {
    const std::string path = editStorePath(survey, options.edits);
    if (!EditStore::exists(path)) throw Failure(fmt::format("{}: no edits are kept of this survey.", survey));
    EditStore::remove(path);
    fmt::print("the edits of {} are gone\n", escaped(survey));
}

} // namespace

void addSave(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command =
        program.add_subcommand("save", "Write a survey with the edits that are kept of it into a file.");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    command->add_option("OUT", arguments->out, "The file to write")->required();
    command->add_flag("--overwrite", arguments->overwrite, "Replace OUT if it exists");
    command->callback([&options, arguments] { save(options, *arguments); });
    command->footer("The edits and their history stay with FILE. Examples:\n  corvane save tile.laz fixed.laz");
}

void addDiscard(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "discard", "Forget the edits that are kept of a survey, and their history. The survey stays as it is.");
    const auto survey = std::make_shared<std::string>();
    command->add_option("FILE", *survey, "The survey")->required();
    command->callback([&options, survey] { discard(options, *survey); });
    command->footer("Examples:\n  corvane discard tile.laz");
}

} // namespace corvane
