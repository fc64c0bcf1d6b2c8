// SPDX-License-Identifier: Apache-2.0
#include "limit/Limits.hpp"

#include "Sextant/OutlineRaster.hpp"
#include "limit/LimitText.hpp"
#include "json/Document.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <glm/vector_relational.hpp>
#include <limits>

namespace corvane {
namespace {

using Kesh::BoxPart;
using Kesh::LimitPtr;
using Kesh::PointColumns;
using Sextant::BoundingBox;
using Indices = std::vector<std::uint32_t>;
using Point = Sextant::PhysicalSpace::point;
constexpr double Infinite = std::numeric_limits<double>::infinity();

/// Of a brush, whose limits are in the survey's coordinates already.
LimitPtr readOwn(const json::Reader& text) { return readLimit(text, plainPolygons); }

/// Here, so that brushes can read theirs in every program that makes one.
[[maybe_unused]] const bool Registered = Kesh::Limit::registerMaker(readOwn);

/// A limit that looks at one position after the other. The loops are compiled with the test in them, and write every
/// index, since whether a point is selected is not predictable.
template <class Test>
class PositionLimit : public Kesh::Limit {
public:
    explicit PositionLimit(Test test) : test_(std::move(test)) {}

    BoxPart partOf(const BoundingBox& box) const override { return box.empty() ? BoxPart::None : test_.partOf(box); }
    BoundingBox bounds() const override { return test_.bounds(); }
    std::string text() const override { return test_.text(); }

    bool holds(const PointColumns& points, std::size_t i) const override { return test_.plain(points.positions[i]); }

    void select(const PointColumns& points, Indices& indices) const override {
        indices.resize(points.positions.size());
        std::size_t selected = 0;
        for (std::size_t i = 0; i < points.positions.size(); ++i) {
            indices[selected] = static_cast<std::uint32_t>(i);
            selected += test_(points.positions[i]);
        }
        indices.resize(selected);
    }

    void narrow(const PointColumns& points, Indices& indices) const override {
        std::size_t selected = 0;
        for (const std::uint32_t i : indices) {
            indices[selected] = i;
            selected += test_(points.positions[i]);
        }
        indices.resize(selected);
    }

private:
    Test test_;
};

struct InPolygons {
    explicit InPolygons(const PolygonSet& polygons)
        : outline(outlineOf(polygons)),
          raster(outline, cellsFor(outline)),
          box({polygons.minimum.x, polygons.minimum.y, -Infinite}, {polygons.maximum.x, polygons.maximum.y, Infinite}),
          wkt(polygons.wkt) {}

    static Sextant::Outline outlineOf(const PolygonSet& polygons) {
        std::vector<std::vector<glm::dvec2>> rings;
        for (const Ring& ring : polygons.rings) {
            auto& points = rings.emplace_back();
            for (const PlanePoint& p : ring) points.emplace_back(p.x, p.y);
        }
        return Sextant::Outline::ofRings(rings);
    }

    /// There may be thousands of simple polygons, each with a raster of its own.
    static std::size_t cellsFor(const Sextant::Outline& outline) {
        constexpr std::size_t fewest = 32;
        return std::clamp(std::bit_ceil(2 * outline.edges().size()), fewest, Sextant::OutlineRaster::MostCells);
    }

    bool plain(const Point& p) const { return outline.contains({p.x, p.y}); }
    bool operator()(const Point& p) const { return raster.contains({p.x, p.y}); }

    BoxPart partOf(const BoundingBox& asked) const {
        using Cell = Sextant::OutlineRaster::Cell;
        const Cell cell = raster.classify({asked.minimum.x, asked.minimum.y}, {asked.maximum.x, asked.maximum.y});
        return cell == Cell::Boundary ? BoxPart::Some : cell == Cell::In ? BoxPart::All : BoxPart::None;
    }

    BoundingBox bounds() const { return box; }
    std::string text() const { return json::Value{{"polygon", wkt}}.dump(); }

    Sextant::Outline outline;
    Sextant::OutlineRaster raster;
    BoundingBox box;
    std::string wkt;
};

json::Value coordinate(double value) { return std::isfinite(value) ? json::Value(value) : json::Value(); }

struct InBox {
    bool plain(const Point& p) const {
        return glm::all(glm::lessThanEqual(box.minimum, p)) && glm::all(glm::lessThanEqual(p, box.maximum));
    }

    bool operator()(const Point& p) const {
        const Point &low = box.minimum, &high = box.maximum;
        return (p.x >= low.x) & (p.x <= high.x) & (p.y >= low.y) & (p.y <= high.y) & (p.z >= low.z) & (p.z <= high.z);
    }

    BoxPart partOf(const BoundingBox& asked) const {
        if (plain(asked.minimum) && plain(asked.maximum)) return BoxPart::All;
        const bool disjoint =
            glm::any(glm::lessThan(asked.maximum, box.minimum)) || glm::any(glm::lessThan(box.maximum, asked.minimum));
        return disjoint ? BoxPart::None : BoxPart::Some;
    }

    BoundingBox bounds() const { return box; }

    std::string text() const {
        const Point &low = box.minimum, &high = box.maximum;
        const bool onlyHeights = low.x == -Infinite && low.y == -Infinite && high.x == Infinite && high.y == Infinite;
        json::Value numbers = json::Value::array();
        for (const Point* corner : {&low, &high})
            for (int axis = onlyHeights ? 2 : 0; axis < 3; ++axis) numbers.push_back(coordinate((*corner)[axis]));
        return json::Value{{onlyHeights ? "heights" : "box", numbers}}.dump();
    }

    BoundingBox box;
};

class AllOf : public Kesh::Limit, public NamesFields {
public:
    explicit AllOf(std::vector<LimitPtr> limits) : limits_(std::move(limits)) {}

    std::vector<std::string> fields() const override {
        std::vector<std::string> all;
        for (const LimitPtr& limit : limits_) std::ranges::move(limit->fields(), std::back_inserter(all));
        return all;
    }

    bool readsPositions() const override { return std::ranges::any_of(limits_, &Kesh::Limit::readsPositions); }

    LimitPtr named(const FieldNaming& naming) const override {
        std::vector<LimitPtr> all;
        for (const LimitPtr& limit : limits_) all.push_back(withFieldsNamed(limit, naming));
        return allOf(std::move(all));
    }

    BoxPart partOf(const BoundingBox& box) const override {
        BoxPart least = BoxPart::All;
        for (const LimitPtr& limit : limits_) least = std::min(least, limit->partOf(box));
        return least;
    }

    BoundingBox bounds() const override {
        BoundingBox common = limits_.front()->bounds();
        for (const LimitPtr& limit : limits_) common = common.within(limit->bounds());
        return common;
    }

    bool holds(const PointColumns& points, std::size_t i) const override {
        bool all = true;
        forEach(points, [&](const Kesh::Limit& limit, const PointColumns& own) { all = all && limit.holds(own, i); });
        return all;
    }

    void select(const PointColumns& points, Indices& indices) const override {
        bool first = true;
        forEach(points, [&](const Kesh::Limit& limit, const PointColumns& own) {
            first ? limit.select(own, indices) : limit.narrow(own, indices);
            first = false;
        });
    }

    void narrow(const PointColumns& points, Indices& indices) const override {
        forEach(points, [&](const Kesh::Limit& limit, const PointColumns& own) { limit.narrow(own, indices); });
    }

    std::string text() const override {
        std::string text;
        for (const LimitPtr& limit : limits_) text.append(text.empty() ? "[" : ",").append(limit->text());
        return text + "]";
    }

private:
    /// Each limit with the columns that are its own.
    template <class Visit>
    void forEach(const PointColumns& points, Visit visit) const {
        auto next = points.fields.begin();
        for (const LimitPtr& limit : limits_) {
            const auto end = next + static_cast<std::ptrdiff_t>(limit->fields().size());
            visit(*limit, PointColumns{points.positions, {next, end}});
            next = end;
        }
    }

    std::vector<LimitPtr> limits_;
};

} // namespace

LimitPtr insidePolygons(const PolygonSet& polygons) {
    return std::make_shared<PositionLimit<InPolygons>>(InPolygons(polygons));
}

LimitPtr inBox(const BoundingBox& box) { return std::make_shared<PositionLimit<InBox>>(InBox{box}); }

LimitPtr betweenHeights(double low, double high) {
    return inBox({{-Infinite, -Infinite, low}, {Infinite, Infinite, high}});
}

LimitPtr withFieldsNamed(const LimitPtr& limit, const FieldNaming& naming) {
    const auto* names = dynamic_cast<const NamesFields*>(limit.get());
    return names ? names->named(naming) : limit;
}

LimitPtr allOf(std::vector<LimitPtr> limits) {
    return limits.size() == 1 ? limits.front() : std::make_shared<AllOf>(std::move(limits));
}

} // namespace corvane
