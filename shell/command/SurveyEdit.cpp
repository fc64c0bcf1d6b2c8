// SPDX-License-Identifier: Apache-2.0
#include "command/SurveyEdit.hpp"

#include "base/OutputFile.hpp"
#include "command/Output.hpp"
#include "las/StandardClasses.hpp"
#include "limit/Limits.hpp"
#include "network/FieldRange.hpp"
#include "network/Objects.hpp"
#include "session/PolygonMiss.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <limits>

namespace corvane {
namespace {

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

/// What can be checked before the survey is opened; the polygons, if there are any.
std::optional<PolygonSet> checkedCall(const EditArguments& arguments) {
    parseRange(arguments.expect);
    if (!arguments.dryRun && !arguments.printNetwork) {
        if (arguments.out.empty()) throw UsageError("OUT is missing: name the file to write, or give --dry-run.");
        checkMayWrite(arguments.out, arguments.overwrite);
    }
    return arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
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
                    "Polygon that limits the edit: WKT, or a file of WKT or GeoJSON. Several mean their union; none, "
                    "everything")
        ->allow_extra_args(false);
    command.add_flag("--dry-run", arguments.dryRun, "Write nothing");
    command.add_option("--expect", arguments.expect,
                       "MIN..MAX: fail, with nothing written, when another number of points changes");
    command.add_flag("--overwrite", arguments.overwrite, "Replace OUT if it exists");
    command.add_flag("--print-network", arguments.printNetwork,
                     "Print the network that would be run, and do nothing else");
}

SurveyEdit::SurveyEdit(const GlobalOptions& options, const EditArguments& arguments, const std::string& editorType)
    : arguments_(arguments),
      polygons_(checkedCall(arguments)),
      within_(polygons_ ? insidePolygons(*polygons_) : nullptr),
      session_(options),
      survey_(session_.open(arguments.in)),
      field_(editableField(*survey_, arguments.field)),
      network_(survey_, session_.watch()) {
    network_.addObject("points", FieldType);
    network_.set("points.name", field_.name);
    network_.addObject("editor", editorType);
    network_.connect("points.field", "editor.labelfield");
}

void SurveyEdit::checkValue(const char* option, int value) const {
    const LasFile& las = survey_->las();
    const int largest = static_cast<int>(largestValueOf(*survey_, field_));
    if (value >= 0 && value <= largest) return;
    throw UsageError(fmt::format("{} {}: the field \"{}\" of this survey holds 0 to {}.{}", option, value, field_.name,
                                 largest, remedyFor(las.dimensions[field_.dimension], las.header.pointFormat)));
}

void SurveyEdit::draw(const Stroke& stroke) {
    if (!hasBrush_) {
        network_.addObject("lasso", BrushType);
        network_.connect("lasso.brush", "editor.brush");
        hasBrush_ = true;
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

/// Polygons that meet no point are no mistake when many tiles are edited with the same ones; degrees are one.
void SurveyEdit::tellMiss() {
    const PolygonMiss miss = missOf(*survey_, *polygons_);
    if (miss.degrees) throw Failure(miss.sentence + " Nothing was written.");
    if (!miss.sentence.empty()) session_.warn(miss.sentence);
}

void SurveyEdit::finish(const Kesh::LabelSet* labels, bool json) {
    if (arguments_.printNetwork)
        return printJson(network_.record().asJson(arguments_.in, "points", "editor", arguments_.out));
    const ClassCounts after = counts();
    const std::uint64_t changed = changedPoints(before_, after);
    if (within_ && changed == 0) tellMiss();
    session_.printLateWarnings(*survey_);
    print(network_.status("editor").text, before_, after, json);
    if (!parseRange(arguments_.expect).contains(changed))
        throw Failure(fmt::format("{} points would change where {} are expected (--expect); nothing was written.",
                                  changed, arguments_.expect));
    if (!arguments_.dryRun) session_.save(*survey_, arguments_.out, arguments_.overwrite, labels);
}

} // namespace corvane
