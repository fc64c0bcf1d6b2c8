// SPDX-License-Identifier: Apache-2.0
// corvane reclassify: gives points of some classes another class. One class for up to four others is an edit of
// ModifyClassification; a table, flags, or more of them one by rules.
#include "command/EditCommand.hpp"
#include "limit/Limits.hpp"
#include "network/ClassTable.hpp"
#include "survey/ClassNames.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace corvane {
namespace {

constexpr std::size_t Sources = 4; // of the module
constexpr char EditorType[] = "Edit/ModifyClassification";

struct ReclassifyArguments : EditArguments {
    std::vector<std::string> from, map;
    std::string to;
    std::string exchange; // number of a source; empty: none
};

void checkCall(const ReclassifyArguments& arguments) {
    if (!arguments.map.empty()) {
        if (!arguments.limits.classFrom.empty()) throw UsageError("--map: does not go with --class-from.");
        if (!arguments.from.empty() || !arguments.to.empty() || !arguments.exchange.empty())
            throw UsageError("--map: says from and to by itself; leave out --from, --to and --switch.");
        return;
    }
    if (!arguments.limits.classFrom.empty()) {
        if (!arguments.to.empty() || !arguments.exchange.empty())
            throw UsageError("--class-from: each feature says to which class; leave out --to and --switch.");
        return;
    }
    if (arguments.from.empty() || arguments.to.empty())
        throw UsageError("--from and --to are missing: give both, such as --from ground --to building, or a table with "
                         "--map 3:5,5:3.");
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

/// The module's sources. Those that are not needed repeat the first, or under --switch the one that is exchanged, so
/// that class 0 is never meant by accident.
void setUpModule(Network& network, std::vector<int> sources, int target, const std::string& exchange) {
    const std::size_t exchanged = exchange.empty() ? 0 : static_cast<std::size_t>(exchange[0] - '0');
    sources.resize(Sources, exchanged < sources.size() ? sources[exchanged] : sources[0]);
    network.set("editor.newvalue", target);
    for (std::size_t i = 0; i < Sources; ++i) network.set(fmt::format("editor.from{}", i), sources[i]);
    if (!exchange.empty()) network.set("editor.switch", exchange);
}

ClassRules tableOf(const ReclassifyArguments& arguments, const ClassNames& names) {
    ClassNaming naming;
    naming.classes = [&](const std::string& word) { return names.values("--map", {word}); };
    naming.oneClass = [&](const std::string& word) { return names.value("--map", word); };
    try {
        return parseClassTable(fmt::format("{}", fmt::join(arguments.map, ",")), naming);
    } catch (const UsageError& problem) {
        const std::string what = problem.what();
        throw UsageError(what.find("--map") == what.npos ? "--map " + what : what);
    }
}

/// A rule for each feature; points of all classes are meant unless --from says which.
ClassRules featureRules(const SurveyEdit& edit, const ReclassifyArguments& arguments, const ClassNames& names) {
    const auto from = arguments.from.empty() ? std::nullopt : names.values("--from", arguments.from);
    ClassRules rules;
    for (const ClassFeature& feature : edit.features())
        rules.rules.push_back(
            {from, {}, insidePolygons(feature.polygons), names.value(feature.name, feature.value), {}});
    return rules;
}

void setUp(SurveyEdit& edit, const ReclassifyArguments& arguments) {
    const ClassNames names(edit.survey(), edit.field(), edit.labels());
    if (!edit.features().empty()) {
        edit.addEditor(ClassTableType);
        return edit.network().set("editor.rules", featureRules(edit, arguments, names));
    }
    if (!arguments.map.empty()) {
        edit.addEditor(ClassTableType);
        return edit.network().set("editor.rules", tableOf(arguments, names));
    }
    const int target = names.value("--to", arguments.to);
    const auto sources = names.values("--from", arguments.from);
    const bool fits = sources && sources->size() <= Sources &&
                      std::max(target, *std::ranges::max_element(*sources)) <= largestValueOfModule();
    if (!arguments.exchange.empty() && !fits)
        throw UsageError(fmt::format("--switch: exchanges one of four sources, of classes up to {}; use --map.",
                                     largestValueOfModule()));
    edit.addEditor(fits ? EditorType : ClassTableType);
    if (fits) return setUpModule(edit.network(), *sources, target, arguments.exchange);
    edit.network().set("editor.rules", ClassRules{{{sources, {}, nullptr, target, {}}}});
}

std::optional<EditResult> run(const GlobalOptions& options, const ReclassifyArguments& arguments) {
    checkCall(arguments);
    SurveyEdit edit(options, arguments);
    setUp(edit, arguments);
    if (edit.limit()) edit.draw(allWithin(edit.limit()));
    edit.network().press("editor.assign");
    edit.act();
    return edit.finish(nullptr);
}

} // namespace

void addReclassify(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept) {
    CLI::App* command = program.add_subcommand(
        "reclassify",
        kept ? "Give points of some classes another class, inside limits or everywhere."
             : "Give points of some classes another class, inside limits or everywhere, and save the survey with "
               "nothing else changed.");
    const auto arguments = std::make_shared<ReclassifyArguments>();
    command
        ->add_option("--from", arguments->from,
                     "Classes to be changed: numbers, names, ranges, lists: 2, ground, 1-5, \"2,3\", any")
        ->allow_extra_args(false);
    command->add_option("--to", arguments->to, "Class that they get, by number or name");
    command
        ->add_option("--map", arguments->map,
                     "A table instead, over the values as they were: 3:5,5:3. With flags on either side: 8:2+KeyPoint, "
                     "7:+Withheld, 2+Withheld:7")
        ->allow_extra_args(false);
    command
        ->add_option("--switch", arguments->exchange, "Exchange --to with source 0, 1, 2 or 3, which reverses an edit")
        ->check(CLI::IsMember({"0", "1", "2", "3"}));
    command->add_option("--class-from", arguments->limits.classFrom,
                        "Attribute of the features in the file of --within that says which class the points in each "
                        "get; the first of several features counts");
    command->add_option("--where-feature", arguments->limits.whereFeature,
                        "Which features, in SQL: \"status = 'approved'\"");
    const EditJob job = [arguments](const GlobalOptions& given) { return run(given, *arguments); };
    if (kept) return makeKeptEditCommand(*command, options, *arguments, job, kept);
    makeEditCommand(*command, options, *arguments, job);
    command->footer(R"(Examples:
  corvane reclassify in.laz out.laz --from ground --to building --within roofs.geojson
  corvane reclassify in.las out.las --from any --to water --within lake.gpkg --z ..12.5
  corvane reclassify in.las out.las --map 3:5,5:3
  corvane reclassify 'tiles/*.laz' --out-dir fixed --from 7,18 --to 1 --where "Z < 400" --jobs 4)");
}

} // namespace corvane
