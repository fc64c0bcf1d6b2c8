// SPDX-License-Identifier: Apache-2.0
// corvane lint: what is wrong with the classes of a survey, and with what its header says of the points; and whether it
// is as agreed.
#include "check/Lint.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "check/PointListing.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "survey/ClassNames.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <map>

namespace corvane {
namespace {

struct LintArguments {
    std::string survey, rules, points;
    std::vector<std::string> classes, ignored;
    LimitArguments limits;
    bool overwrite = false;
};

Json describe(const LasHeader& header, const Finding& finding) {
    Json json{{"name", finding.name}, {"count", finding.count}, {"text", finding.text}};
    if (finding.example)
        json["example"] = {{"index", finding.example->index},
                           {"position", plainCoordinates(header, finding.example->position)},
                           {"class", finding.example->value}};
    return json;
}

Json describe(const LasFile& las, const LintReport& report) {
    Json findings = Json::array();
    for (const Finding& finding : report.findings) findings.push_back(describe(las.header, finding));
    return {{"points", report.points}, {"findings", findings}, {"notes", report.notes}};
}

/// Each line begins with the file, so that those of many files can be sorted and searched.
std::vector<std::string> linesOf(const LasFile& las, const LintReport& report) {
    const std::string path = escaped(las.file->path());
    std::vector<std::string> lines;
    for (const Finding& finding : report.findings) {
        lines.push_back(fmt::format("{}: {}: {}", path, finding.name, finding.text));
        if (finding.count == 0) continue;
        std::string points = fmt::format("{}:     {}", path, pointsText(finding.count));
        if (const auto& example = finding.example) {
            points += fmt::format(", the first: point {} at", example->index);
            for (std::size_t axis = 0; axis < 3; ++axis)
                points += " " + coordinateText(las.header, axis, example->position[axis]);
            points += fmt::format(", class {}", example->value);
        }
        lines.push_back(points);
    }
    for (const std::string& note : report.notes) lines.push_back(fmt::format("{}: note: {}", path, note));
    if (report.findings.empty())
        lines.push_back(fmt::format("{}: no findings: {} of point format {} checked, and the header of LAS {}", path,
                                    pointsText(report.points), las.header.pointFormat, las.header.version()));
    return lines;
}

/// Writes every point that a finding is about, once for each. Returns what was lost of a file that it replaces.
std::vector<std::string> writePoints(const LintArguments& arguments, const LasFile& las, const LintReport& report,
                                     const std::optional<Kesh::LabelSet>& names, const Kesh::LimitPtr& limit,
                                     const Watch& watch) {
    OutputFile file(arguments.points, arguments.overwrite);
    PointListing listing(las, *listingFormatOf(arguments.points), "Rule", names,
                         [&](std::string_view text) { file.write(std::as_bytes(std::span(text))); });
    const bool any = std::ranges::any_of(report.findings, [](const Finding& finding) { return bool(finding.test); });
    if (any)
        visitPoints(las, limit, watch, [&](const PointFacts& point) {
            for (const Finding& finding : report.findings)
                if (finding.test && finding.test(point)) listing.add(point.index, point.record, finding.name);
        });
    listing.finish();
    return file.commit();
}

void checkRules(const std::set<std::string>& rules, const std::string& where) {
    std::vector<std::string> known;
    for (const RuleName& rule : lintRules()) known.push_back(rule.name);
    for (const std::string& rule : rules)
        if (std::ranges::find(known, rule) == known.end())
            throw UsageError(fmt::format("{} {}: there is no such rule. {}", where, rule, suggestNames(rule, known)));
}

LintOptions rulesOf(const LintArguments& arguments, const Survey& survey) {
    LintOptions options;
    options.ignored = {arguments.ignored.begin(), arguments.ignored.end()};
    checkRules(options.ignored, "--ignore");
    if (!arguments.rules.empty()) options.contract = readContract(arguments.rules);
    checkRules(options.contract.ignored, arguments.rules + ": ignore");
    options.ignored.merge(options.contract.ignored);
    if (arguments.classes.empty()) return options;
    const ClassNames names(survey, survey.findField(ClassificationName));
    if (const auto classes = names.values("--classes", arguments.classes))
        options.contract.classes.emplace(classes->begin(), classes->end());
    return options;
}

void checkPlace(const LintArguments& arguments) {
    if (arguments.points.empty()) return;
    if (!listingFormatOf(arguments.points))
        throw UsageError(fmt::format("--points {}: points are written as CSV or GeoJSON; give the file the ending .csv "
                                     "or .geojson.",
                                     arguments.points));
    checkMayWrite(arguments.points, arguments.overwrite);
}

/// What was found in one file, and why no point was meant where that is a miss; `say` gets it before what is not clean
/// of it is told.
struct Found {
    Json answer;
    std::vector<std::string> lines;
    std::string miss;
};
using Checked = std::function<void(const Found& found)>;
void check(const GlobalOptions& options, const LintArguments& arguments, Reading reading, const Checked& say) {
    checkPlace(arguments);
    const auto opened = openSurvey(options, arguments.survey, reading);
    const Survey& survey = *opened;
    LintOptions rules = rulesOf(arguments, survey);
    CallLimits limits(arguments.limits);
    Terminal terminal(options.quiet);
    rules.limit = limits.on(survey, [&](const std::string& sentence) { terminal.note(sentence); });
    const LasFile las = survey.edited();
    const auto names = survey.labels();
    const LintReport report = lint(las, names, terminal.watch(), rules);
    Found found{describe(las, report), linesOf(las, report), ""};
    if (report.points == 0 && rules.limit && !limits.allowMiss())
        found.miss = limits.missOn(survey, std::nullopt, terminal.watch());
    if (!arguments.points.empty() && found.miss.empty())
        for (const std::string& loss : writePoints(arguments, las, report, names, rules.limit, terminal.watch()))
            terminal.warn(fmt::format("{}: {}", arguments.points, loss));
    terminal.clearBar();
    say(found);
    requireWhole(las);
    if (report.findings.empty()) return;
    const std::size_t count = report.findings.size();
    throw NotClean(fmt::format("{}: {} finding{} in {} of point format {}.", arguments.survey, count,
                               count == 1 ? "" : "s", pointsText(report.points), las.header.pointFormat));
}

void checkOne(const GlobalOptions& options, const LintArguments& arguments, bool json) {
    readingWhatIsSound({arguments.survey}, [&](Reading reading) {
        check(options, arguments, reading, [&](const Found& found) {
            if (!found.miss.empty()) throw Failure(fmt::format("{}: {}", arguments.survey, found.miss));
            if (json) return printJson(found.answer);
            for (const std::string& line : found.lines) fmt::print("{}\n", line);
        });
    });
}

void answerFor(const GlobalOptions& options, const LintArguments& arguments, Json& answer) {
    readingWhatIsSound({arguments.survey}, [&](Reading reading) {
        check(options, arguments, reading, [&](const Found& found) {
            answer = {{"file", arguments.survey}};
            answer.update(found.answer);
            answer["lines"] = found.lines;
            if (!found.miss.empty()) answer["miss"] = found.miss;
        });
    });
}

void checkMany(const CLI::App& command, const GlobalOptions& options, LintArguments& arguments,
               const BatchArguments& batch, bool json) {
    if (!arguments.points.empty()) throw UsageError("--points: takes the points of one file.");
    readPolygonsOnce(arguments.limits);
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        LintArguments one = arguments;
        one.survey = task.in;
        answerFor(given, one, answer);
    };
    std::map<std::string, std::array<std::uint64_t, 2>> rules; // files and points
    auto answers = forEachFile(command, options, batch, tasksFor(surveysNamed(batch.files), batch), job,
                               [&](const FileAnswer& one) {
                                   if (one.answer.is_null()) {
                                       if (!one.error.empty()) printError(one.error);
                                       return;
                                   }
                                   for (const Json& finding : one.answer["findings"]) {
                                       auto& [files, points] = rules[finding["name"]];
                                       ++files;
                                       points += finding["count"].get<std::uint64_t>();
                                   }
                                   if (!json)
                                       for (const Json& line : one.answer["lines"])
                                           fmt::print("{}\n", line.get_ref<const std::string&>());
                               });
    requireAnyMeant(answers);
    Json total{{"files", answers.size()}, {"findings", Json::array()}};
    for (const auto& [name, counts] : rules)
        total["findings"].push_back({{"name", name}, {"findings", counts[0]}, {"points", counts[1]}});
    for (FileAnswer& one : answers)
        if (one.answer.is_object()) one.answer.erase("lines");
    if (json) {
        printJson(batchAsJson(answers, total));
    } else {
        printHead(fmt::format("{:<20} {:>10} {:>13}", "rule", "findings", "points"));
        for (const auto& [name, counts] : rules)
            printLine(fmt::format("{:<20} {:>10} {:>13}", name, counts[0], counts[1]));
        fmt::print("{} files\n", answers.size());
    }
    requireAllWell(answers);
}

std::string listOfRules() {
    std::string text = "Findings:";
    for (const RuleName& rule : lintRules()) text += fmt::format("\n  {:<18}  {}", rule.name, rule.meaning);
    return text + R"(
Examples:
  corvane lint tile.laz --classes 1-6,9 --points found.geojson
  corvane lint tiles/ --rules contract.json --jobs 4)";
}

void addOptions(CLI::App& command, LintArguments& a) {
    command
        .add_option("--classes", a.classes,
                    "The classes that may occur: numbers, names, lists and ranges, e.g. 1,2,6,9,64-67; they are not "
                    "reserved, whatever the format says")
        ->allow_extra_args(false);
    command.add_option("--ignore", a.ignored, "Rules that find nothing, separated by commas")
        ->delimiter(',')
        ->allow_extra_args(false);
    addLimitOptions(command, a.limits);
    command.add_option("--rules", a.rules, "What was agreed about the survey (JSON, see docs/contract.md)");
    CLI::Option* points = command.add_option(
        "--points", a.points, "Write the points that findings are about into this file, .csv or .geojson");
    command.add_flag("--overwrite", a.overwrite, "Replace the file of points if it exists")->needs(points);
}

} // namespace

void addLint(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand("lint", "Check the classes of a survey, and what its header says of the "
                                                       "points. The exit status is 3 when there are findings.");
    command->footer(listOfRules());
    const auto arguments = std::make_shared<LintArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command->add_option("FILES", batch->files, "Surveys, folders of them, and patterns such as 'tiles/*.laz'")
        ->required();
    addOptions(*command, *arguments);
    addBatchOptions(*command, *batch, false);
    const auto json = addJsonFlag(*command);
    command->callback([command, &options, arguments, batch, json] {
        if (batch->files.size() != 1 || namesSeveral(batch->files[0]))
            return checkMany(*command, options, *arguments, *batch, *json);
        readPolygonsOnce(arguments->limits);
        arguments->survey = batch->files[0];
        checkOne(options, *arguments, *json);
    });
}

} // namespace corvane
