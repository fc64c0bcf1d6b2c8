// SPDX-License-Identifier: Apache-2.0
#include "command/SurveyEdit.hpp"

#include "Kesh/values/LabelAttributes.hpp"
#include "base/Text.hpp"
#include "network/FieldRange.hpp"
#include "network/Objects.hpp"
#include "session/PolygonMiss.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <limits>

namespace corvane {
namespace {

constexpr char EditorName[] = "editor";

struct Range {
    std::uint64_t minimum = 0, maximum = std::numeric_limits<std::uint64_t>::max();
    bool contains(std::uint64_t n) const { return n >= minimum && n <= maximum; }
};

std::uint64_t parseBound(const std::string& digits, const std::string& text) {
    std::uint64_t number = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number);
    if (error != std::errc() || stop != end)
        throw UsageError(fmt::format("--expect: \"{}\" was found where MIN..MAX is expected, such as 1..5000.", text));
    return number;
}

/// "10..20", or "10" for exactly that.
Range parseRange(const std::string& text) {
    if (text.empty()) return {};
    const std::size_t dots = text.find("..");
    if (dots == std::string::npos) return {parseBound(text, text), parseBound(text, text)};
    const Range range{parseBound(text.substr(0, dots), text), parseBound(text.substr(dots + 2), text)};
    if (range.minimum > range.maximum)
        throw UsageError(fmt::format("--expect: \"{}\" expects nothing at all; write the smaller number first.", text));
    return range;
}

/// What can be checked before the survey is opened; the limits.
CallLimits checkedCall(const EditArguments& arguments) {
    parseRange(arguments.expect);
    if (!arguments.dryRun && !arguments.printNetwork && !arguments.keep) {
        if (arguments.out.empty()) throw UsageError("OUT is missing: name the file to write, or give --dry-run.");
        checkMayWriteSurvey(arguments.out, arguments.overwrite);
    }
    return CallLimits(arguments.limits);
}

const SurveyField& editableField(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (largestValueOf(survey, field) > 0) return field;
    throw UsageError(fmt::format("--field {}: holds values of type {}; fields of uint8 and uint16 can be edited.",
                                 field.name, field.type));
}

/// The option that gives a part of a stroke.
std::string optionFor(const std::string& part) {
    if (part == "view") return "profile";
    return part == "lasso" ? "polygon" : part;
}

} // namespace

Json asJson(const EditResult& result) {
    Json json{{"file", result.file},
              {"points", result.points},
              {"status", result.status},
              {"changed", result.changed},
              {"before", countsAsJson(result.before)},
              {"after", countsAsJson(result.after)}};
    if (result.tally) json["tally"] = Json::parse(Kesh::VValueTrait<ClassTally>::Text(*result.tally));
    for (std::size_t i = 0; i < result.ruleNames.size(); ++i) json["tally"]["rules"][i]["name"] = result.ruleNames[i];
    if (!result.miss.empty()) json["miss"] = result.miss;
    if (!result.kept.empty()) json["kept"] = result.kept;
    if (result.written)
        json["written"] = {
            {"file", result.written->path}, {"bytes", result.written->bytes}, {"seconds", result.written->seconds}};
    return json;
}

void print(const EditResult& result) {
    printCounts(result.before, result.after, result.names);
    if (result.tally)
        for (const auto& [name, flag] : result.tally->flags)
            fmt::print("{}: set for {}, cleared for {}\n", name, pointsText(flag.set), pointsText(flag.cleared));
    for (std::size_t i = 0; i < result.ruleNames.size(); ++i) {
        const ClassTally::Rule& rule = result.tally->rules[i];
        fmt::print("{}: {} inside, {} changed{}\n", escaped(result.ruleNames[i]), pointsText(rule.inside), rule.changed,
                   rule.overlaps == 0 ? "" : fmt::format(", {} left to features before it", pointsText(rule.overlaps)));
    }
    const bool done = result.written || !result.kept.empty();
    fmt::print("{} {}\n", pointsText(result.changed), done ? "changed" : "would change");
    if (!result.kept.empty()) fmt::print("kept in {}\n", escaped(result.kept));
    if (result.written)
        printWritten(result.written->path, result.points, result.written->bytes, result.written->seconds);
}

void addEditOptions(CLI::App& command, EditArguments& arguments) {
    command.add_option("--field", arguments.field, "Field to edit")->capture_default_str();
    addLimitOptions(command, arguments.limits);
    command.add_option("--labels", arguments.labels,
                       "Label file (JSON) that gives classes names, over the survey's own and the standard ones");
    command.add_flag("--dry-run", arguments.dryRun, "Write nothing");
    command.add_option("--expect", arguments.expect,
                       "MIN..MAX: fail, with nothing written, when another number of points changes");
    command.add_flag("--print-network", arguments.printNetwork,
                     "Print the network that would be run, and do nothing else");
}

SurveyEdit::SurveyEdit(const GlobalOptions& options, const EditArguments& arguments)
    : arguments_(arguments),
      limits_(checkedCall(arguments)),
      session_(options),
      edited_(open()),
      survey_(edited_.survey),
      field_(editableField(*survey_, arguments.field)),
      labels_(arguments.labels.empty() ? Kesh::LabelSet() : loadLabels(arguments.labels)),
      limit_(limits_.on(*survey_, [this](const std::string& sentence) { session_.note(sentence); })),
      network_(survey_, session_.watch()) {
    if (edited_.keeper) network_.setUndoDepth(KeptSteps);
    network_.addObject("points", FieldType);
    network_.set("points.name", field_.name);
}

EditedSurvey SurveyEdit::open() {
    if (!arguments_.keep || arguments_.dryRun || arguments_.printNetwork)
        return {session_.open(arguments_.in), nullptr};
    return session_.openToEdit(arguments_.in);
}

void SurveyEdit::addEditor(const std::string& type) {
    network_.addObject(EditorName, type);
    network_.connect("points.field", "editor.labelfield");
}

void SurveyEdit::draw(const Stroke& stroke) {
    if (!hasBrush_) {
        network_.addObject("lasso", BrushType);
        network_.connect("lasso.brush", "editor.brush");
        hasBrush_ = true;
        stroke_ = stroke;
    }
    try {
        network_.draw("lasso.brush", stroke);
    } catch (const StrokeProblem& problem) { // only what is drawn in the profile can be
        throw UsageError(fmt::format("--{}: {}.", optionFor(problem.part), problem.what()));
    }
}

ClassCounts SurveyEdit::counts() const {
    const Count count = countPoints(*survey_, {.field = survey_->selector(field_.name)}, session_.watch());
    if (!count.complete() && survey_->las().header.pointCount > 0)
        throw Failure(arguments_.in + ": some of its points could not be counted. Nothing was written.");
    return classCounts(count.histogram);
}

void SurveyEdit::act() {
    if (arguments_.printNetwork) return network_.recordUpdate();
    if (before_.empty()) before_ = counts();
    network_.update();
}

void SurveyEdit::save(EditResult& result, const Kesh::LabelSet* labels) {
    const auto begin = std::chrono::steady_clock::now();
    session_.save(*survey_, arguments_.out, arguments_.overwrite, labels);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::error_code error; // the file may have been taken away already
    const auto bytes = std::filesystem::file_size(arguments_.out, error);
    result.written = {arguments_.out, error ? 0 : static_cast<std::uint64_t>(bytes), taken.count()};
}

/// Empty when a point was meant.
std::string SurveyEdit::missText(const EditResult& result) const {
    if (hasBrush_)
        if (std::string miss = limits_.missOn(*survey_, stroke_, session_.watch()); !miss.empty()) return miss;
    if (features().empty() || !result.tally) return "";
    const auto inside = [](const ClassTally::Rule& rule) { return rule.inside > 0; };
    if (std::ranges::any_of(result.tally->rules, inside)) return "";
    const PolygonMiss first = missOf(*survey_, features().front().polygons);
    return first.sentence.empty()
               ? fmt::format("No point of the survey lies in any of the {} features.", features().size())
               : first.sentence;
}

std::optional<EditResult> SurveyEdit::finish(const Kesh::LabelSet* labels) {
    if (arguments_.printNetwork) {
        printJson(network_.record().asJson(arguments_.in, "points", EditorName, arguments_.out));
        return std::nullopt;
    }
    EditResult result{.file = arguments_.in,
                      .field = field_.name,
                      .points = survey_->las().header.pointCount,
                      .before = before_,
                      .after = counts(),
                      .tally = network_.tallyOf(EditorName),
                      .ruleNames = {},
                      .status = network_.status(EditorName).text,
                      .miss = {},
                      .written = {},
                      .kept = {},
                      .names = {}};
    result.changed = result.tally ? result.tally->changed : changedPoints(result.before, result.after);
    if (field_.name == ClassificationName) result.names = namesOf(*survey_, labels_, {&result.before, &result.after});
    session_.printLateWarnings(*survey_);
    for (const ClassFeature& feature : features())
        result.ruleNames.push_back(fmt::format("{}, class {}", feature.name, feature.value));
    if (result.changed == 0 && !arguments_.limits.allowMiss) result.miss = missText(result);
    if (!result.miss.empty()) return result;
    if (!parseRange(arguments_.expect).contains(result.changed))
        throw Failure(fmt::format("{}: {} would change where {} are expected (--expect); nothing was written.",
                                  arguments_.in, pointsText(result.changed), arguments_.expect));
    if (arguments_.dryRun) return result;
    if (edited_.keeper) {
        const auto field = survey_->points().findField(field_.name);
        if (labels) Kesh::storeLabelSet(*labels, *field, Holdfast::Ageable::nextTime());
        edited_.keeper->commit(network_.record().newText());
        result.kept = edited_.keeper->store().path();
        edited_.keeper->close();
    } else if (!arguments_.changedOnly || result.changed > 0) {
        save(result, labels);
    }
    return result;
}

} // namespace corvane
