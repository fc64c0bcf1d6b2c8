// SPDX-License-Identifier: Apache-2.0
// corvane reclassify: one edit of ModifyClassification, from the command line.
#include "command/Output.hpp"
#include "command/SurveyEdit.hpp"

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

void checkValue(const SurveyEdit& edit, const char* option, int value, int largestOfModule) {
    edit.checkValue(option, value);
    if (value > largestOfModule)
        throw UsageError(fmt::format("{} {}: the module {} takes 0 to {}; edit larger values with relabel.", option,
                                     value, EditorType, largestOfModule));
}

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    if (arguments.from.size() > Sources)
        throw UsageError(fmt::format("--from was given {} times; the module has {} sources. Edit in two calls.",
                                     arguments.from.size(), Sources));
    SurveyEdit edit(options, arguments, EditorType);
    const int largest = largestValueOfModule();
    for (const int value : arguments.from) checkValue(edit, "--from", value, largest);
    checkValue(edit, "--to", arguments.to, largest);

    Network& network = edit.network();
    network.set("editor.newvalue", arguments.to);
    const std::vector<int> sources = allSources(arguments);
    for (std::size_t i = 0; i < Sources; ++i) network.set(fmt::format("editor.from{}", i), sources[i]);
    if (!arguments.exchange.empty()) network.set("editor.switch", arguments.exchange);
    if (edit.within()) edit.draw(allWithin(edit.within()));
    network.press("editor.assign");
    edit.act();
    edit.finish(nullptr, json);
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
