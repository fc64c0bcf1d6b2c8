// SPDX-License-Identifier: Apache-2.0
#include "plot/PictureParts.hpp"

#include "las/CoordinateUnit.hpp"
#include "las/CrsText.hpp"
#include "plot/DrawingLibrary.hpp"
#include "plot/Numbers.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

using Sextant::BoundingBox;

BoundingBox statedBox(const LasFile& las) {
    const auto corner = [](const std::array<double, 3>& c) { return BoundingBox::point(c[0], c[1], c[2]); };
    return {corner(las.header.minimum), corner(las.header.maximum)};
}

bool isFinite(const Extent& extent) {
    const glm::dvec2 sum = extent.minimum + extent.maximum;
    return std::isfinite(sum.x) && std::isfinite(sum.y) && std::isfinite(extent.size().x) &&
           std::isfinite(extent.size().y);
}

/// 1, 2 or 5 times a power of ten, at most so much.
double roundLength(double most) {
    const double decade = std::pow(10, std::floor(std::log10(most)));
    for (const double step : {5.0, 2.0, 1.0})
        if (step * decade <= most) return step * decade;
    return decade;
}

std::string shortUnit(const LasFile& las) {
    const std::string unit = coordinateUnit(las.crs);
    if (unit == "metre") return "m";
    if (unit == "foot") return "ft";
    if (unit == "US survey foot") return "US ft";
    return unit == "degree" ? "°" : "units";
}

} // namespace

Extent guessFor(const LasFile& las, const Sight& sight, const Kesh::LimitPtr& limit) {
    BoundingBox box = statedBox(las);
    if (limit) box = box.within(limit->bounds());
    Extent extent{sight.toScreen(box.minimum), sight.toScreen(box.maximum)};
    if (sight.isProfile()) extent = {{0, box.minimum.z}, {sight.length(), box.maximum.z}};
    if (box.empty() || !isFinite(extent)) return {{0, 0}, {1, 1}};
    return extent;
}

double screenUnit(const Sight& sight) { return sight.isProfile() ? 1 : sight.view().matrix()[0][0]; }

std::string unitName(const LasFile& las, bool several) {
    const std::string unit = coordinateUnit(las.crs);
    if (!several) return unit.empty() ? "unit" : unit;
    if (unit == "foot") return "feet";
    if (unit == "US survey foot") return "US survey feet";
    return unit.empty() ? "units of the survey" : unit + "s";
}

std::string sightText(const LasFile& las, const Sight& sight, const std::string& by) {
    const std::string colours = by == "colour" ? "in the points' own colours" : "coloured by " + by;
    if (!sight.isProfile()) return "Seen from above, " + colours;
    const Slice& slice = *sight.slice();
    return fmt::format("Profile from {:.10g}, {:.10g} to {:.10g}, {:.10g}, {:g} {} wide, {}", slice.from.x,
                       slice.from.y, slice.to.x, slice.to.y, slice.width, unitName(las, slice.width != 1), colours);
}

std::string regionText(const PictureTask& task) {
    if (task.limit) return ", " + task.region;
    return task.profile ? "" : ", whole survey";
}

void describeFrame(PicturePage& page, const LasFile& las, const Sight& sight, const PageLayout& layout,
                   const Drawing& drawing) {
    const std::string unit = unitName(las, true);
    page.acrossTitle =
        sight.isProfile() ? fmt::format("distance along the profile, {}", unit) : fmt::format("x, {}", unit);
    page.upTitle = sight.isProfile() ? fmt::format("height, {}", unit) : fmt::format("y, {}", unit);
    const double most = 0.22 * drawing.all.screen().width / layout.pixelsPerUnit();
    const double length = roundLength(most);
    page.scaleBar = length * layout.pixelsPerUnit();
    page.scaleBarText = fmt::format("{:g} {}", length, shortUnit(las));
    const std::string name = crsLabel(las.crs).text();
    page.footnotes.push_back(name.empty() ? "The survey names no coordinate system." : name + ".");
    if (!sight.isProfile()) page.footnotes.push_back("Of points above each other the highest is shown.");
    if (layout.exaggeration() > 1)
        page.footnotes.push_back(
            fmt::format("Heights are drawn {:.3g} times as large as lengths.", layout.exaggeration()));
    if (drawing.outside > 0)
        page.footnotes.push_back(fmt::format("{} far from the others {} left out of the picture.",
                                             plural(drawing.outside, "point"), drawing.outside == 1 ? "is" : "are"));
}

Panel panelOf(const Screen& screen, const Sight& sight, Grid<Colour> image, const std::string& title) {
    Panel panel;
    panel.title = title;
    panel.image = std::move(image);
    const glm::dvec2 from = sight.fromScreen(screen.minimum), to = sight.fromScreen(screen.maximum);
    panel.across = {from.x, to.x};
    panel.up = {from.y, to.y};
    return panel;
}

/// Counts only places where there are points: what is empty in large has no holes.
Grid<Pixel> closed(const PointRaster& raster, std::uint64_t points, int mostRounds) {
    constexpr int side = 8; // pixels of a place
    Grid<Pixel> pixels = gridOf(raster);
    std::uint64_t covered = 0;
    for (int row = 0; row < pixels.height; row += side)
        for (int column = 0; column < pixels.width; column += side) {
            bool any = false;
            for (int y = row; y < std::min(row + side, pixels.height) && !any; ++y)
                for (int x = column; x < std::min(column + side, pixels.width) && !any; ++x)
                    any = pixels.at(x, y) != NoPoint;
            covered += any ? side * side : 0;
        }
    grow(pixels, std::min(roundsFor(points, covered), mostRounds));
    return pixels;
}

std::optional<Grid<float>> shadeOf(const Grid<Pixel>& pixels, const Sight& sight, const PageLayout& layout) {
    if (sight.isProfile()) return std::nullopt;
    return hillshade(pixels, layout.pixelsPerUnit() / std::abs(sight.view().matrix()[2][2]));
}

int decimalsFor(double range) {
    if (!(range > 0) || !std::isfinite(range)) return 0;
    return static_cast<int>(std::clamp(1 - std::floor(std::log10(range)), 0.0, 9.0));
}

std::vector<std::string> savePage(const PicturePage& page, const std::string& path, bool overwrite) {
    std::string picture;
    reinterpret_cast<DrawPageFunction*>(drawingFunction(DrawPageEntry))(page, formatOf(path), picture);
    return writePicture(picture, path, overwrite);
}

} // namespace corvane
