// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/Polygons.hpp"

#include <geos_c.h>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

struct GeosDeleter {
    GEOSContextHandle_t context;
    void operator()(GEOSGeometry* geometry) const { GEOSGeom_destroy_r(context, geometry); }
};

/// Must not outlive its Geos.
using Geometry = std::unique_ptr<GEOSGeometry, GeosDeleter>;

/// The geometry library with a context of its own. Every call throws Failure with the library's own words; the caller
/// adds where the geometry came from.
class Geos {
public:
    Geos();
    Geos(const Geos&) = delete;
    Geos& operator=(const Geos&) = delete;

    /// The polygons of one POLYGON or MULTIPOLYGON, each valid by itself; open rings are closed. Coordinates that the
    /// library cannot compute with, or print, are refused.
    std::vector<Geometry> readPolygons(const std::string& wkt);

    Geometry unite(std::vector<Geometry> polygons);

    /// Of each polygon its rings, the shell first.
    std::vector<std::vector<Ring>> ringsOf(const Geometry& polygons);

private:
    Geometry own(GEOSGeometry* geometry) { return {checked(geometry), GeosDeleter{context_.get()}}; }
    Ring ring(const GEOSGeometry* line);
    void refuseHuge(const Geometry& polygon);
    std::string reasonAgainst(const Geometry& polygon);

    template <typename T>
    T* checked(T* result) {
        if (!result) fail();
        return result;
    }
    [[noreturn]] void fail() const;

    std::string message_;
    std::unique_ptr<GEOSContextHandle_HS, void (*)(GEOSContextHandle_t)> context_;
};

} // namespace corvane
