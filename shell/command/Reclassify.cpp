// SPDX-License-Identifier: Apache-2.0
// corvane reclassify: one edit of ModifyClassification, from the command line. Builds a network and runs it.
#include "NearestName.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "las/LasDimensions.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace corvane {
namespace {

constexpr std::size_t Sources = 4; // of the module
constexpr char EditorType[] = "Edit/ModifyClassification";
constexpr char Points[] = "points", Lasso[] = "lasso", Editor[] = "editor"; // names of objects

struct Arguments {
    std::string in, out, field = "Classification", exchange, expect;
    std::vector<int> from;
    int to = 0;
    std::vector<std::string> within;
    bool dryRun = false, overwrite = false, printNetwork = false;
};

struct Range {
    std::uint64_t minimum = 0, maximum = std::numeric_limits<std::uint64_t>::max();
    bool contains(std::uint64_t n) const { return n >= minimum && n <= maximum; }
};

/// "10..20"
Range parseRange(const std::string& text) {
    const std::size_t dots = text.find("..");
    const auto number = [&](const std::string& digits) -> std::uint64_t {
        const bool valid = !digits.empty() && digits.size() < 19 &&
                           std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
        if (!valid)
            throw UsageError(
                fmt::format("--expect: \"{}\" was found where MIN..MAX is expected, such as 1..5000.", text));
        return std::stoull(digits);
    };
    if (dots == std::string::npos) return {number(text), number(text)};
    return {number(text.substr(0, dots)), number(text.substr(dots + 2))};
}

/// The four sources of the module. What is not given repeats the first, or under --switch the one that is exchanged, so
/// that class 0 is never meant by accident.
std::vector<int> allSources(const Arguments& arguments) {
    const std::size_t exchanged =
        arguments.exchange.empty() ? 0 : static_cast<std::size_t>(arguments.exchange[0] - '0');
    std::vector<int> sources = arguments.from;
    sources.resize(Sources, exchanged < arguments.from.size() ? arguments.from[exchanged] : arguments.from[0]);
    return sources;
}

/// The largest value that the field can hold. Throws UsageError for a field that no editor takes.
int largestValueOf(const Survey& survey, const SurveyField& field) {
    const std::uint32_t largest = field.editable ? survey.las().dimensions[field.dimension].largestValue() : 0;
    if (largest > 0) return static_cast<int>(largest);
    throw UsageError(fmt::format("--field {}: holds values of type {}; fields of uint8 and uint16 can be edited.",
                                 field.name, field.type));
}

/// What the field cannot hold can neither be found nor stored there.
void checkValue(const char* option, int value, const SurveyField& field, int largest) {
    if (value >= 0 && value <= largest) return;
    const bool fiveBits = sameName(field.name, "Classification") && largest == 31;
    throw UsageError(fmt::format("{} {}: the field \"{}\" of this survey holds 0 to {}.{}", option, value, field.name,
                                 largest,
                                 fiveBits ? " Its point format has five bits for the class; convert the file to one of "
                                            "the point formats 6 to 10 first."
                                          : ""));
}

Json buildNetwork(const Arguments& arguments, const std::string& fieldName, const std::optional<PolygonSet>& polygons) {
    Json parameters{{"newvalue", arguments.to}};
    const std::vector<int> sources = allSources(arguments);
    for (std::size_t i = 0; i < Sources; ++i) parameters[fmt::format("from{}", i)] = sources[i];
    if (!arguments.exchange.empty()) parameters["switch"] = arguments.exchange;

    Json objects{{{"name", Points}, {"type", "Field"}, {"parameters", {{"name", fieldName}}}}};
    Json connections{{{"from", fmt::format("{}.field", Points)}, {"to", fmt::format("{}.labelfield", Editor)}}};
    Json action = Json::object();
    if (polygons) {
        const std::string brush = fmt::format("{}.brush", Lasso);
        objects.push_back({{"name", Lasso}, {"type", "Brush"}});
        connections.push_back({{"from", brush}, {"to", fmt::format("{}.brush", Editor)}});
        action["draw"] = {{brush, {{"view", "above"}, {"polygon", polygons->wkt}}}};
    }
    objects.push_back({{"name", Editor}, {"type", EditorType}, {"parameters", parameters}});
    action["press"] = fmt::format("{}.assign", Editor);
    action["report"] = Editor;
    return {{"survey", arguments.in},
            {"objects", objects},
            {"connections", connections},
            {"actions", {{{"report", Points}}, action}}};
}

PlanePoint planePoint(const std::array<double, 3>& corner) { return {corner[0], corner[1]}; }

/// Polygons that meet no point are no mistake when many tiles are edited with the same ones; degrees are one.
void tellMiss(const Session& session, const Survey& survey, const PolygonSet& polygons) {
    const PlanePoint minimum = planePoint(survey.las().header.minimum),
                     maximum = planePoint(survey.las().header.maximum);
    const std::string miss = describeMiss(polygons, minimum, maximum);
    if (lookLikeDegrees(polygons, minimum, maximum)) throw Failure(miss + " Nothing was written.");
    if (!miss.empty()) session.warn(miss);
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

void checkCall(const Arguments& arguments) {
    if (arguments.from.size() > Sources)
        throw UsageError(fmt::format("--from was given {} times; the module has {} sources. Edit in two calls.",
                                     arguments.from.size(), Sources));
    if (arguments.out.empty() && !arguments.dryRun && !arguments.printNetwork)
        throw UsageError("OUT is missing: name the file to write, or give --dry-run.");
    if (!arguments.out.empty() && !arguments.dryRun) checkMayWrite(arguments.out, arguments.overwrite);
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    checkCall(arguments);
    const Range expected = arguments.expect.empty() ? Range() : parseRange(arguments.expect);
    const auto polygons = arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
    const Session session(options);
    const auto survey = session.open(arguments.in);
    const SurveyField& field = survey->findField(arguments.field);
    const int largest = largestValueOf(*survey, field);
    for (const int value : arguments.from) checkValue("--from", value, field, largest);
    checkValue("--to", arguments.to, field, largest);

    Json description = buildNetwork(arguments, field.name, polygons);
    if (arguments.printNetwork) {
        if (!arguments.out.empty()) description["actions"].push_back({{"save", arguments.out}});
        return printJson(description);
    }
    Network network(survey);
    std::vector<Report> reports;
    NetworkFile(description.dump(), "reclassify")
        .run(network, {.report = [&](const Report& report) { reports.push_back(report); }, .save = {}});
    const ClassCounts &before = reports.front().counts, &after = reports.back().counts;
    const std::uint64_t changed = changedPoints(before, after);
    if (polygons && changed == 0) tellMiss(session, *survey, *polygons);
    session.printLateWarnings(*survey);
    print(reports.back().status, before, after, json);
    if (!expected.contains(changed))
        throw Failure(fmt::format("{} points would change where {} are expected (--expect); nothing was written.",
                                  changed, arguments.expect));
    if (!arguments.dryRun) session.save(*survey, arguments.out, arguments.overwrite);
}

} // namespace

void addReclassify(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "reclassify",
        "Give points of some classes another class, inside polygons or everywhere, and save the survey with "
        "nothing else changed.");
    const auto a = std::make_shared<Arguments>();
    command->add_option("IN", a->in, "The survey")->required();
    command->add_option("OUT", a->out, "The file to write");
    command->add_option("--from", a->from, "Class to be changed; up to four of them")
        ->required()
        ->allow_extra_args(false);
    command->add_option("--to", a->to, "Class that they get")->required();
    command->add_option("--field", a->field, "Field to edit")->capture_default_str();
    command->add_option("--within", a->within, "Polygon: WKT, or a file of WKT or GeoJSON. Several mean their union")
        ->allow_extra_args(false);
    command->add_option("--switch", a->exchange, "Exchange --to with source 0, 1, 2 or 3, which reverses an edit")
        ->check(CLI::IsMember({"0", "1", "2", "3"}));
    command->add_flag("--dry-run", a->dryRun, "Write nothing");
    command->add_option("--expect", a->expect,
                        "MIN..MAX: fail, with nothing written, when another number of points changes");
    command->add_flag("--overwrite", a->overwrite, "Replace OUT if it exists");
    command->add_flag("--print-network", a->printNetwork, "Print the network that would be run, and do nothing else");
    const auto json = addJsonFlag(*command);
    command->callback([&options, a, json] { run(options, *a, *json); });
}

} // namespace corvane
