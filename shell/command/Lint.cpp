// SPDX-License-Identifier: Apache-2.0
// corvane lint: what is wrong with the classes of a survey, and with what its header says of the points.
#include "check/Lint.hpp"
#include "base/Text.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "survey/ClassLookup.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

Json describe(const Finding& finding) {
    Json json{{"name", finding.name}, {"count", finding.count}, {"text", finding.text}};
    if (finding.example)
        json["example"] = {{"index", finding.example->index},
                           {"position", finding.example->position},
                           {"class", finding.example->value}};
    return json;
}

Json describe(const LasFile& las, const LintReport& report) {
    Json findings = Json::array();
    for (const Finding& finding : report.findings) findings.push_back(describe(finding));
    return {{"points", las.header.pointCount}, {"findings", findings}, {"notes", report.notes}};
}

void print(const LasHeader& header, const Finding& finding) {
    fmt::print("{}: {}\n", finding.name, finding.text);
    if (finding.count > 0) fmt::print("    {}", pointsText(finding.count));
    if (const auto& example = finding.example) {
        fmt::print(", the first: point {} at", example->index);
        for (std::size_t axis = 0; axis < 3; ++axis)
            fmt::print(" {}", coordinateText(header, axis, example->position[axis]));
        fmt::print(", class {}", example->value);
    }
    if (finding.count > 0) fmt::print("\n");
}

void print(const LasFile& las, const LintReport& report) {
    for (const Finding& finding : report.findings) print(las.header, finding);
    for (const std::string& note : report.notes) fmt::print("note: {}\n", note);
    if (report.findings.empty())
        fmt::print("no findings: {} of point format {} checked, and the header of LAS {}\n",
                   pointsText(las.header.pointCount), las.header.pointFormat, las.header.version());
}

void run(const GlobalOptions& options, const std::string& path, bool json, Reading reading) {
    const LasFile las = LasFile::open(path, reading);
    std::vector<std::string> warnings = las.warnings;
    const auto names = readClassLookup(las, warnings);
    for (const std::string& warning : warnings)
        if (!options.quiet) printWarning(fmt::format("{}: {}", path, warning));
    LintReport report;
    {
        Terminal terminal(options.quiet); // its bar is gone before anything is printed
        report = lint(las, names, terminal.watch());
    }
    json ? printJson(describe(las, report)) : print(las, report);
    requireWhole(las);
    if (report.findings.empty()) return;
    const std::size_t count = report.findings.size();
    throw NotClean(fmt::format("{}: {} finding{} in {} of point format {}.", path, count, count == 1 ? "" : "s",
                               pointsText(las.header.pointCount), las.header.pointFormat));
}

std::string listOfRules() {
    std::string text = "Findings:";
    for (const RuleName& rule : lintRules()) text += fmt::format("\n  {:<18}  {}", rule.name, rule.meaning);
    return text;
}

} // namespace

void addLint(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand("lint", "Check the classes of a survey, and what its header says of the "
                                                       "points. The exit status is 3 when there are findings.");
    command->footer(listOfRules());
    const auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The survey")->required();
    const auto json = addJsonFlag(*command);
    command->callback([&options, path, json] {
        readingWhatIsSound({*path}, [&](Reading reading) { run(options, *path, *json, reading); });
    });
}

} // namespace corvane
