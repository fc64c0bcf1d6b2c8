// SPDX-License-Identifier: Apache-2.0
// corvane histogram: how many points have each value, with minimum, maximum and mean of a second quantity.
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "check/ClassNames.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "network/Counting.hpp"
#include "network/Stroke.hpp"
#include "plot/HistogramPlot.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <set>

namespace corvane {
namespace {

/// Bytes. One pass over the points has no use for more, and memory that is used again is faster than fresh memory.
constexpr std::size_t OnePassMemory = std::size_t{16} << 20;

/// The same where an expression is looked at before the points are counted: what is counted stays meanwhile.
constexpr std::size_t WhereMemory = std::size_t{64} << 20;

struct HistogramArguments {
    std::string field = ClassificationName, mask, secondary, labels, plot;
    LimitArguments limits;
    bool overwrite = false;
};

/// Checks what can be checked before the survey is opened.
void checkCall(const HistogramArguments& arguments) {
    if (!arguments.mask.empty() && arguments.limits.any())
        throw UsageError("--mask: counts where a field is not zero, and takes no other limit.");
    if (arguments.plot.empty()) return;
    checkCanPlot(arguments.plot);
    checkMayWrite(arguments.plot, arguments.overwrite);
}

/// The field's exact name. Heights are taken from the positions, which are no numbers themselves.
std::string secondaryOf(const Survey& survey, const std::string& name) {
    if (name.empty() || sameName(name, "Z")) return name;
    const SurveyField& field = survey.findField(name);
    if (field.dimension != SurveyField::None) return field.name;
    throw UsageError(fmt::format("--secondary {}: three numbers a point have no minimum; give X, Y or Z.", name));
}

/// The field's exact name, if it can be counted.
std::string countableField(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (field.type == "uint8" || field.type == "uint16") return field.name;
    throw UsageError(fmt::format("--field {}: holds values of type {}; fields of uint8 and uint16 can be counted.",
                                 field.name, field.type));
}

std::string maskField(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (field.type == "uint8") return field.name;
    throw UsageError(
        fmt::format("--mask {}: holds values of type {}; a field of uint8 can be a mask.", field.name, field.type));
}

/// Names for every class; none for the values of another field.
Kesh::LabelSet labelsOf(const Survey& survey, const HistogramArguments& arguments) {
    std::set<int> classes;
    if (survey.findField(arguments.field).name == ClassificationName)
        for (int value = 0; value <= std::numeric_limits<std::uint8_t>::max(); ++value) classes.insert(value);
    if (classes.empty() && arguments.labels.empty()) return {};
    return labelsFor(survey, arguments.labels, classes);
}

std::string fileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

/// What was counted, for the picture.
std::string regionText(const HistogramArguments& arguments) {
    if (!arguments.mask.empty()) return fmt::format("where {} is not zero", arguments.mask);
    return arguments.limits.any() ? limitText(arguments.limits) : "whole survey";
}

CountTask::Region regionOf(const Survey& survey, const HistogramArguments& arguments, const Kesh::LimitPtr& limit) {
    if (!arguments.mask.empty()) return CountTask::WhereNotZero{maskField(survey, arguments.mask)};
    if (limit) return brushOf(allWithin(limit), survey);
    return CountTask::WholeSurvey();
}

/// What was counted of one file.
struct Counted {
    std::string file, field, miss;
    Kesh::VHistogram histogram;
    Kesh::LabelSet labels;
    std::optional<LasHeader> header;
};

Json asJson(const Counted& counted) { return histogramAsJson(counted.histogram, counted.labels); }

void print(const Counted& counted) {
    printHistogram(counted.histogram, counted.field, counted.labels, *counted.header);
}

/// Counts one file, and draws it if that is wanted; `say` gets the answer before what is not whole of it is told.
void count(const GlobalOptions& options, const HistogramArguments& arguments, const std::string& path, Reading reading,
           const std::function<void(const Counted&)>& say) {
    checkCall(arguments);
    CallLimits limits(arguments.limits);
    CommandSession session(options);
    const SurveyOptions usual;
    const std::size_t memory = !arguments.limits.any()          ? OnePassMemory
                               : arguments.limits.where.empty() ? usual.memoryBytes
                                                                : WhereMemory;
    const auto survey = session.open(path, memory, reading);
    const std::string field = countableField(*survey, arguments.field);
    const Kesh::LimitPtr limit = limits.on(*survey, [&](const std::string& sentence) { session.note(sentence); });
    const CountTask task{.field = survey->selector(field),
                         .region = regionOf(*survey, arguments, limit),
                         .secondary = secondaryOf(*survey, arguments.secondary),
                         .labels = labelsOf(*survey, arguments)};
    const Count result = countPoints(*survey, task, session.watch());
    if (!result.complete() && reading == Reading::Whole && hasSoundParts(path))
        return count(options, arguments, path, Reading::Sound, say);
    Counted counted{path, field, "", result.histogram, task.labels, survey->las().header};
    session.printLateWarnings(*survey);
    if (const std::string note = noteOnSecondary(counted.histogram); !note.empty()) session.warn(note);
    if (survey->las().header.pointCount == 0) session.warn(path + ": has no points.");
    if (limit && counted.histogram.total() == 0 && result.complete() && !limits.allowMiss())
        counted.miss = limits.missOn(*survey, std::nullopt, session.watch());
    say(counted);
    if (!arguments.plot.empty())
        for (const std::string& loss :
             plotHistogram(counted.histogram, task.labels, {fileName(path), field, regionText(arguments)},
                           arguments.plot, arguments.overwrite))
            session.warn(fmt::format("{}: {}", arguments.plot, loss));
    requireWhole(survey->las());
    if (!result.complete()) throw NotClean(path + ": the count is incomplete: some points could not be had.");
}

void countOne(const GlobalOptions& options, const HistogramArguments& arguments, const std::string& path, bool json) {
    readingWhatIsSound({path}, [&](Reading reading) {
        count(options, arguments, path, reading, [&](const Counted& counted) {
            if (!counted.miss.empty()) throw Failure(path + ": " + counted.miss);
            json ? printJson(asJson(counted)) : print(counted);
        });
    });
}

void answerFor(const GlobalOptions& options, const HistogramArguments& arguments, const std::string& path,
               Json& answer) {
    readingWhatIsSound({path}, [&](Reading reading) {
        count(options, arguments, path, reading, [&](const Counted& counted) {
            answer = {{"file", counted.file}};
            answer.update(asJson(counted));
            if (!counted.miss.empty()) answer["miss"] = counted.miss;
        });
    });
}

void countMany(const CLI::App& command, const GlobalOptions& options, HistogramArguments& arguments,
               const BatchArguments& batch, bool json) {
    if (!arguments.plot.empty()) throw UsageError("--plot: draws one file.");
    const auto tasks = tasksFor(surveysNamed(batch.files), batch);
    readPolygonsOnce(arguments.limits);
    ClassCounts total;
    Kesh::LabelSet names;
    std::uint64_t points = 0;
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        answerFor(given, arguments, task.in, answer);
    };
    const auto answers = forEachFile(command, options, batch, tasks, job, [&](const FileAnswer& one) {
        if (!one.error.empty()) printError(one.error);
        if (one.answer.is_null()) return;
        std::uint64_t counted = 0;
        for (const Json& entry : one.answer["values"]) {
            const int value = entry["value"];
            total[value] += entry["count"].get<std::uint64_t>();
            counted += entry["count"].get<std::uint64_t>();
            if (entry["label"].is_string()) names[value].name = entry["label"];
        }
        points += counted;
        if (!json) fmt::print("{}: {}\n", escaped(one.task.in), pointsText(counted));
    });
    requireAnyMeant(answers);
    if (json) {
        printJson(
            batchAsJson(answers, {{"files", answers.size()}, {"points", points}, {"counts", countsAsJson(total)}}));
    } else {
        printCounts(total, names);
        fmt::print("{} in {} files\n", pointsText(points), answers.size());
    }
    requireAllWell(answers);
}

void addOptions(CLI::App& command, HistogramArguments& a) {
    command.add_option("--field", a.field, "Field to count")->capture_default_str();
    addLimitOptions(command, a.limits);
    command.add_option("--mask", a.mask, "Count where this field of 8 bits is not zero");
    command.add_option("--secondary", a.secondary,
                       "Z or another field: its minimum, maximum and mean among the points of each value");
    command.add_option("--labels", a.labels,
                       "Label file (JSON) that gives classes names, over the survey's own and the standard ones");
    CLI::Option* plot = command.add_option("--plot", a.plot, "Draw a bar chart into this file, .svg or .png");
    command.add_flag("--overwrite", a.overwrite, "Replace the picture if it exists")->needs(plot);
}

} // namespace

void addHistogram(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "histogram", "Count the points of each class: of the whole survey, within limits, or in a mask.");
    const auto arguments = std::make_shared<HistogramArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command->add_option("FILES", batch->files, "Surveys, folders of them, and patterns such as 'tiles/*.laz'")
        ->required();
    addOptions(*command, *arguments);
    addBatchOptions(*command, *batch, false);
    const auto json = addJsonFlag(*command);
    command->callback([command, &options, arguments, batch, json] {
        if (batch->files.size() == 1 && !namesSeveral(batch->files[0]))
            countOne(options, *arguments, batch->files[0], *json);
        else
            countMany(*command, options, *arguments, *batch, *json);
    });
    command->footer(R"(Examples:
  corvane histogram tile.laz --secondary Z
  corvane histogram tiles/ --where "ReturnNumber == 1" --jobs 4
  corvane histogram tile.las --within parcel.geojson --plot parcel.svg)");
}

} // namespace corvane
