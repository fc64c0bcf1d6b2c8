// SPDX-License-Identifier: Apache-2.0
// corvane save and discard: what becomes of the edits that are kept of a survey.
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/KeptEdits.hpp"
#include "command/Output.hpp"
#include "session/InPlaceSaving.hpp"
#include "session/OpenSaving.hpp"

#include <fmt/format.h>

#include <chrono>
#include <filesystem>

namespace corvane {
namespace {

struct SaveArguments {
    std::string survey, out;
    bool overwrite = false, inPlace = false, withLabels = false;
};

/// The names of classes that are to be in the file; none: those that are.
std::optional<Kesh::LabelSet> labelsToWrite(const SaveArguments& arguments, const Survey& survey) {
    if (!arguments.withLabels) return std::nullopt;
    auto labels = survey.labels();
    if (!labels)
        throw Failure(fmt::format("{}: no names of its classes are kept that could be written.", arguments.survey));
    return labels;
}

void save(const GlobalOptions& options, const SaveArguments& arguments) {
    checkMayWriteSurvey(arguments.out, arguments.overwrite);
    openEdits(options, arguments.survey, EditStore::Access::Read); // without which nobody needs this
    CommandSession session(options);
    const auto survey = session.open(arguments.survey);
    const auto begin = std::chrono::steady_clock::now();
    const auto labels = labelsToWrite(arguments, *survey);
    session.save(*survey, arguments.out, arguments.overwrite, labels ? &*labels : nullptr);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::error_code error; // the file may have been taken away already
    const auto bytes = std::filesystem::file_size(arguments.out, error);
    printWritten(arguments.out, survey->las().header.pointCount, error ? 0 : bytes, taken.count());
}

void saveInPlace(const GlobalOptions& options, const SaveArguments& arguments) {
    const std::string& path = arguments.survey;
    requireEdits(options, path);
    Terminal terminal(options.quiet);
    const Note note = [&](const std::string& sentence) { terminal.note(sentence); };
    SurveyOptions how;
    if (!options.memory.empty()) how.memoryBytes = parseMemory(options.memory);
    const auto begin = std::chrono::steady_clock::now();
    EditedSurvey edited = openToEdit(path, how, options.edits, terminal.watch(), note);
    const auto labels = labelsToWrite(arguments, *edited.survey);
    const InPlaceSaved saved = corvane::saveInPlace(std::move(edited), labels ? &*labels : nullptr, terminal.watch());
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    terminal.clearBar();
    for (const std::string& loss : saved.losses) terminal.warn(fmt::format("{}: {}", path, loss));
    if (!saved.obstacle.empty())
        fmt::print("{}: a new file took its place in {:.1f} s, since {}\n", escaped(path), taken.count(),
                   saved.obstacle);
    else if (saved.bytes == 0)
        fmt::print("{}: is as its edits say; nothing was written\n", escaped(path));
    else
        fmt::print("{}: {} byte{} written in place in {:.1f} s\n", escaped(path), saved.bytes,
                   saved.bytes == 1 ? "" : "s", taken.count());
}

void run(const GlobalOptions& options, const SaveArguments& arguments) {
    if (arguments.inPlace != arguments.out.empty())
        throw UsageError("save: name the file to write, or give --in-place to write into FILE itself.");
    if (options.edits.original) throw UsageError("--original: the file is there already; save writes the edits.");
    arguments.inPlace ? saveInPlace(options, arguments) : save(options, arguments);
}

/// A saving that is open is completed: the file would be neither what it was nor what it was to be. The edits of a
/// survey that is gone, or cannot be read, go all the same.
void settle(const GlobalOptions& options, const std::string& survey, const std::string& path) {
    bool open = false;
    try {
        const EditStore store(path, EditStore::Access::Read);
        const auto saving = findOpenSaving(store);
        if (saving) requireSameSurvey(store, LasFile::open(survey), {});
        open = saving.has_value();
    } catch (const Failure&) {
    }
    if (open) completeOpenSaving(options, survey);
}

void discard(const GlobalOptions& options, const std::string& survey) {
    const std::string path = editStorePath(survey, options.edits);
    if (!EditStore::exists(path)) throw Failure(fmt::format("{}: no edits are kept of this survey.", survey));
    settle(options, survey, path);
    EditStore::remove(path);
    fmt::print("the edits of {} are gone\n", escaped(survey));
}

} // namespace

void addSave(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command =
        program.add_subcommand("save", "Write a survey with the edits that are kept of it into a file.");
    const auto arguments = std::make_shared<SaveArguments>();
    command->add_option("FILE", arguments->survey, "The survey")->required();
    command->add_option("OUT", arguments->out, "The file to write");
    command->add_flag("--in-place", arguments->inPlace,
                      "Write into FILE itself what differs, and nothing else; undo goes back behind it all the same");
    command->add_flag("--with-labels", arguments->withLabels, "Save the names of the classes in the file, too");
    command->add_flag("--overwrite", arguments->overwrite, "Replace OUT if it exists");
    command->callback([&options, arguments] { run(options, *arguments); });
    command->footer("The edits and their history stay with FILE. Examples:\n  corvane save tile.laz fixed.laz\n"
                    "  corvane save tile.laz --in-place");
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
