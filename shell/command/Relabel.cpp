// SPDX-License-Identifier: Apache-2.0
// corvane relabel: select into a mask, only in classes that are editable, then apply a label; from the command line.
#include "command/Output.hpp"
#include "command/SurveyEdit.hpp"
#include "limit/Limits.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <set>
#include <sstream>

namespace corvane {
namespace {

const std::string Editable = "editable"; // flag
const std::string Assign = "Assign";     // selection

struct Arguments : EditArguments {
    int assign = 0;
    std::vector<int> editable;
    std::string labels;
    std::vector<std::string> unselect;
    std::vector<double> profile; // x0, y0, x1, y1, width
    std::string profilePolygon, above, below;
    bool withLabels = false, force = false;
};

Kesh::LabelSet labelsOf(const Survey& survey, const Arguments& arguments) {
    std::set<int> values(arguments.editable.begin(), arguments.editable.end());
    values.insert(arguments.assign);
    return labelsFor(survey, arguments.labels, values);
}

/// Every class that is named must have a label, so that a typing error is not taken for a class.
void requireLabel(const Kesh::LabelSet& labels, int value, const char* option) {
    if (labels.find(value)) return;
    std::vector<int> known;
    for (const auto& [key, label] : labels) known.push_back(key);
    throw UsageError(
        fmt::format("{} {}: the label set has no such class; it has {}.", option, value, fmt::join(known, ", ")));
}

/// Exactly the given classes are editable, and the label to assign is chosen.
Kesh::LabelSet preparedLabels(Kesh::LabelSet labels, const Arguments& arguments) {
    requireLabel(labels, arguments.assign, "--assign");
    for (const int value : arguments.editable) requireLabel(labels, value, "--editable");
    const std::set<int> editable(arguments.editable.begin(), arguments.editable.end());
    for (auto& [value, label] : labels) label.flags[Editable] = editable.contains(value);
    if (!editable.contains(arguments.assign) && !arguments.force)
        throw UsageError(
            fmt::format("--assign {}: that class is not editable, so the points could not be edited again; add it "
                        "to --editable, or give --force.",
                        arguments.assign));
    labels.addSelection(Assign);
    labels.select(Assign, arguments.assign);
    return labels;
}

/// "s,z s,z …"
Stroke::Places readPlaces(const char* option, const std::string& text) {
    Stroke::Places places;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        glm::dvec2 place(0);
        const char* end = word.data() + word.size();
        const auto along = std::from_chars(word.data(), end, place.x);
        const bool separated = along.ec == std::errc() && along.ptr != end && *along.ptr == ',';
        const auto height = separated ? std::from_chars(along.ptr + 1, end, place.y) : along;
        if (!separated || height.ec != std::errc() || height.ptr != end || !std::isfinite(place.x + place.y))
            throw UsageError(
                fmt::format("{}: \"{}\" was found where \"s,z\" is expected: the distance along the line and "
                            "the height.",
                            option, word));
        places.push_back(place);
    }
    return places;
}

Stroke::Outline profileOutline(const Arguments& arguments) {
    if (!arguments.above.empty()) return Stroke::Above{readPlaces("--above", arguments.above)};
    if (!arguments.below.empty()) return Stroke::Below{readPlaces("--below", arguments.below)};
    return Stroke::Lasso{readPlaces("--polygon", arguments.profilePolygon)};
}

/// The stroke in the vertical slice, if one was given.
std::optional<Stroke> profileStroke(const Arguments& arguments) {
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

/// What is selected: under the stroke in the profile, inside the polygons, or both; else everything.
Stroke selection(const std::optional<Stroke>& inProfile, const SurveyEdit& edit) {
    if (!inProfile && !edit.within()) return strokeAroundEverything(edit.survey());
    Stroke stroke = inProfile.value_or(allWithin(nullptr));
    stroke.limit = edit.within();
    return stroke;
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    const auto unselected = arguments.unselect.empty() ? std::nullopt : std::optional(readPolygons(arguments.unselect));
    const auto inProfile = profileStroke(arguments);
    SurveyEdit edit(options, arguments, "Edit/MaskedLabels");
    for (const int value : arguments.editable) edit.checkValue("--editable", value);
    edit.checkValue("--assign", arguments.assign);
    const Kesh::LabelSet labels = preparedLabels(labelsOf(edit.survey(), arguments), arguments);

    edit.network().set("editor.labels", labels);
    edit.draw(selection(inProfile, edit));
    edit.act();
    if (unselected) {
        edit.draw(allWithin(insidePolygons(*unselected)));
        edit.network().press("editor.unselect");
        edit.act();
    }
    edit.network().press("editor.applySelection");
    edit.act();
    edit.finish(arguments.withLabels ? &labels : nullptr, json);
}

void addOptions(CLI::App& command, Arguments& a) {
    addEditOptions(command, a);
    command.add_option("--assign", a.assign, "Class that the points get")->required();
    command.add_option("--editable", a.editable, "Classes whose points may change, e.g. 1,5")
        ->required()
        ->delimiter(',');
    command.add_option("--labels", a.labels,
                       "Label set (JSON); otherwise the survey's own labels and the standard names");
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

void addRelabel(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "relabel", "Select points into a mask, only in classes that may change, and give them another class.");
    const auto arguments = std::make_shared<Arguments>();
    addOptions(*command, *arguments);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] { run(options, *arguments, *json); });
}

} // namespace corvane
