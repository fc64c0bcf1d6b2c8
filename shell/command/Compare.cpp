// SPDX-License-Identifier: Apache-2.0
// corvane compare: proves what an edit changed, and that it changed nothing else, whatever program made it.
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "check/ClassNames.hpp"
#include "check/PointListing.hpp"
#include "command/Commands.hpp"
#include "command/ComparisonReport.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "survey/ClassLookup.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct Arguments {
    std::string before, after, field = ClassificationName, changes;
    std::vector<std::string> only;
    double side = 0; ///< of the squares in which changes are together
    bool overwrite = false;
};

/// What writing labels into a file changes: the record, and where things are behind it.
const std::vector<std::string> LabelParts{"LASF_Spec/0", "OffsetToPoints", "VlrCount", "EvlrStart", "WaveformStart"};
constexpr char Labels[] = "labels";

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
    std::vector<std::string> known = permissibleNames(before, after);
    known.push_back(Labels);
    for (const std::string& name : only)
        if (!contains(known, withoutAlias(name)))
            throw UsageError(fmt::format("--only {}: nothing that could differ between these files has that name. {}",
                                         name, suggestNames(name, known)));
}

SurveyComparison compare(const GlobalOptions& options, const LasFile& before, const LasFile& after,
                         const Arguments& arguments) {
    Terminal terminal(options.quiet);
    ComparisonOptions how{.clusters = !arguments.changes.empty(), .clusterSide = arguments.side};
    if (!options.memory.empty()) how.memory = parseMemory(options.memory);
    return compareSurveys(before, after, arguments.field, terminal.watch(), how);
}

/// Returns what was lost of a file that it replaces: sentences.
std::vector<std::string> writeChanges(const Arguments& arguments, const LasFile& before,
                                      const SurveyComparison& comparison) {
    std::vector<std::string> warnings;
    const auto names = readClassLookup(before, warnings);
    const bool classes = comparison.field == ClassificationName;
    OutputFile file(arguments.changes, arguments.overwrite);
    writeClusters(
        before, comparison.clusters,
        [&](int value) { return classes ? classNameOf(value, before, names) : std::string(); },
        [&](std::string_view text) { file.write(std::as_bytes(std::span(text))); });
    return file.commit();
}

std::vector<std::string> permittedNames(const Arguments& arguments) {
    std::vector<std::string> names = arguments.only;
    if (contains(names, Labels)) names.insert(names.end(), LabelParts.begin(), LabelParts.end());
    return names;
}

void requireOnly(const Arguments& arguments, const SurveyComparison& comparison) {
    std::vector<std::string> others = comparison.differing();
    const std::vector<std::string> permitted = permittedNames(arguments);
    std::erase_if(others, [&](const std::string& name) { return contains(permitted, name); });
    if (!others.empty())
        throw NotClean(fmt::format("{}: differs from {} in {}, expected differences in {} only; the report says how.",
                                   arguments.after, arguments.before, fmt::join(others, ", "),
                                   fmt::join(arguments.only, ", ")));
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json, Reading reading) {
    if (!arguments.changes.empty()) {
        if (listingFormatOf(arguments.changes) != ListingFormat::GeoJson)
            throw UsageError(fmt::format("--changes {}: changes are written as GeoJSON; give the file the ending "
                                         ".geojson.",
                                         arguments.changes));
        checkMayWrite(arguments.changes, arguments.overwrite);
    }
    const LasFile before = open(options, arguments.before, reading), after = open(options, arguments.after, reading);
    checkOnly(arguments.only, before, after);
    const SurveyComparison comparison = compare(options, before, after, arguments);
    if (!arguments.changes.empty())
        for (const std::string& loss : writeChanges(arguments, before, comparison))
            if (!options.quiet) printWarning(fmt::format("{}: {}", arguments.changes, loss));
    json ? printJson(describe(comparison, before, after)) : print(comparison, before, after);
    requireWhole(before);
    requireWhole(after);
    if (!arguments.only.empty()) requireOnly(arguments, comparison);
    if (!comparison.complete())
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
                     "records; \"labels\" for all that writing labels changes. The exit status is 3 when anything else "
                     "does")
        ->delimiter(',')
        ->allow_extra_args(false);
    CLI::Option* changes = command->add_option(
        "--changes", arguments->changes,
        "Write where the field changed into this file, .geojson: boxes of points that lie together, with what became "
        "of them");
    command
        ->add_option("--distance", arguments->side,
                     "How far apart changed points are still together; otherwise some points' distance")
        ->needs(changes)
        ->check(CLI::PositiveNumber);
    command->add_flag("--overwrite", arguments->overwrite, "Replace the file of changes if it exists")->needs(changes);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        readingWhatIsSound({arguments->before, arguments->after},
                           [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
