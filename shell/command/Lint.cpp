// SPDX-License-Identifier: Apache-2.0
// corvane lint: what is wrong with the classes of a survey, and with what its header says of the points; and whether it
// is as agreed.
#include "check/Lint.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "check/PointListing.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "survey/ClassLookup.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct Arguments {
    std::string survey, rules, points;
    std::vector<std::string> classes, ignored;
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
    return {{"points", las.header.pointCount}, {"findings", findings}, {"notes", report.notes}};
}

/// Each line begins with the file, so that those of many files can be sorted and searched.
void print(const std::string& path, const LasHeader& header, const Finding& finding) {
    fmt::print("{}: {}: {}\n", path, finding.name, finding.text);
    if (finding.count == 0) return;
    fmt::print("{}:     {}", path, pointsText(finding.count));
    if (const auto& example = finding.example) {
        fmt::print(", the first: point {} at", example->index);
        for (std::size_t axis = 0; axis < 3; ++axis)
            fmt::print(" {}", coordinateText(header, axis, example->position[axis]));
        fmt::print(", class {}", example->value);
    }
    fmt::print("\n");
}

void print(const LasFile& las, const LintReport& report) {
    const std::string path = escaped(las.file->path());
    for (const Finding& finding : report.findings) print(path, las.header, finding);
    for (const std::string& note : report.notes) fmt::print("{}: note: {}\n", path, note);
    if (report.findings.empty())
        fmt::print("{}: no findings: {} of point format {} checked, and the header of LAS {}\n", path,
                   pointsText(las.header.pointCount), las.header.pointFormat, las.header.version());
}

/// Writes every point that a finding is about, once for each. Returns what was lost of a file that it replaces.
std::vector<std::string> writePoints(const Arguments& arguments, const LasFile& las, const LintReport& report,
                                     const std::optional<Kesh::LabelSet>& names, const Watch& watch) {
    OutputFile file(arguments.points, arguments.overwrite);
    PointListing listing(las, *listingFormatOf(arguments.points), "Rule", names,
                         [&](std::string_view text) { file.write(std::as_bytes(std::span(text))); });
    const bool any = std::ranges::any_of(report.findings, [](const Finding& finding) { return bool(finding.test); });
    if (any)
        visitPoints(las, watch, [&](const PointFacts& point) {
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

LintOptions optionsOf(const Arguments& arguments) {
    LintOptions options;
    options.ignored = {arguments.ignored.begin(), arguments.ignored.end()};
    checkRules(options.ignored, "--ignore");
    if (!arguments.rules.empty()) options.contract = readContract(arguments.rules);
    checkRules(options.contract.ignored, arguments.rules + ": ignore");
    options.ignored.merge(options.contract.ignored);
    if (!arguments.classes.empty()) options.contract.classes = classesOf(arguments.classes);
    return options;
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json, Reading reading) {
    const LintOptions rules = optionsOf(arguments);
    if (!arguments.points.empty()) {
        if (!listingFormatOf(arguments.points))
            throw UsageError(fmt::format("--points {}: points are written as CSV or GeoJSON; give the file the ending "
                                         ".csv or .geojson.",
                                         arguments.points));
        checkMayWrite(arguments.points, arguments.overwrite);
    }
    const LasFile las = LasFile::open(arguments.survey, reading);
    std::vector<std::string> warnings = las.warnings, losses;
    const auto names = readClassLookup(las, warnings);
    for (const std::string& warning : warnings)
        if (!options.quiet) printWarning(fmt::format("{}: {}", arguments.survey, warning));
    LintReport report;
    {
        Terminal terminal(options.quiet); // its bar is gone before anything is printed
        report = lint(las, names, terminal.watch(), rules);
        if (!arguments.points.empty()) losses = writePoints(arguments, las, report, names, terminal.watch());
    }
    for (const std::string& loss : losses)
        if (!options.quiet) printWarning(fmt::format("{}: {}", arguments.points, loss));
    json ? printJson(describe(las, report)) : print(las, report);
    requireWhole(las);
    if (report.findings.empty()) return;
    const std::size_t count = report.findings.size();
    throw NotClean(fmt::format("{}: {} finding{} in {} of point format {}.", arguments.survey, count,
                               count == 1 ? "" : "s", pointsText(las.header.pointCount), las.header.pointFormat));
}

std::string listOfRules() {
    std::string text = "Findings:";
    for (const RuleName& rule : lintRules()) text += fmt::format("\n  {:<18}  {}", rule.name, rule.meaning);
    return text;
}

void addOptions(CLI::App& command, Arguments& a) {
    command.add_option("FILE", a.survey, "The survey")->required();
    command
        .add_option(
            "--classes", a.classes,
            "The classes that may occur, as numbers and ranges separated by commas, e.g. 1,2,6,9,64-67; they are "
            "not reserved, whatever the format says")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.add_option("--ignore", a.ignored, "Rules that find nothing, separated by commas")
        ->delimiter(',')
        ->allow_extra_args(false);
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
    const auto arguments = std::make_shared<Arguments>();
    addOptions(*command, *arguments);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        readingWhatIsSound({arguments->survey}, [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
