// SPDX-License-Identifier: Apache-2.0
#include "render/Renderer.hpp"

#include <algorithm>

namespace corvane {
namespace {

/// The nearest pixel with a point; at one distance the one with the nearest point.
const Pixel* nearest(const Grid<Pixel>& pixels, int column, int row, int radius) {
    const Pixel* best = nullptr;
    int bestDistance = radius * radius;
    for (int y = std::max(row - radius, 0); y <= std::min(row + radius, pixels.height - 1); ++y)
        for (int x = std::max(column - radius, 0); x <= std::min(column + radius, pixels.width - 1); ++x) {
            const int distance = (x - column) * (x - column) + (y - row) * (y - row);
            const Pixel& pixel = pixels.at(x, y);
            if (pixel == NoPoint || distance > bestDistance) continue;
            if (best && distance == bestDistance && pixel >= *best) continue;
            best = &pixel;
            bestDistance = distance;
        }
    return best;
}

std::optional<int> classAt(const DrawnFragment& fragment, std::size_t place) {
    const DrawnColumn* const classes = fragment.column(column::Class);
    if (!classes) return std::nullopt;
    if (const auto* bytes = std::get_if<DrawnColumn::Bytes>(&classes->values)) return (*bytes)[place];
    if (const auto* words = std::get_if<DrawnColumn::Words>(&classes->values)) return (*words)[place];
    return std::nullopt;
}

} // namespace

std::optional<PickedPoint> pick(const FinishedPicture& picture, int column, int row, int radius) {
    if (!picture.points) return std::nullopt;
    const ShownPoints& shown = *picture.points;
    const Pixel* const pixel = nearest(*shown.pixels, column, row, std::clamp(radius, 0, 256));
    if (!pixel) return std::nullopt;
    const auto place = shown.numbers->find(markOf(*pixel));
    const DrawnFragment& fragment = *shown.fragments[place.fragment];
    return PickedPoint{fragment.number, fragment.pointAt(place.point), fragment.packed->position(place.point),
                       classAt(fragment, place.point)};
}

} // namespace corvane
