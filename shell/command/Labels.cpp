// SPDX-License-Identifier: Apache-2.0
// corvane labels: what the classes of a survey are called, by the file itself, by the standard, or made from the
// values.
#include "Kesh/values/LabelAttributes.hpp"
#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "base/Text.hpp"
#include "command/Batch.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "network/Network.hpp"
#include "survey/LabelFile.hpp"
#include "survey/StandardLabels.hpp"

#include <fmt/format.h>

#include <cmath>

namespace corvane {
namespace {

struct LabelsArguments {
    std::string survey, field = ClassificationName, out;
    bool standard = false, derive = false, overwrite = false;
};

/// The names that the file and the format give are those of classes.
void checkNamesClasses(const std::string& field) {
    if (!sameName(field, ClassificationName))
        throw UsageError(fmt::format("--field {}: only the values of \"{}\" have names of their own; add --derive to "
                                     "make labels from the values of another field.",
                                     field, ClassificationName));
}

Kesh::LabelSet standardFor(CommandSession& session, const Survey& survey) {
    std::set<int> values;
    const Count counted = countPoints(survey, {.field = survey.selector(ClassificationName)}, session.watch());
    if (!counted.complete()) throw Failure(survey.path() + ": some of its classes could not be read.");
    for (const auto& [value, count] : classCounts(counted.histogram)) values.insert(value);
    return standardLabels(values, survey.las().header.pointFormat);
}

/// By the module, which stores them with the field.
Kesh::LabelSet derived(CommandSession& session, const std::string& path, const std::string& field) {
    Network network(session.open(path), session.watch());
    network.addObject("points", "Field");
    network.set("points.name", field);
    network.addObject("labels", "Compute/Labels");
    network.connect("points.field", "labels.inputfield");
    network.update();
    const auto labels = Kesh::readLabelSet(network.fieldOf("labels")->attributes());
    if (!labels) throw Failure(fmt::format("{}: no labels could be made from the field \"{}\".", path, field));
    return *labels;
}

Kesh::LabelSet labelsOf(const GlobalOptions& options, const LabelsArguments& arguments) {
    CommandSession session(options);
    if (arguments.derive) return derived(session, arguments.survey, arguments.field);
    checkNamesClasses(arguments.field);
    const auto survey = session.open(arguments.survey);
    if (!arguments.standard) {
        if (auto own = survey->labels()) return std::move(*own);
        session.note(arguments.survey + ": names no classes itself; these are the standard names of those that occur.");
    }
    return standardFor(session, *survey);
}

void print(const Kesh::LabelSet& labels) {
    const auto byte = [](float channel) { return std::lround(channel * 255); };
    fmt::print("{:>7} {:<7} {}\n", "value", "colour", "name");
    for (const auto& [value, label] : labels)
        fmt::print("{:>7} #{:02x}{:02x}{:02x} {}\n", value, byte(label.colour.r), byte(label.colour.g),
                   byte(label.colour.b), escaped(label.name));
}

Json asJson(const Kesh::LabelSet& labels) { return Json::parse(Kesh::VValueTrait<Kesh::LabelSet>::Text(labels)); }

void run(const GlobalOptions& options, const LabelsArguments& arguments, bool json) {
    if (!arguments.out.empty()) checkMayWrite(arguments.out, arguments.overwrite);
    const Kesh::LabelSet labels = labelsOf(options, arguments);
    if (!arguments.out.empty())
        for (const std::string& warning : saveLabels(labels, arguments.out, arguments.overwrite))
            if (!options.quiet) printWarning(fmt::format("{}: {}", arguments.out, warning));
    json ? printJson(asJson(labels)) : print(labels);
}

/// A line for each class of each file.
void runMany(const CLI::App& command, const GlobalOptions& options, const LabelsArguments& arguments,
             const BatchArguments& batch, bool json) {
    if (!arguments.out.empty()) throw UsageError("--out: takes the labels of one file.");
    const auto job = [&](const FileTask& task, const GlobalOptions& given, Json& answer) {
        LabelsArguments one = arguments;
        one.survey = task.in;
        answer = {{"file", task.in}, {"labels", asJson(labelsOf(given, one))["labels"]}};
    };
    const auto answers = forEachFile(
        command, options, batch, tasksFor(surveysNamed(batch.files), batch), job, [&](const FileAnswer& one) {
            if (!one.error.empty()) printError(one.error);
            if (json || one.answer.is_null()) return;
            for (const Json& label : one.answer["labels"])
                printLine(fmt::format("{}: {:>5} {}", escaped(one.task.in), label["value"].get<int>(),
                                      escaped(label["name"].get_ref<const std::string&>())));
        });
    if (json) printJson(batchAsJson(answers, {{"files", answers.size()}}));
    requireAllWell(answers);
}

} // namespace

void addLabels(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "labels", "Show what the classes of a survey are called, and write it as a label file: what the file's own "
                  "Classification Lookup says, or else the standard names of the classes that occur.");
    const auto arguments = std::make_shared<LabelsArguments>();
    const auto batch = std::make_shared<BatchArguments>();
    command->add_option("FILES", batch->files, "Surveys, folders of them, and patterns")->required();
    CLI::Option* standard =
        command->add_flag("--standard", arguments->standard, "The LAS format's names of the classes that occur");
    command
        ->add_flag("--derive", arguments->derive, "A label for each value that occurs, with a made-up name and colour")
        ->excludes(standard);
    command->add_option("--field", arguments->field, "The field to derive from")->capture_default_str();
    command->add_option("--out", arguments->out, "Write the labels to this file, as JSON");
    command->add_flag("--overwrite", arguments->overwrite, "Replace the file if it exists");
    addBatchOptions(*command, *batch, false);
    const auto json = addJsonFlag(*command);
    command->callback([command, &options, arguments, batch, json] {
        if (batch->files.size() > 1 || namesSeveral(batch->files[0]))
            return runMany(*command, options, *arguments, *batch, *json);
        arguments->survey = batch->files[0];
        run(options, *arguments, *json);
    });
    command->footer(R"(Examples:
  corvane labels tile.las
  corvane labels tile.las --out classes.json
The label file is JSON; docs/labels.md describes it.)");
}

} // namespace corvane
