// SPDX-License-Identifier: Apache-2.0
#include "command/EditCommand.hpp"

#include "base/NearestName.hpp"
#include "command/Output.hpp"
#include "las/StandardClasses.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>

namespace corvane {
namespace {

constexpr char Points[] = "points", Editor[] = "editor", LassoBrush[] = "lasso.brush";

struct Range {
    std::uint64_t minimum = 0, maximum = std::numeric_limits<std::uint64_t>::max();
    bool contains(std::uint64_t n) const { return n >= minimum && n <= maximum; }
};

/// "10..20", or "10" for exactly that.
Range parseRange(const std::string& text) {
    if (text.empty()) return {};
    const auto number = [&](const std::string& digits) -> std::uint64_t {
        const bool valid = !digits.empty() && digits.size() < 19 &&
                           std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!valid)
            throw UsageError(
                fmt::format("--expect: \"{}\" was found where MIN..MAX is expected, such as 1..5000.", text));
        return std::stoull(digits);
    };
    const std::size_t dots = text.find("..");
    if (dots == std::string::npos) return {number(text), number(text)};
    const Range range{number(text.substr(0, dots)), number(text.substr(dots + 2))};
    if (range.minimum > range.maximum)
        throw UsageError(fmt::format("--expect: \"{}\" expects nothing at all; write the smaller number first.", text));
    return range;
}

/// Polygons that meet no point are no mistake when many tiles are edited with the same ones; degrees are one.
void tellMiss(const Session& session, const Survey& survey, const PolygonSet& polygons) {
    const Miss miss = missOf(survey, polygons);
    if (miss.degrees) throw Failure(miss.sentence + " Nothing was written.");
    if (!miss.sentence.empty()) session.warn(miss.sentence);
}

void print(const std::string& status, const ClassCounts& before, const ClassCounts& after, bool json) {
    const std::uint64_t changed = changedPoints(before, after);
    if (json)
        return printJson({{"status", status},
                          {"changed", changed},
                          {"before", countsAsJson(before)},
                          {"after", countsAsJson(after)}});
    fmt::print("status: {}\n", status);
    printCounts(before, after);
    fmt::print("{} points changed\n", changed);
}

} // namespace

void addEditOptions(CLI::App& command, EditArguments& arguments) {
    command.add_option("IN", arguments.in, "The survey")->required();
    command.add_option("OUT", arguments.out, "The file to write");
    command.add_option("--field", arguments.field, "Field to edit")->capture_default_str();
    command
        .add_option("--within", arguments.within,
                    "Polygon: WKT, or a file of WKT or GeoJSON. Several mean their union; none, everything")
        ->allow_extra_args(false);
    command.add_flag("--dry-run", arguments.dryRun, "Write nothing");
    command.add_option("--expect", arguments.expect,
                       "MIN..MAX: fail, with nothing written, when another number of points changes");
    command.add_flag("--overwrite", arguments.overwrite, "Replace OUT if it exists");
    command.add_flag("--print-network", arguments.printNetwork,
                     "Print the network that would be run, and do nothing else");
}

void checkCall(const EditArguments& arguments) {
    parseRange(arguments.expect);
    if (arguments.dryRun || arguments.printNetwork) return;
    if (arguments.out.empty()) throw UsageError("OUT is missing: name the file to write, or give --dry-run.");
    checkMayWrite(arguments.out, arguments.overwrite);
}

int largestValueOf(const Survey& survey, const SurveyField& field) {
    const std::uint32_t largest = field.editable ? survey.las().dimensions[field.dimension].largestValue() : 0;
    if (largest > 0) return static_cast<int>(largest);
    throw UsageError(fmt::format("--field {}: holds values of type {}; fields of uint8 and uint16 can be edited.",
                                 field.name, field.type));
}

void checkValue(const char* option, int value, const Survey& survey, const SurveyField& field) {
    const int largest = largestValueOf(survey, field);
    if (value >= 0 && value <= largest) return;
    const LasFile& las = survey.las();
    throw UsageError(fmt::format("{} {}: the field \"{}\" of this survey holds 0 to {}. {}", option, value, field.name,
                                 largest, remedyFor(las.dimensions[field.dimension], las.header.pointFormat)));
}

Json editNetwork(const EditArguments& arguments, const std::string& field, const std::string& editorType,
                 const Json& parameters, bool brush) {
    Json objects{{{"name", Points}, {"type", "Field"}, {"parameters", {{"name", field}}}}};
    Json connections{{{"from", fmt::format("{}.field", Points)}, {"to", fmt::format("{}.labelfield", Editor)}}};
    if (brush) {
        objects.push_back({{"name", "lasso"}, {"type", "Brush"}});
        connections.push_back({{"from", LassoBrush}, {"to", fmt::format("{}.brush", Editor)}});
    }
    objects.push_back({{"name", Editor}, {"type", editorType}, {"parameters", parameters}});
    return {{"survey", arguments.in},
            {"objects", objects},
            {"connections", connections},
            {"actions", Json::array({{{"report", Points}}})}};
}

Json drawAction(const Json& stroke) { return {{"draw", {{LassoBrush, stroke}}}}; }

void addFinalAction(Json& network, Json action, const std::string& trigger) {
    action["press"] = fmt::format("{}.{}", Editor, trigger);
    action["report"] = Editor;
    network["actions"].push_back(action);
}

void runEdit(const Session& session, const std::shared_ptr<const Survey>& survey, const EditArguments& arguments,
             Json description, const std::optional<PolygonSet>& polygons, const Kesh::LabelSet* labels, bool json) {
    if (arguments.printNetwork) {
        if (!arguments.out.empty()) description["actions"].push_back({{"save", arguments.out}});
        return printJson(description);
    }
    Network network(survey);
    std::vector<Report> reports;
    NetworkFile(description.dump(), "the network of this command")
        .run(network, {.report = [&](const Report& report) { reports.push_back(report); }, .save = {}});
    const ClassCounts &before = reports.front().counts, &after = reports.back().counts;
    const std::uint64_t changed = changedPoints(before, after);
    if (polygons && changed == 0) tellMiss(session, *survey, *polygons);
    session.printLateWarnings(*survey);
    print(reports.back().status, before, after, json);
    if (!parseRange(arguments.expect).contains(changed))
        throw Failure(fmt::format("{} points would change where {} are expected (--expect); nothing was written.",
                                  changed, arguments.expect));
    if (!arguments.dryRun) session.save(*survey, arguments.out, arguments.overwrite, labels);
}

} // namespace corvane
