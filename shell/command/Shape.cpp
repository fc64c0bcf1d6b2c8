// SPDX-License-Identifier: Apache-2.0
// corvane shape: the outline of a stroke as a closed line in world space. Builds a network with BrushToWorldShape and
// runs it.
#include "Fiber/LineSet.hpp"
#include "command/Commands.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "network/Network.hpp"
#include "network/Objects.hpp"

#include <fmt/format.h>

#include <cmath>

namespace corvane {
namespace {

constexpr char ModuleType[] = "Compute/BrushToWorldShape";

struct ShapeArguments {
    std::string survey;
    std::vector<std::string> within;
    PolygonOptions polygons;
    double viewDepth = 0.5;
};

/// The stroke reaches from the highest to the lowest point that the header tells of.
Stroke strokeOf(PolygonSet polygons, const LasHeader& header) {
    Stroke stroke{.view = {}, .outline = std::move(polygons), .depth = {}};
    const double lowest = header.minimum[2], highest = header.maximum[2];
    if (lowest < highest && std::isfinite(lowest) && std::isfinite(highest)) stroke.depth = {highest, lowest};
    return stroke;
}

/// The vertices in the order in which the line runs through them.
std::vector<Sextant::PhysicalSpace::point> lineOf(const Fiber::LineSet& lines) {
    std::vector<Sextant::PhysicalSpace::point> points;
    for (const std::uint32_t index : lines.indices()) points.push_back(lines.positions()[index]);
    return points;
}

void print(const Fiber::LineSet& lines, bool json) {
    Json coordinates = Json::array();
    std::string wkt;
    for (const auto& p : lineOf(lines)) {
        coordinates.push_back({p.x, p.y, p.z});
        wkt += fmt::format("{}{} {} {}", wkt.empty() ? "" : ", ", p.x, p.y, p.z);
    }
    if (json) return printJson({{"type", "LineString"}, {"coordinates", coordinates}});
    fmt::print("LINESTRING Z ({})\n", wkt);
}

void run(const GlobalOptions& options, const ShapeArguments& arguments, bool json) {
    if (!std::isfinite(arguments.viewDepth)) throw UsageError("--viewdepth: a number is expected, such as 0.5.");
    CommandSession session(options);
    Network network(session.open(arguments.survey), session.watch());
    network.addObject("lasso", BrushType);
    network.addObject("shape", ModuleType);
    network.set("shape.viewdepth", fmt::format("{}", arguments.viewDepth));
    network.connect("lasso.brush", "shape.brush");
    const LasFile& las = network.survey().las();
    const PlacedPolygons placed = polygonsFor(las, arguments.within, arguments.polygons);
    for (const std::string& notice : placed.notices) session.note(notice);
    network.draw("lasso.brush", strokeOf(placed.polygons, las.header));
    network.update();
    print(Fiber::LineSet(network.gridOf("shape.shape")), json);
}

} // namespace

void addShape(CLI::App& program, const GlobalOptions& options) {
    CLI::App* command =
        program.add_subcommand("shape", "Print the outline of polygons as a closed line in the space of the survey.");
    const auto a = std::make_shared<ShapeArguments>();
    command->add_option("FILE", a->survey, "The survey")->required();
    command->add_option("--within", a->within, "Polygon: WKT, or a file of WKT or GeoJSON. Several mean their union")
        ->required()
        ->allow_extra_args(false);
    addPolygonOptions(*command, a->polygons);
    command
        ->add_option("--viewdepth", a->viewDepth,
                     "Height of the line: 0 is that of the highest point, 1 that of the lowest")
        ->capture_default_str();
    const auto json = addJsonFlag(*command);
    command->footer(R"(Examples:
  corvane shape tile.laz --within parcel.geojson --json)");
    command->callback([&options, a, json] { run(options, *a, *json); });
}

} // namespace corvane
