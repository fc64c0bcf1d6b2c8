// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <geos_c.h>
#include <glm/vec2.hpp>
#include <memory>
#include <vector>

namespace corvane::bench {

/// What a user would take for many points in one polygon.
class PreparedPolygon {
public:
    /// The last point is joined to the first.
    explicit PreparedPolygon(const std::vector<glm::dvec2>& line)
        : context_(GEOS_init_r(), &GEOS_finish_r), polygon_(make(line)) {
        prepared_ = GEOSPrepare_r(context_.get(), polygon_);
    }
    ~PreparedPolygon() {
        GEOSPreparedGeom_destroy_r(context_.get(), prepared_);
        GEOSGeom_destroy_r(context_.get(), polygon_);
    }
    PreparedPolygon(const PreparedPolygon&) = delete;
    PreparedPolygon& operator=(const PreparedPolygon&) = delete;

    bool contains(const glm::dvec2& p) const {
        GEOSGeometry* point = GEOSGeom_createPointFromXY_r(context_.get(), p.x, p.y);
        const bool inside = GEOSPreparedContains_r(context_.get(), prepared_, point) == 1;
        GEOSGeom_destroy_r(context_.get(), point);
        return inside;
    }

private:
    GEOSGeometry* make(std::vector<glm::dvec2> line) const {
        line.push_back(line.front());
        const auto context = context_.get();
        GEOSCoordSequence* points =
            GEOSCoordSeq_copyFromBuffer_r(context, &line.front().x, static_cast<unsigned>(line.size()), 0, 0);
        return GEOSGeom_createPolygon_r(context, GEOSGeom_createLinearRing_r(context, points), nullptr, 0);
    }

    std::unique_ptr<GEOSContextHandle_HS, void (*)(GEOSContextHandle_t)> context_;
    GEOSGeometry* polygon_;
    const GEOSPreparedGeometry* prepared_;
};

} // namespace corvane::bench
