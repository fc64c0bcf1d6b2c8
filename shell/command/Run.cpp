// SPDX-License-Identifier: Apache-2.0
// corvane run: a network file on a survey.
#include "base/InputFile.hpp"
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "network/NetworkFile.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

struct RunArguments {
    std::string network, survey, save;
    bool overwrite = false, discard = false, strict = false;
    bool keep = false; ///< edits, in the store beside the survey
};

Json asJson(const Report& report) {
    Json json{{"object", report.object},
              {"status", report.status.text},
              {"field", report.field},
              {"counts", countsAsJson(report.counts)}};
    if (report.selected) json["selected"] = *report.selected;
    if (report.histogram) json["histogram"] = histogramAsJson(*report.histogram, {});
    return json;
}

/// What the module says in its own words is for who asks for diagnostics.
void print(const Report& report, const LasHeader& header) {
    fmt::print("{}, {}:\n", escaped(report.object), escaped(report.field));
    report.histogram ? printHistogram(*report.histogram, report.field, {}, header) : printCounts(report.counts);
    if (report.selected) fmt::print("{} selected\n", pointsText(*report.selected));
}

void run(const GlobalOptions& options, const RunArguments& arguments, bool json) {
    const NetworkFile file(readTextFile(arguments.network), arguments.network);
    const std::string path = arguments.survey.empty() ? file.surveyPath() : arguments.survey;
    if (path.empty())
        throw UsageError(
            fmt::format("{}: names no survey; add \"survey\" to it, or give --survey FILE.", arguments.network));
    if (!arguments.save.empty()) checkMayWriteSurvey(arguments.save, arguments.overwrite);

    GlobalOptions withHistory = options; // networks may press undo
    withHistory.edits.history = true;
    CommandSession session(withHistory);
    const EditedSurvey edited = arguments.keep ? session.openToEdit(path) : EditedSurvey{session.open(path), nullptr};
    const auto& survey = edited.survey;
    Network network(survey, session.watch());
    if (edited.keeper) network.setUndoDepth(KeptSteps);
    const auto keep = [&] {
        if (!edited.keeper) return;
        if (edited.keeper->commit(network.record().newText()) != EditKeeper::Kept::Nothing) network.keepActions();
    };
    Json reports = Json::array();
    std::vector<std::string> unclean;
    const auto report = [&](const Report& made) {
        json ? reports.push_back(asJson(made)) : print(made, survey->las().header);
        if (options.verbosity > 0 && !made.status.text.empty())
            session.note(fmt::format("{}: {}", made.object, made.status.text));
        if (!made.clean) unclean.push_back(made.object);
        if (const std::string note = made.histogram ? noteOnSecondary(*made.histogram) : ""; !note.empty())
            session.warn(note);
    };
    auto savedAt = Holdfast::Ageable::nextTime(); // what is older came from the edit store
    const auto save = [&](const std::string& out, bool overwrite) {
        session.save(*survey, out, overwrite || arguments.overwrite);
        savedAt = Holdfast::Ageable::nextTime();
    };
    file.run(network, {.report = report,
                       .save = save,
                       .acted = keep,
                       .note = [&](const std::string& sentence) { session.note(sentence); },
                       .strict = arguments.strict});
    if (!arguments.save.empty()) save(arguments.save, arguments.overwrite);
    session.printLateWarnings(*survey);
    if (json) printJson({{"reports", reports}});
    if (edited.keeper) edited.keeper->close();
    if (!edited.keeper && survey->editedAt() > savedAt && !arguments.discard)
        throw Failure(
            fmt::format("{}: edits of {} are dropped: nothing saves them. Add {{\"save\": \"OUT.las\"}} to the "
                        "actions, or give --save OUT, or --discard when they are only tried.",
                        arguments.network, path));
    if (!unclean.empty())
        throw NotClean(fmt::format("{}: the counts of {} are incomplete or out of date.", arguments.network,
                                   fmt::join(unclean, ", ")));
}

} // namespace

void addRun(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept) {
    CLI::App* command = program.add_subcommand(
        "run", "Run a network: objects, connections, parameters and actions in a JSON file (see docs/network.md).");
    const auto arguments = std::make_shared<RunArguments>();
    command->add_option("NETWORK", arguments->network, "The network file")->required();
    if (!kept)
        command->add_option("--survey", arguments->survey,
                            "The LAS file to work on, instead of the one that the network names");
    command->add_option("--save", arguments->save, "Save the survey here when all actions are done");
    command->add_flag("--overwrite", arguments->overwrite, "Replace files that exist");
    if (!kept)
        command->add_flag("--discard", arguments->discard, "Edits are only tried: let it pass that nothing saves them");
    command->add_flag("--strict", arguments->strict, "Fail when a stroke or limit meets no point");
    const auto json = addJsonFlag(*command);
    command->footer(R"(Examples:
  corvane run network.json
  corvane run network.json --survey tile.laz --save fixed.laz)");
    command->callback([&options, arguments, json, kept] {
        if (kept) arguments->survey = *kept;
        arguments->keep = kept != nullptr;
        run(options, *arguments, *json);
    });
}

} // namespace corvane
