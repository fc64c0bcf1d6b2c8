// SPDX-License-Identifier: Apache-2.0
// corvane compare: proves what an edit changed, and that it changed nothing else, whatever program made it.
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "check/ClassNames.hpp"
#include "check/PointListing.hpp"
#include "command/Commands.hpp"
#include "command/ComparisonReport.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

struct Arguments {
    std::string before, after, field = ClassificationName, changes;
    std::vector<std::string> only;
    LimitArguments limits;
    double side = 0; ///< of the squares in which changes are together
    bool overwrite = false;
};

/// What writing labels into a file changes: the record, and where things are behind it.
const std::vector<std::string> LabelParts{"LASF_Spec/0", "OffsetToPoints", "VlrCount", "EvlrStart", "WaveformStart"};
constexpr char Labels[] = "labels";

Survey open(const GlobalOptions& options, const std::string& path, Reading reading) {
    SurveyOptions how;
    how.reading = reading;
    Survey survey(path, how);
    if (!options.quiet)
        for (const std::string& warning : survey.warnings()) printWarning(path + ": " + warning);
    return survey;
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

SurveyComparison compare(const GlobalOptions& options, const Survey& before, const Survey& after,
                         const Arguments& arguments) {
    Terminal terminal(options.quiet);
    CallLimits limits(arguments.limits);
    ComparisonOptions how;
    how.clusters = !arguments.changes.empty();
    how.clusterSide = arguments.side;
    if (!options.memory.empty()) how.memory = parseMemory(options.memory);
    how.limit = limits.on(before, [&](const std::string& sentence) { terminal.note(sentence); });
    SurveyComparison comparison = compareSurveys(before.las(), after.las(), arguments.field, terminal.watch(), how);
    if (how.limit && comparison.transitions.points() == 0 && !limits.allowMiss())
        if (const std::string miss = limits.missOn(before, std::nullopt, terminal.watch()); !miss.empty())
            throw Failure(fmt::format("{}: {}", arguments.before, miss));
    return comparison;
}

/// Returns what was lost of a file that it replaces: sentences.
std::vector<std::string> writeChanges(const Arguments& arguments, const Survey& before,
                                      const SurveyComparison& comparison) {
    const bool classes = comparison.field == ClassificationName;
    OutputFile file(arguments.changes, arguments.overwrite);
    writeClusters(
        before.las(), comparison.clusters,
        [&](int value) { return classes ? classNameOf(value, before.las(), before.labels()) : std::string(); },
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
    const Survey earlier = open(options, arguments.before, reading), later = open(options, arguments.after, reading);
    const LasFile &before = earlier.las(), &after = later.las();
    checkOnly(arguments.only, before, after);
    const SurveyComparison comparison = compare(options, earlier, later, arguments);
    if (!arguments.changes.empty())
        for (const std::string& loss : writeChanges(arguments, earlier, comparison))
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
    addLimitOptions(*command, arguments->limits);
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
    command->footer(R"(Limits choose points by what they are in BEFORE. Examples:
  corvane compare before.laz after.laz
  corvane compare before.laz after.laz --only Classification,labels
  corvane compare before.laz after.laz --within parcel.geojson --changes changes.geojson)");
    command->callback([&options, arguments, json] {
        readPolygonsOnce(arguments->limits);
        readingWhatIsSound({arguments->before, arguments->after},
                           [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
