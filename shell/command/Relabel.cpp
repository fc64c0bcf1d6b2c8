// SPDX-License-Identifier: Apache-2.0
// corvane relabel: select into a mask, only in classes that are editable, then apply a label; from the command line.
#include "command/EditCommand.hpp"
#include "command/Output.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>

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

/// "s,z s,z …" as the network writes points.
std::string pointsText(const std::string& text) {
    std::string points;
    bool separated = true;
    for (const char c : text) {
        if (c == ' ' && !separated) points += ", ";
        if (c != ' ') points += c == ',' ? ' ' : c;
        separated = c == ' ';
    }
    return points;
}

/// The stroke in the vertical slice, if one was given.
std::optional<Json> profileStroke(const Arguments& arguments) {
    const std::string* outlines[] = {&arguments.profilePolygon, &arguments.above, &arguments.below};
    const auto given =
        std::count_if(std::begin(outlines), std::end(outlines), [](auto* text) { return !text->empty(); });
    if (arguments.profile.empty() && given == 0) return std::nullopt;
    if (arguments.profile.size() != 5 || given != 1)
        throw UsageError("A profile takes --profile X0,Y0,X1,Y1,WIDTH and one of --polygon, --above and --below.");
    const auto& p = arguments.profile;
    Json stroke{{"view", {{"profile", {{"from", {p[0], p[1]}}, {"to", {p[2], p[3]}}, {"width", p[4]}}}}}};
    if (!arguments.profilePolygon.empty())
        stroke["polygon"] = "POLYGON((" + pointsText(arguments.profilePolygon) + "))";
    if (!arguments.above.empty()) stroke["above"] = pointsText(arguments.above);
    if (!arguments.below.empty()) stroke["below"] = pointsText(arguments.below);
    return stroke;
}

Json aboveStroke(const PolygonSet& polygons) { return {{"view", "above"}, {"polygon", polygons.wkt}}; }

/// Around every point that the file's numbers can express.
Json strokeAroundEverything(const Survey& survey) {
    const Sextant::BoundingBox box = survey.expressibleBox();
    return {{"view", "above"},
            {"rectangle", {box.minimum.x - 1, box.minimum.y - 1, box.maximum.x + 1, box.maximum.y + 1}}};
}

Json buildNetwork(const Arguments& arguments, const Survey& survey, const std::string& field,
                  const Kesh::LabelSet& labels, const std::optional<PolygonSet>& polygons) {
    const Json parameters{{"labels", Json::parse(Kesh::VValueTrait<Kesh::LabelSet>::Text(labels))}};
    Json network = editNetwork(arguments, field, "Edit/MaskedLabels", parameters, true);
    Json& actions = network["actions"];
    const auto inProfile = profileStroke(arguments);
    if (polygons) actions.push_back(drawAction(aboveStroke(*polygons)));
    if (inProfile) actions.push_back(drawAction(*inProfile));
    if (!polygons && !inProfile) actions.push_back(drawAction(strokeAroundEverything(survey)));
    if (!arguments.unselect.empty()) {
        Json unselect = drawAction(aboveStroke(readPolygons(arguments.unselect)));
        unselect["press"] = "editor.unselect";
        actions.push_back(unselect);
    }
    addFinalAction(network, Json::object(), "applySelection");
    return network;
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    checkCall(arguments);
    const auto polygons = arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
    const Session session(options);
    const auto survey = session.open(arguments.in);
    const SurveyField& field = survey->findField(arguments.field);
    for (const int value : arguments.editable) checkValue("--editable", value, *survey, field);
    checkValue("--assign", arguments.assign, *survey, field);
    const Kesh::LabelSet labels = preparedLabels(labelsOf(*survey, arguments), arguments);
    runEdit(session, survey, arguments, buildNetwork(arguments, *survey, field.name, labels, polygons), polygons,
            arguments.withLabels ? &labels : nullptr, json);
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
