// SPDX-License-Identifier: Apache-2.0
// corvane compare: proves what an edit changed, and that it changed nothing else, whatever program made it.
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "command/Commands.hpp"
#include "command/ComparisonReport.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct Arguments {
    std::string before, after, field = ClassificationName;
    std::vector<std::string> only;
};

LasFile open(const GlobalOptions& options, const std::string& path, Reading reading) {
    LasFile las = LasFile::open(path, reading);
    if (!options.quiet)
        for (const std::string& warning : las.warnings) printWarning(path + ": " + warning);
    return las;
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
    return std::ranges::any_of(
        names, [&](const std::string& one) { return sameName(one, name) || sameName(withoutAlias(one), name); });
}

/// A name that was misspelled would permit nothing, and nobody would know.
void checkOnly(const std::vector<std::string>& only, const LasFile& before, const LasFile& after) {
    const std::vector<std::string> known = permissibleNames(before, after);
    for (const std::string& name : only)
        if (!contains(known, withoutAlias(name)))
            throw UsageError(fmt::format("--only {}: nothing that could differ between these files has that name. {}",
                                         name, suggestNames(name, known)));
}

SurveyComparison compare(const GlobalOptions& options, const LasFile& before, const LasFile& after,
                         const std::string& field) {
    Terminal terminal(options.quiet);
    return compareSurveys(before, after, field, terminal.watch());
}

void requireOnly(const Arguments& arguments, const SurveyComparison& comparison) {
    std::vector<std::string> others = comparison.differing();
    std::erase_if(others, [&](const std::string& name) { return contains(arguments.only, name); });
    if (!others.empty())
        throw NotClean(fmt::format("{}: differs from {} in {}, expected differences in {} only; the report says how.",
                                   arguments.after, arguments.before, fmt::join(others, ", "),
                                   fmt::join(arguments.only, ", ")));
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json, Reading reading) {
    const LasFile before = open(options, arguments.before, reading), after = open(options, arguments.after, reading);
    checkOnly(arguments.only, before, after);
    const SurveyComparison comparison = compare(options, before, after, arguments.field);
    json ? printJson(describe(comparison, before, after)) : print(comparison, before, after);
    requireWhole(before);
    requireWhole(after);
    if (!arguments.only.empty()) requireOnly(arguments, comparison);
    if (!comparison.matching.comparable())
        throw NotClean(fmt::format("{}: could not be compared with {} point by point; the report says why.",
                                   arguments.after, arguments.before));
}

} // namespace

void addCompare(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "compare", "Count how the classes changed between two surveys of the same points, and name everything else "
                   "that differs. Says with --only, by its exit status, whether an edit did what it should.");
    const auto arguments = std::make_shared<Arguments>();
    command->add_option("BEFORE", arguments->before, "The survey as it was")->required();
    command->add_option("AFTER", arguments->after, "The survey as it is now")->required();
    command->add_option("--field", arguments->field, "Field whose transitions are counted")->capture_default_str();
    command
        ->add_option("--only", arguments->only,
                     "What may differ, separated by commas, by the names of the report: dimensions, header fields, "
                     "records. The exit status is 3 when anything else does")
        ->delimiter(',')
        ->allow_extra_args(false);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        readingWhatIsSound({arguments->before, arguments->after},
                           [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
