// SPDX-License-Identifier: Apache-2.0
// corvane relabel: select into a mask, only in classes that are editable, then apply a label; from the command line.
#include "command/EditCommand.hpp"
#include "limit/Limits.hpp"
#include "survey/ClassNames.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>

namespace corvane {
namespace {

const std::string Editable = "editable"; // flag
const std::string Assign = "Assign";     // selection

struct RelabelArguments : EditArguments {
    std::string assign;
    std::vector<std::string> editable;
    std::vector<std::string> unselect;
    std::vector<double> profile; // x0, y0, x1, y1, width
    std::string profilePolygon, above, below;
    bool withLabels = false, force = false;
};

/// Classes that may change: those of --editable, else those that the label file flags.
std::set<int> editableClasses(const SurveyEdit& edit, const RelabelArguments& arguments, const ClassNames& names) {
    std::set<int> classes;
    if (arguments.editable.empty()) {
        for (const auto& [value, label] : edit.labels())
            if (const auto flag = label.flags.find(Editable); flag != label.flags.end() && flag->second)
                classes.insert(value);
        if (classes.empty())
            throw UsageError("--editable is missing: name the classes whose points may change, such as --editable 1,5, "
                             "or flag them \"editable\" in the file of --labels.");
        return classes;
    }
    if (const auto given = names.values("--editable", arguments.editable)) return {given->begin(), given->end()};
    for (int value = 0; value <= names.largest(); ++value) classes.insert(value);
    return classes;
}

/// Exactly these classes are editable, and the label to assign is chosen.
Kesh::LabelSet preparedLabels(const SurveyEdit& edit, const RelabelArguments& arguments) {
    const ClassNames names(edit.survey(), edit.field(), edit.labels());
    const int assign = names.value("--assign", arguments.assign);
    const std::set<int> editable = editableClasses(edit, arguments, names);
    if (!editable.contains(assign) && !arguments.force)
        throw UsageError(
            fmt::format("--assign {}: that class is not editable, so the points could not be edited again; add it "
                        "to --editable, or give --force.",
                        arguments.assign));
    std::set<int> values = editable;
    values.insert(assign);
    Kesh::LabelSet labels = labelsFor(edit.survey(), arguments.labels, values);
    for (auto& [value, label] : labels) label.flags[Editable] = editable.contains(value);
    labels.addSelection(Assign);
    labels.select(Assign, assign);
    return labels;
}

/// "s,z s,z …" or "s z, s z …": distances along the line and heights.
Stroke::Places readPlaces(const char* option, const std::string& text) {
    std::vector<double> numbers;
    const char *next = text.data(), *end = next + text.size();
    const auto isSeparator = [](char c) { return c == ' ' || c == ',' || c == '\t' || c == '\n'; };
    while ((next = std::find_if_not(next, end, isSeparator)) != end) {
        const char* wordEnd = std::find_if(next, end, isSeparator);
        const auto [stop, error] = std::from_chars(next, wordEnd, numbers.emplace_back());
        if (error != std::errc() || stop != wordEnd || !std::isfinite(numbers.back()))
            throw UsageError(fmt::format("{}: \"{}\" was found where a number is expected; write \"s,z s,z\": the "
                                         "distance along the line and the height.",
                                         option, std::string(next, wordEnd)));
        next = wordEnd;
    }
    if (numbers.size() % 2 != 0)
        throw UsageError(
            fmt::format("{}: {} numbers were found where pairs \"s,z\" are expected: the distance along the "
                        "line and the height.",
                        option, numbers.size()));
    Stroke::Places places;
    for (std::size_t i = 0; i < numbers.size(); i += 2) places.emplace_back(numbers[i], numbers[i + 1]);
    return places;
}

Stroke::Outline profileOutline(const RelabelArguments& arguments) {
    if (!arguments.above.empty()) return Stroke::Above{readPlaces("--above", arguments.above)};
    if (!arguments.below.empty()) return Stroke::Below{readPlaces("--below", arguments.below)};
    return Stroke::Lasso{readPlaces("--polygon", arguments.profilePolygon)};
}

/// The stroke in the vertical slice, if one was given.
std::optional<Stroke> profileStroke(const RelabelArguments& arguments) {
    const std::string* outlines[] = {&arguments.profilePolygon, &arguments.above, &arguments.below};
    const auto given =
        std::count_if(std::begin(outlines), std::end(outlines), [](auto* text) { return !text->empty(); });
    if (arguments.profile.empty() && given == 0) return std::nullopt;
    if (arguments.profile.size() != 5 || given != 1)
        throw UsageError("A profile takes --profile X0,Y0,X1,Y1,WIDTH and one of --polygon, --above and --below.");
    const auto& p = arguments.profile;
    return Stroke{
        .view = Stroke::Profile{{p[0], p[1]}, {p[2], p[3]}, p[4]}, .outline = profileOutline(arguments), .depth = {}};
}

/// Around every point that the file's numbers can express.
Stroke strokeAroundEverything(const Survey& survey) {
    const Sextant::BoundingBox box = survey.expressibleBox();
    return {.view = {},
            .outline = Stroke::Rectangle{glm::dvec2(box.minimum) - 1.0, glm::dvec2(box.maximum) + 1.0},
            .depth = {}};
}

/// What is selected: under the stroke in the profile, within the limits, or both; else everything.
Stroke selection(const std::optional<Stroke>& inProfile, const SurveyEdit& edit) {
    if (!inProfile && !edit.limit()) return strokeAroundEverything(edit.survey());
    Stroke stroke = inProfile.value_or(allWithin(nullptr));
    stroke.limit = edit.limit();
    return stroke;
}

std::optional<EditResult> run(const GlobalOptions& options, const RelabelArguments& arguments) {
    const auto inProfile = profileStroke(arguments);
    SurveyEdit edit(options, arguments);
    edit.addEditor("Edit/MaskedLabels");
    const Kesh::LabelSet labels = preparedLabels(edit, arguments);

    edit.network().set("editor.labels", labels);
    edit.draw(selection(inProfile, edit));
    edit.act();
    if (!arguments.unselect.empty()) {
        const auto taken = polygonsFor(edit.survey().las(), arguments.unselect, arguments.limits.polygons);
        edit.draw(allWithin(insidePolygons(taken.polygons)));
        edit.network().press("editor.unselect");
        edit.act();
    }
    edit.network().press("editor.applySelection");
    edit.act();
    return edit.finish(arguments.withLabels ? &labels : nullptr);
}

void addOptions(CLI::App& command, RelabelArguments& a) {
    command.add_option("--assign", a.assign, "Class that the points get, by number or name")->required();
    command
        .add_option(
            "--editable", a.editable,
            "Classes whose points may change: 1,5, high-vegetation, 1-5, any; without it those that the file of "
            "--labels flags \"editable\"")
        ->allow_extra_args(false);
    command.add_option("--unselect", a.unselect, "Polygon whose points are taken out of the selection again")
        ->allow_extra_args(false);
    command
        .add_option("--profile", a.profile,
                    "X0,Y0,X1,Y1,WIDTH: a vertical slice along a line, to select in from the side")
        ->delimiter(',')
        ->expected(5);
    command.add_option("--polygon", a.profilePolygon,
                       "In the profile: \"s,z s,z s,z\" (distance along the line, height)");
    command.add_option("--above", a.above, "In the profile: everything above the line \"s,z s,z\"");
    command.add_option("--below", a.below, "In the profile: everything below the line \"s,z s,z\"");
    command.add_flag("--with-labels", a.withLabels, "Save the names of the classes in the file, too");
    command.add_flag("--force", a.force, "Assign a class that is not editable");
}

} // namespace

void addRelabel(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept) {
    CLI::App* command = program.add_subcommand(
        "relabel", "Select points into a mask, only in classes that may change, and give them another class.");
    const auto arguments = std::make_shared<RelabelArguments>();
    addOptions(*command, *arguments);
    const EditJob job = [arguments](const GlobalOptions& given) { return run(given, *arguments); };
    if (kept) return makeKeptEditCommand(*command, options, *arguments, job, kept);
    makeEditCommand(*command, options, *arguments, job);
    command->footer(R"(Examples:
  corvane relabel in.laz out.laz --assign wire-conductor --editable 1,5,14 --profile 500100,5200100,500200,5200100,4 \
      --above "0,485 100,487"
  corvane relabel in.las out.las --assign 9 --editable any --within lake.geojson --unselect island.geojson)");
}

} // namespace corvane
