// SPDX-License-Identifier: Apache-2.0
// corvane reclassify: one edit of ModifyClassification, from the command line.
#include "command/EditCommand.hpp"
#include "command/Output.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace corvane {
namespace {

constexpr std::size_t Sources = 4; // of the module
constexpr char EditorType[] = "Edit/ModifyClassification";

struct Arguments : EditArguments {
    std::vector<int> from;
    int to = 0;
    std::string exchange; // number of a source; empty: none
};

/// The four sources of the module. What is not given repeats the first, or under --switch the one that is exchanged, so
/// that class 0 is never meant by accident.
std::vector<int> allSources(const Arguments& arguments) {
    const std::size_t exchanged =
        arguments.exchange.empty() ? 0 : static_cast<std::size_t>(arguments.exchange[0] - '0');
    std::vector<int> sources = arguments.from;
    sources.resize(Sources, exchanged < arguments.from.size() ? arguments.from[exchanged] : arguments.from[0]);
    return sources;
}

/// The module's own bound, which is tighter than that of a field of 16 bits.
int largestValueOfModule() {
    const auto creator = Kesh::VCreatorBase::find(EditorType);
    if (!creator) throw Failure(fmt::format("The plug-in has no module \"{}\".", EditorType));
    const Kesh::ParameterTable& parameters = creator->properties().parameters();
    const auto target = std::ranges::find(parameters, "newvalue", &Kesh::ParameterIntroduction::name);
    const int* largest = target == parameters.end() ? nullptr : target->properties.getValue<int>("max");
    return largest ? *largest : std::numeric_limits<int>::max();
}

void checkModuleTakes(const char* option, int value, int largest) {
    if (value > largest)
        throw UsageError(fmt::format("{} {}: the module {} takes 0 to {}; edit larger values with relabel.", option,
                                     value, EditorType, largest));
}

Json parametersOf(const Arguments& arguments) {
    Json parameters{{"newvalue", arguments.to}};
    const std::vector<int> sources = allSources(arguments);
    for (std::size_t i = 0; i < Sources; ++i) parameters[fmt::format("from{}", i)] = sources[i];
    if (!arguments.exchange.empty()) parameters["switch"] = arguments.exchange;
    return parameters;
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    checkCall(arguments);
    if (arguments.from.size() > Sources)
        throw UsageError(fmt::format("--from was given {} times; the module has {} sources. Edit in two calls.",
                                     arguments.from.size(), Sources));
    const auto polygons = arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
    const Session session(options);
    const auto survey = session.open(arguments.in);
    const SurveyField& field = survey->findField(arguments.field);
    for (const int value : arguments.from) checkValue("--from", value, *survey, field);
    checkValue("--to", arguments.to, *survey, field);
    const int bound = largestValueOfModule();
    for (const int value : arguments.from) checkModuleTakes("--from", value, bound);
    checkModuleTakes("--to", arguments.to, bound);

    Json network = editNetwork(arguments, field.name, EditorType, parametersOf(arguments), polygons.has_value());
    addFinalAction(network, polygons ? drawAction({{"view", "above"}, {"polygon", polygons->wkt}}) : Json::object(),
                   "assign");
    runEdit(session, survey, arguments, network, polygons, nullptr, json);
}

} // namespace

void addReclassify(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "reclassify",
        "Give points of some classes another class, inside polygons or everywhere, and save the survey with "
        "nothing else changed.");
    const auto arguments = std::make_shared<Arguments>();
    addEditOptions(*command, *arguments);
    command->add_option("--from", arguments->from, "Class to be changed; up to four of them")
        ->required()
        ->allow_extra_args(false);
    command->add_option("--to", arguments->to, "Class that they get")->required();
    command
        ->add_option("--switch", arguments->exchange, "Exchange --to with source 0, 1, 2 or 3, which reverses an edit")
        ->check(CLI::IsMember({"0", "1", "2", "3"}));
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] { run(options, *arguments, *json); });
}

} // namespace corvane
