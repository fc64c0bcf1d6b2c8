// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "polygon/Polygons.hpp"

#include <cstddef>
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

/// What becomes of polygons that cross or touch themselves.
struct Repairs {
    bool wanted = false;              ///< else they are refused
    std::vector<std::string> reports; ///< of each that was repaired: which, and how its area changed
};

/// The geometry library with a context of its own. Every call throws Failure with the library's own words; the caller
/// adds where the geometry came from.
class Geos {
public:
    Geos();
    Geos(const Geos&) = delete;
    Geos& operator=(const Geos&) = delete;

    /// The polygons of one POLYGON or MULTIPOLYGON, each valid by itself; open rings are closed. Coordinates that the
    /// library cannot compute with, or print, are refused.
    std::vector<Rings> readWkt(const std::string& wkt, Repairs& repairs);
    std::vector<Rings> readWkb(const std::string& wkb, Repairs& repairs);

    /// The same of rings.
    std::vector<Rings> validated(std::span<const Rings> polygons, Repairs& repairs);

    std::vector<Rings> unite(std::span<const Rings> polygons);

private:
    Geometry own(GEOSGeometry* geometry) { return {checked(geometry), GeosDeleter{context_.get()}}; }
    Geometry collect(std::vector<Geometry> parts);
    Geometry lineOf(const Ring& ring);
    Geometry polygonOf(const Rings& rings);
    Geometry whole(std::span<const Rings> polygons);
    std::vector<Rings> validParts(const Geometry& whole, Repairs& repairs);
    Geometry repaired(const Geometry& polygon);
    double areaOf(const Geometry& polygon);
    std::vector<Rings> ringsOf(const Geometry& polygons);
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
