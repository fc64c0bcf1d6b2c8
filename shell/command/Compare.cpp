// SPDX-License-Identifier: Apache-2.0
// corvane compare: proves what an edit changed, and that it changed nothing else, whatever program made it.
#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "check/ClassNames.hpp"
#include "check/PointListing.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/ComparisonReport.hpp"
#include "command/FilePairs.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <optional>

namespace corvane {
namespace {

struct CompareArguments {
    std::string before, after, field = ClassificationName, changes, suffix;
    std::vector<std::string> only;
    LimitArguments limits;
    double side = 0; ///< of the squares in which changes are together
    bool overwrite = false;
};

/// What writing labels into a file changes: the record, and where things are behind it.
const std::vector<std::string> LabelParts{"LASF_Spec/0", "OffsetToPoints", "VlrCount", "EvlrStart", "WaveformStart"};
constexpr char Labels[] = "labels";

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

/// What was found, and why no point was compared where that is a miss.
struct Compared {
    SurveyComparison comparison;
    std::string miss;
};

Compared compare(const GlobalOptions& options, const Survey& survey, const LasFile& before, const LasFile& after,
                 const CompareArguments& arguments) {
    Terminal terminal(options.quiet);
    CallLimits limits(arguments.limits);
    ComparisonOptions how;
    how.clusters = !arguments.changes.empty();
    how.clusterSide = arguments.side;
    if (!options.memory.empty()) how.memory = parseMemory(options.memory);
    how.limit = limits.on(survey, [&](const std::string& sentence) { terminal.note(sentence); });
    Compared compared{compareSurveys(before, after, arguments.field, terminal.watch(), how), ""};
    if (how.limit && compared.comparison.transitions.points() == 0 && !limits.allowMiss())
        compared.miss = limits.missOn(survey, std::nullopt, terminal.watch());
    return compared;
}

/// Returns what was lost of a file that it replaces: sentences.
std::vector<std::string> writeChanges(const CompareArguments& arguments, const Survey& before,
                                      const SurveyComparison& comparison) {
    const bool classes = comparison.field == ClassificationName;
    OutputFile file(arguments.changes, arguments.overwrite);
    writeClusters(
        before.las(), comparison.clusters,
        [&](int value) { return classes ? classNameOf(value, before.las(), before.labels()) : std::string(); },
        [&](std::string_view text) { file.write(std::as_bytes(std::span(text))); });
    return file.commit();
}

std::vector<std::string> permittedNames(const CompareArguments& arguments) {
    std::vector<std::string> names = arguments.only;
    if (contains(names, Labels)) names.insert(names.end(), LabelParts.begin(), LabelParts.end());
    return names;
}

void requireOnly(const CompareArguments& arguments, const SurveyComparison& comparison) {
    std::vector<std::string> others = comparison.differing();
    const std::vector<std::string> permitted = permittedNames(arguments);
    std::erase_if(others, [&](const std::string& name) { return contains(permitted, name); });
    if (!others.empty())
        throw NotClean(fmt::format("{}: differs from {} in {}, expected differences in {} only; the report says how.",
                                   arguments.after, arguments.before, fmt::join(others, ", "),
                                   fmt::join(arguments.only, ", ")));
}

/// Compares two files; `say` gets what was found before it is told that it is not as it should be.
using Found = std::function<void(const Compared& compared, const LasFile& before, const LasFile& after)>;
void run(const GlobalOptions& options, const CompareArguments& arguments, Reading reading, const Found& say) {
    const auto earlier = openSurvey(options, arguments.before, reading);
    const auto later = openSurvey(options, arguments.after, reading);
    const LasFile before = earlier->edited(), after = later->edited();
    checkOnly(arguments.only, before, after);
    const Compared compared = compare(options, *earlier, before, after, arguments);
    const SurveyComparison& comparison = compared.comparison;
    if (!arguments.changes.empty() && compared.miss.empty())
        for (const std::string& loss : writeChanges(arguments, *earlier, comparison))
            if (!options.quiet) printWarning(fmt::format("{}: {}", arguments.changes, loss));
    say(compared, before, after);
    requireWhole(before);
    requireWhole(after);
    if (!arguments.only.empty()) requireOnly(arguments, comparison);
    if (!comparison.complete())
        throw NotClean(fmt::format("{}: could not be compared with {} point by point; the report says why.",
                                   arguments.after, arguments.before));
}

void runOne(const GlobalOptions& options, const CompareArguments& arguments, bool json) {
    if (!arguments.changes.empty()) {
        if (listingFormatOf(arguments.changes) != ListingFormat::GeoJson)
            throw UsageError(fmt::format("--changes {}: changes are written as GeoJSON; give the file the ending "
                                         ".geojson.",
                                         arguments.changes));
        checkMayWrite(arguments.changes, arguments.overwrite);
    }
    readingWhatIsSound({arguments.before, arguments.after}, [&](Reading reading) {
        run(options, arguments, reading, [&](const Compared& compared, const LasFile& before, const LasFile& after) {
            if (!compared.miss.empty()) throw Failure(fmt::format("{}: {}", arguments.before, compared.miss));
            json ? printJson(describe(compared.comparison, before, after)) : print(compared.comparison, before, after);
        });
    });
}

void answerFor(const GlobalOptions& options, const CompareArguments& arguments, Json& answer) {
    readingWhatIsSound({arguments.before, arguments.after}, [&](Reading reading) {
        run(options, arguments, reading, [&](const Compared& compared, const LasFile& before, const LasFile& after) {
            answer = {{"file", arguments.after}};
            answer.update(describe(compared.comparison, before, after));
            if (!compared.miss.empty()) answer["miss"] = compared.miss;
        });
    });
}

/// "12 of 2,000 points changed; differs in Classification, PointSourceId"
std::string lineOf(const Json& answer) {
    std::vector<std::string> differing = answer["differing"];
    if (differing.empty()) return "the same";
    std::string line = fmt::format("differs in {}", fmt::join(differing, ", "));
    if (!answer.contains("transitions")) return line;
    std::uint64_t points = 0;
    for (const Json& transition : answer["transitions"]) points += transition["points"].get<std::uint64_t>();
    const std::uint64_t changed =
        points + answer["uncounted"].get<std::uint64_t>() - answer["unchanged"].get<std::uint64_t>();
    return fmt::format("{} changed, {}", pointsText(changed), line);
}

/// The sums of many pairs of files.
class Sums {
public:
    void add(const Json& answer) {
        if (answer.is_null()) return;
        same_ += answer["differing"].empty();
        if (!answer.contains("transitions")) return;
        for (const Json& one : answer["transitions"])
            transitions_.counts[{one["from"], one["to"]}] += one["points"].get<std::uint64_t>();
        transitions_.uncounted += answer["uncounted"].get<std::uint64_t>();
    }

    std::size_t same() const { return same_; }
    const Transitions& transitions() const { return transitions_; }

private:
    std::size_t same_ = 0;
    Transitions transitions_;
};

/// Tiles that are in one of the folders only.
std::vector<std::string> unpaired(const std::map<std::string, std::string>& these,
                                  const std::map<std::string, std::string>& those, const std::string& where) {
    std::vector<std::string> sentences;
    for (const auto& [tile, path] : these)
        if (!those.contains(tile))
            sentences.push_back(fmt::format("{}: there is no survey of this name in {}.", path, where));
    return sentences;
}

void runMany(const CLI::App& command, const GlobalOptions& options, const CompareArguments& arguments,
             const BatchArguments& batch, bool json) {
    if (!arguments.changes.empty()) throw UsageError("--changes: takes the changes of one pair of files.");
    const auto before = surveysByTile(surveysNamed({arguments.before}));
    const auto after = surveysByTile(surveysNamed({arguments.after}), arguments.suffix);
    std::vector<FileTask> tasks;
    std::map<std::string, std::string> partners; // by the file in AFTER
    for (const auto& [tile, path] : after)
        if (const auto partner = before.find(tile); partner != before.end()) {
            tasks.push_back({path, ""});
            partners[path] = partner->second;
        }
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        CompareArguments one = arguments;
        one.before = partners.at(task.in);
        one.after = task.in;
        answerFor(given, one, answer);
    };
    Sums sums;
    const auto answers = forEachFile(command, options, batch, tasks, job, [&](const FileAnswer& one) {
        if (!json && !one.answer.is_null()) fmt::print("{}: {}\n", escaped(one.task.in), lineOf(one.answer));
        if (!one.error.empty()) printError(one.error);
        sums.add(one.answer);
    });
    requireAnyMeant(answers);
    std::vector<std::string> alone = unpaired(before, after, arguments.after);
    std::ranges::copy(unpaired(after, before, arguments.before), std::back_inserter(alone));
    for (const std::string& sentence : alone) printError(sentence);
    const Json total = describe(arguments.field, sums.transitions(), answers.size(), sums.same(), alone);
    json ? printJson(batchAsJson(answers, total))
         : printSums(arguments.field, sums.transitions(), answers.size(), sums.same());
    requireAllWell(answers);
    if (!alone.empty())
        throw NotClean(
            fmt::format("{} survey{} in one of the folders only.", alone.size(), alone.size() == 1 ? " is" : "s are"));
}

} // namespace

void addCompare(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "compare", "Count how the classes changed between two surveys of the same points, and name everything else "
                   "that differs. Says with --only, by its exit status, whether an edit did what it should.");
    const auto arguments = std::make_shared<CompareArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command->add_option("BEFORE", arguments->before, "The survey as it was, or a folder or pattern of many")
        ->required();
    command
        ->add_option(
            "AFTER", arguments->after,
            "The survey as it is now; of many those of the same names, in whatever form (.las, .laz, .copc.laz)")
        ->required();
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
    addBatchOptions(*command, *batch, false);
    command
        ->add_option("--suffix", arguments->suffix, "What the names in AFTER have behind those in BEFORE: \"_fixed\"")
        ->group("Many files");
    const auto json = addJsonFlag(*command);
    command->footer(R"(Limits choose points by what they are in BEFORE. Examples:
  corvane compare before.laz after.laz
  corvane compare before.laz after.laz --only Classification,labels
  corvane compare before.laz after.laz --within parcel.geojson --changes changes.geojson
  corvane compare delivered/ corrected/ --only Classification --jobs 4)");
    command->callback([command, &options, arguments, batch, json] {
        readPolygonsOnce(arguments->limits);
        if (namesSeveral(arguments->before) || namesSeveral(arguments->after))
            return runMany(*command, options, *arguments, *batch, *json);
        runOne(options, *arguments, *json);
    });
}

} // namespace corvane
