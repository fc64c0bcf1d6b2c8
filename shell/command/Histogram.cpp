// SPDX-License-Identifier: Apache-2.0
// corvane histogram: how many points have each value, with minimum, maximum and mean of a second quantity.
#include "Kesh/values/BoxValue.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "command/SoundParts.hpp"
#include "limit/Limits.hpp"
#include "network/Counting.hpp"
#include "network/Stroke.hpp"
#include "plot/HistogramPlot.hpp"
#include "polygon/Polygons.hpp"
#include "session/PolygonMiss.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <limits>
#include <optional>
#include <set>

namespace corvane {
namespace {

/// Bytes. One pass over the points has no use for more, and memory that is used again is faster than fresh memory.
constexpr std::size_t OnePassMemory = std::size_t{16} << 20;

struct Arguments {
    std::string survey, field = ClassificationName, box, mask, secondary, labels, plot;
    std::vector<std::string> within;
    bool overwrite = false;
};

/// Null when none is given.
Kesh::BoxPtr boxOf(const Arguments& arguments) {
    Kesh::BoxPtr box;
    try {
        Kesh::VValueTrait<Kesh::BoxPtr>::setValueFromText(box, arguments.box);
    } catch (const std::invalid_argument& problem) {
        throw UsageError(fmt::format("--box: {}.", problem.what()));
    }
    return box;
}

/// Checks what can be checked before the survey is opened.
void checkCall(const Arguments& arguments) {
    boxOf(arguments);
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
Kesh::LabelSet labelsOf(const Survey& survey, const Arguments& arguments) {
    std::set<int> classes;
    if (survey.findField(arguments.field).name == ClassificationName)
        for (int value = 0; value <= std::numeric_limits<std::uint8_t>::max(); ++value) classes.insert(value);
    if (classes.empty() && arguments.labels.empty()) return {};
    return labelsFor(survey, arguments.labels, classes);
}

std::string fileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

/// What was counted, for the picture.
std::string regionText(const Arguments& arguments) {
    if (!arguments.box.empty()) return "in the box " + arguments.box;
    if (!arguments.mask.empty()) return fmt::format("where {} is not zero", arguments.mask);
    if (arguments.within.empty()) return "whole survey";
    std::vector<std::string> polygons;
    std::error_code error; // a polygon is longer than a name can be
    for (const std::string& within : arguments.within)
        polygons.push_back(std::filesystem::exists(within, error) ? fileName(within) : "a polygon");
    return fmt::format("inside {}", fmt::join(polygons, " or "));
}

CountTask::Region regionOf(const Survey& survey, const Arguments& arguments,
                           const std::optional<PolygonSet>& polygons) {
    if (!arguments.box.empty()) return *boxOf(arguments);
    if (!arguments.mask.empty()) return CountTask::WhereNotZero{maskField(survey, arguments.mask)};
    if (polygons) return brushOf(allWithin(insidePolygons(*polygons)), survey);
    return CountTask::WholeSurvey();
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json, Reading reading) {
    checkCall(arguments);
    const auto polygons = arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
    CommandSession session(options);
    const SurveyOptions usual;
    const auto survey = session.open(arguments.survey, polygons ? usual.memoryBytes : OnePassMemory, reading);
    const std::string field = countableField(*survey, arguments.field);
    const CountTask task{.field = survey->selector(field),
                         .region = regionOf(*survey, arguments, polygons),
                         .secondary = secondaryOf(*survey, arguments.secondary),
                         .labels = labelsOf(*survey, arguments)};
    const Count counted = countPoints(*survey, task, session.watch());
    if (!counted.complete() && reading == Reading::Whole && hasSoundParts(arguments.survey))
        return run(options, arguments, json, Reading::Sound);
    const Kesh::VHistogram& histogram = counted.histogram;
    session.printLateWarnings(*survey);
    if (const std::string note = noteOnSecondary(histogram); !note.empty()) session.warn(note);
    if (survey->las().header.pointCount == 0) session.warn(arguments.survey + ": has no points.");
    if (polygons && histogram.total() == 0)
        if (const PolygonMiss miss = missOf(*survey, *polygons); !miss.sentence.empty()) session.warn(miss.sentence);
    json ? printJson(histogramAsJson(histogram, task.labels)) : fmt::print("{}\n", counted.report);
    if (!arguments.plot.empty())
        for (const std::string& loss :
             plotHistogram(histogram, task.labels, {fileName(arguments.survey), field, regionText(arguments)},
                           arguments.plot, arguments.overwrite))
            session.warn(fmt::format("{}: {}", arguments.plot, loss));
    requireWhole(survey->las());
    if (!counted.complete())
        throw NotClean(arguments.survey + ": the count is incomplete: some points could not be had.");
}

void addOptions(CLI::App& command, Arguments& a) {
    command.add_option("FILE", a.survey, "The survey")->required();
    command.add_option("--field", a.field, "Field to count")->capture_default_str();
    const CLI::Validator given([](std::string& text) { return text.empty() ? std::string("is empty") : ""; }, "");
    CLI::Option* box = command.add_option("--box", a.box, "X0,Y0,Z0,X1,Y1,Z1: count in this box, faces included");
    CLI::Option* within = command
                              .add_option("--within", a.within,
                                          "Count inside a polygon: WKT, or a file of WKT or GeoJSON. Several mean "
                                          "their union")
                              ->allow_extra_args(false);
    CLI::Option* mask = command.add_option("--mask", a.mask, "Count where this field of 8 bits is not zero");
    box->excludes(within)->excludes(mask)->check(given);
    within->excludes(mask);
    mask->check(given);
    command.add_option("--secondary", a.secondary,
                       "Z or another field: its minimum, maximum and mean among the points of each value");
    command.add_option("--labels", a.labels,
                       "Label set (JSON); otherwise the survey's own labels and the standard names");
    CLI::Option* plot = command.add_option("--plot", a.plot, "Draw a bar chart into this file, .svg or .png");
    command.add_flag("--overwrite", a.overwrite, "Replace the picture if it exists")->needs(plot);
}

} // namespace

void addHistogram(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "histogram", "Count the points of each class: of the whole survey, in a box, a polygon or a mask.");
    const auto arguments = std::make_shared<Arguments>();
    addOptions(*command, *arguments);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] {
        readingWhatIsSound({arguments->survey}, [&](Reading reading) { run(options, *arguments, *json, reading); });
    });
}

} // namespace corvane
