// SPDX-License-Identifier: Apache-2.0
#include "plot/PicturePoints.hpp"

#include <cmath>
#include <glm/geometric.hpp>
#include <limits>

namespace corvane {
namespace {

using Point = Sextant::PhysicalSpace::point;

/// As far as the file's numbers go, so that the nearest and the farthest point are seen whatever the header says.
Sextant::View fromAbove(const LasHeader& header) {
    Sextant::BoundingBox box;
    for (const double stored :
         {double(std::numeric_limits<std::int32_t>::min()), double(std::numeric_limits<std::int32_t>::max())})
        box.include({stored * header.scale[0] + header.offset[0], stored * header.scale[1] + header.offset[1],
                     stored * header.scale[2] + header.offset[2]});
    return Sextant::View::fromAbove(box);
}

} // namespace

Sight::Sight(const LasFile& las, const std::optional<Slice>& slice)
    : slice_(slice),
      length_(slice ? glm::distance(slice->from, slice->to) : 0),
      view_(slice ? Sextant::View::profile(slice->from, slice->to, slice->width) : fromAbove(las.header)),
      unit_(std::abs(las.header.scale[0]), std::abs(las.header.scale[1]), std::abs(las.header.scale[2])) {}

std::vector<glm::dvec2> sampleOf(const Sight& sight, std::span<const Point> positions, std::size_t every) {
    std::vector<glm::dvec2> sample;
    for (std::size_t i = 0; i < positions.size(); i += every) sample.emplace_back(sight.view().project(positions[i]));
    return sample;
}

std::vector<Point> selectedOf(const RecordColumns& columns) {
    std::vector<Point> positions;
    positions.reserve(columns.selected().size());
    for (const std::uint32_t i : columns.selected()) positions.push_back(columns.positions()[i]);
    return positions;
}

PointPicker::PointPicker(const LasFile& las, const Sight& sight, const Colouring& colouring,
                         const Kesh::LimitPtr& limit)
    : sight_(sight),
      colouring_(colouring),
      all_(!limit && !sight.isProfile()),
      sampledEvery_(all_ ? static_cast<std::size_t>(1 + las.points->count() / 500'000) : 1),
      columns_(las, limit, colouring.dimensions()) {}

PicturePoints PointPicker::pick(std::span<const std::byte> records) {
    columns_.take(records);
    if (sight_.isProfile()) columns_.narrow([&](std::uint32_t i) { return sight_.holds(columns_.positions()[i]); });
    PicturePoints points;
    colouring_.mark(columns_, points.all.marks);
    const std::vector<Point> some = all_ ? std::vector<Point>() : selectedOf(columns_);
    const std::span<const Point> positions = all_ ? columns_.positions() : some;
    points.all.packed = pack(positions, sight_.unit());
    points.sample = sampleOf(sight_, positions, sampledEvery_);
    return points;
}

} // namespace corvane
