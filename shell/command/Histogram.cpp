// SPDX-License-Identifier: Apache-2.0
// corvane histogram: how many points have each value, with minimum, maximum and mean of a second quantity. Builds a
// network with PointCloudHistogram and runs it.
#include "Fiber/FragmentBox.hpp"
#include "Kesh/values/BoxValue.hpp"
#include "base/NearestName.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
#include "network/Objects.hpp"
#include "network/Strokes.hpp"
#include "plot/HistogramPlot.hpp"
#include "polygon/Polygons.hpp"
#include "survey/BrushedPoints.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>
#include <glm/common.hpp>
#include <glm/vector_relational.hpp>

#include <cmath>
#include <filesystem>
#include <limits>
#include <optional>
#include <set>

namespace corvane {
namespace {

using BoxTrait = Kesh::VValueTrait<Kesh::BoxPtr>;
using Point = Sextant::PhysicalSpace::point;

/// Bytes. One pass over the points has no use for more, and memory that is used again is faster than fresh memory.
constexpr std::size_t OnePassMemory = std::size_t{16} << 20;

struct Arguments {
    std::string survey, field = "Classification", box, mask, secondary, labels, plot;
    std::vector<std::string> within;
    bool overwrite = false;
};

/// Checks what can be checked before the survey is opened.
void checkCall(const Arguments& arguments) {
    Kesh::BoxPtr box;
    try {
        BoxTrait::setValueFromText(box, arguments.box);
    } catch (const std::invalid_argument& problem) {
        throw UsageError(fmt::format("--box: {}.", problem.what()));
    }
    if (arguments.plot.empty()) return;
    checkCanPlot(arguments.plot);
    checkMayWrite(arguments.plot, arguments.overwrite);
}

/// Heights are taken from the positions.
bool isField(const std::string& secondary) { return !secondary.empty() && !sameName(secondary, "Z"); }

/// The field's exact name, if it can be counted.
std::string countableField(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (field.type == "uint8" || field.type == "uint16") return field.name;
    throw UsageError(fmt::format("--field {}: holds values of type {}; fields of uint8 and uint16 can be counted.",
                                 field.name, field.type));
}

std::string maskField(const Survey& survey, const std::string& name) {
    const SurveyField& field = survey.findField(name);
    if (field.type == "uint8") return field.name;
    throw UsageError(
        fmt::format("--mask {}: holds values of type {}; a field of uint8 can be a mask.", field.name, field.type));
}

/// Names for every class; none for the values of another field.
Kesh::LabelSet labelsOf(const Survey& survey, const Arguments& arguments) {
    std::set<int> classes;
    if (survey.findField(arguments.field).name == "Classification")
        for (int value = 0; value <= std::numeric_limits<std::uint8_t>::max(); ++value) classes.insert(value);
    if (classes.empty() && arguments.labels.empty()) return {};
    return labelsFor(survey, arguments.labels, classes);
}

std::string fileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

/// What was counted, for the picture.
std::string regionText(const Arguments& arguments) {
    if (!arguments.box.empty()) return "in the box " + arguments.box;
    if (!arguments.mask.empty()) return fmt::format("where {} is not zero", arguments.mask);
    if (arguments.within.empty()) return "whole survey";
    std::vector<std::string> polygons;
    std::error_code error; // a polygon is longer than a name can be
    for (const std::string& within : arguments.within)
        polygons.push_back(std::filesystem::exists(within, error) ? fileName(within) : "a polygon");
    return fmt::format("inside {}", fmt::join(polygons, " or "));
}

/// A survey with one object that counts.
class Counting {
public:
    Counting(const std::shared_ptr<const Survey>& survey, const Arguments& arguments, const Kesh::LabelSet& labels)
        : survey_(*survey),
          network_(survey),
          field_(countableField(survey_, arguments.field)),
          secondary_(arguments.secondary) {
        if (isField(secondary_)) secondary_ = survey_.findField(secondary_).name;
        network_.addObject("points", FieldType);
        network_.set("points.name", field_);
        network_.addObject("lasso", BrushType);
        network_.addObject("counts", "Compute/PointCloudHistogram");
        network_.connect("points.field", "counts.inputfield", false);
        network_.connect("lasso.brush", "counts.brush", false);
        network_.set("counts.labels", Kesh::VValueTrait<Kesh::LabelSet>::Text(labels));
        network_.set("counts.secondaryfield", secondary_);
    }

    void count(const Arguments& arguments, const std::optional<PolygonSet>& polygons) {
        if (!arguments.box.empty()) return countBox(arguments.box);
        if (!arguments.mask.empty()) return countMask(maskField(survey_, arguments.mask));
        if (polygons) return countUnder(brushAround(*polygons));
        secondary_.empty() ? countAll() : countBounds();
    }

    Kesh::VHistogram histogram() const { return *network_.histogramOf("counts"); }
    std::string report() const { return network_.status("counts"); }

private:
    void countBox(const std::string& box) {
        network_.set("counts.Bounding Box", box);
        countScope("Region");
    }

    void countBox(const Sextant::BoundingBox& box) {
        countBox(BoxTrait::Text(std::make_shared<Sextant::BoundingBox>(box)));
    }

    /// The header's bounds, which are those of the points in most files, or else these, which are known by then.
    void countBounds() {
        const LasHeader& header = survey_.las().header;
        const auto corner = [](const std::array<double, 3>& c) { return Point(c[0], c[1], c[2]); };
        const Sextant::BoundingBox stated(corner(header.minimum), corner(header.maximum));
        const bool numbers = glm::all(glm::lessThan(glm::abs(stated.maximum - stated.minimum), Point(HUGE_VAL)));
        countBox(numbers ? stated : survey_.expressibleBox());
        if (!histogram().complete || header.pointCount == 0) return;
        const Sextant::BoundingBox bounds = boundsOfPoints();
        const Point unit = glm::abs(corner(header.scale));
        const bool same = glm::all(glm::lessThanEqual(glm::abs(bounds.minimum - stated.minimum), unit)) &&
                          glm::all(glm::lessThanEqual(glm::abs(bounds.maximum - stated.maximum), unit));
        if (!same || histogram().total() < header.pointCount) countBox(bounds);
    }

    Sextant::BoundingBox boundsOfPoints() const {
        const auto positions = survey_.points().findField(Fiber::PositionsName);
        Sextant::BoundingBox bounds;
        for (const auto& [number, fragment] : positions->fragments()) {
            const Sextant::BoundingBox box = Fiber::getFragmentBBox(*positions, fragment.id);
            bounds.include(box.minimum);
            bounds.include(box.maximum);
        }
        return bounds;
    }

    void countMask(const std::string& field) {
        network_.set("counts.maskfield", field);
        countScope("Mask");
    }

    Kesh::Brush brushAround(const PolygonSet& polygons) const {
        const Json stroke{{"view", "above"}, {"polygon", polygons.wkt}};
        return readStroke(JsonReader(stroke, "--within"), survey_);
    }

    /// The scope for brushes loads nothing. What does not fit into memory at once is counted through a mask.
    void countUnder(const Kesh::Brush& brush) {
        BrushedPoints points(survey_, brush, [] { return !interrupted(); });
        std::vector<std::string> fields{field_};
        if (isField(secondary_)) fields.push_back(secondary_);
        if (points.load(fields)) {
            network_.draw("lasso.brush", brush);
            return countScope("Brush");
        }
        Fiber::Representation& representation = survey_.points();
        representation.makeField(representation.makeFieldID(WithinMask), points.mask());
        countMask(WithinMask);
    }

    /// The module's time limit may end a count; what was counted by then is not counted again.
    void countAll() {
        std::uint64_t before = 0;
        do {
            before = histogram().total();
            network_.press("counts.compute");
            countScope("WholeDataset");
        } while (!histogram().complete && histogram().total() > before && !interrupted());
    }

    void countScope(const char* scope) {
        network_.set("counts.scope", scope);
        network_.update();
    }

    static constexpr char WithinMask[] = "--within"; // no dimension is called so

    const Survey& survey_;
    Network network_;
    std::string field_, secondary_;
};

void run(const GlobalOptions& options, const Arguments& arguments, bool json) {
    checkCall(arguments);
    const auto polygons = arguments.within.empty() ? std::nullopt : std::optional(readPolygons(arguments.within));
    const Session session(options);
    const auto survey = polygons ? session.open(arguments.survey) : session.open(arguments.survey, OnePassMemory);
    const Kesh::LabelSet labels = labelsOf(*survey, arguments);
    Counting counting(survey, arguments, labels);
    counting.count(arguments, polygons);
    session.printLateWarnings(*survey);
    Kesh::VHistogram histogram = counting.histogram();
    if (survey->las().header.pointCount == 0) {
        session.warn(arguments.survey + ": has no points.");
        histogram.complete = true; // nothing is missing
    }
    if (polygons && histogram.total() == 0)
        if (const Miss miss = missOf(*survey, *polygons); !miss.sentence.empty()) session.warn(miss.sentence);
    json ? printJson(histogramAsJson(histogram, labels)) : fmt::print("{}\n", counting.report());
    if (!arguments.plot.empty())
        plotHistogram(histogram, labels,
                      {fileName(arguments.survey), survey->findField(arguments.field).name, regionText(arguments)},
                      arguments.plot);
    if (!histogram.complete)
        throw Failure(fmt::format("{}: {}", arguments.survey,
                                  interrupted() ? "counting was interrupted."
                                                : "the count is incomplete: some points could not be had."));
}

void addOptions(CLI::App& command, Arguments& a) {
    command.add_option("FILE", a.survey, "The survey")->required();
    command.add_option("--field", a.field, "Field to count")->capture_default_str();
    const CLI::Validator given([](std::string& text) { return text.empty() ? std::string("is empty") : ""; }, "");
    CLI::Option* box = command.add_option("--box", a.box, "X0,Y0,Z0,X1,Y1,Z1: count in this box, faces included");
    CLI::Option* within = command
                              .add_option("--within", a.within,
                                          "Count inside a polygon: WKT, or a file of WKT or GeoJSON. Several mean "
                                          "their union")
                              ->allow_extra_args(false);
    CLI::Option* mask = command.add_option("--mask", a.mask, "Count where this field of 8 bits is not zero");
    box->excludes(within)->excludes(mask)->check(given);
    within->excludes(mask);
    mask->check(given);
    command.add_option("--secondary", a.secondary,
                       "Z or another field: its minimum, maximum and mean among the points of each value");
    command.add_option("--labels", a.labels,
                       "Label set (JSON); otherwise the survey's own labels and the standard names");
    CLI::Option* plot = command.add_option("--plot", a.plot, "Draw a bar chart into this file, .svg or .png");
    command.add_flag("--overwrite", a.overwrite, "Replace the picture if it exists")->needs(plot);
}

} // namespace

void addHistogram(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command = program.add_subcommand(
        "histogram", "Count the points of each class: of the whole survey, in a box, a polygon or a mask.");
    const auto arguments = std::make_shared<Arguments>();
    addOptions(*command, *arguments);
    const auto json = addJsonFlag(*command);
    command->callback([&options, arguments, json] { run(options, *arguments, *json); });
}

} // namespace corvane
