// SPDX-License-Identifier: Apache-2.0
#include "polygon/Geos.hpp"

#include "base/Failure.hpp"

#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

void keepMessage(const char* text, void* message) { *static_cast<std::string*>(message) = text; }

/// Something of the library's together with the call that frees it.
template <typename T, typename Destroy>
auto guarded(GEOSContextHandle_t context, T* object, Destroy destroy) {
    const auto free = [context, destroy](T* held) { destroy(context, held); };
    return std::unique_ptr<T, decltype(free)>(object, free);
}

} // namespace

Geos::Geos() : context_(GEOS_init_r(), &GEOS_finish_r) {
    GEOSContext_setErrorMessageHandler_r(context_.get(), keepMessage, &message_);
}

void Geos::fail() const { throw Failure(message_.empty() ? "the geometry library gave no reason" : message_); }

std::vector<Geometry> Geos::readPolygons(const std::string& wkt) {
    const auto context = context_.get();
    const auto reader = guarded(context, checked(GEOSWKTReader_create_r(context)), GEOSWKTReader_destroy_r);
    GEOSWKTReader_setFixStructure_r(context, reader.get(), 1); // closes open rings
    const Geometry whole = own(GEOSWKTReader_read_r(context, reader.get(), wkt.c_str()));
    const int count = GEOSGetNumGeometries_r(context, whole.get());
    std::vector<Geometry> polygons;
    for (int part = 0; part < count; ++part) {
        Geometry polygon = own(GEOSGeom_clone_r(context, GEOSGetGeometryN_r(context, whole.get(), part)));
        if (GEOSisEmpty_r(context, polygon.get())) continue;
        refuseHuge(polygon);
        const auto reason = reasonAgainst(polygon);
        if (!reason.empty())
            throw Failure(fmt::format("polygon {} of {} is not valid: {}; draw its outline anew so that it neither "
                                      "crosses nor touches itself",
                                      part + 1, count, reason));
        polygons.push_back(std::move(polygon));
    }
    return polygons;
}

/// The library multiplies up to four coordinates, and has 128 characters for printing one.
void Geos::refuseHuge(const Geometry& polygon) {
    constexpr double Largest = 1e75;
    for (const auto& rings : ringsOf(polygon))
        for (const Ring& ring : rings)
            for (const PlanePoint& p : ring)
                for (const double coordinate : {p.x, p.y})
                    if (!(std::abs(coordinate) <= Largest))
                        throw Failure(fmt::format("found the coordinate {}, expected one of no more than {} either way",
                                                  coordinate, Largest));
}

/// Empty for a valid one.
std::string Geos::reasonAgainst(const Geometry& polygon) {
    const auto context = context_.get();
    char* text = nullptr;
    GEOSGeometry* point = nullptr;
    if (GEOSisValidDetail_r(context, polygon.get(), 0, &text, &point) == 1) return {};
    const auto reason = guarded(context, checked(text), GEOSFree_r);
    const Geometry location = own(point);
    double x = 0, y = 0;
    GEOSGeomGetX_r(context, location.get(), &x);
    GEOSGeomGetY_r(context, location.get(), &y);
    return fmt::format("{}[{} {}]", reason.get(), x, y);
}

Geometry Geos::unite(std::vector<Geometry> polygons) {
    const auto context = context_.get();
    std::vector<GEOSGeometry*> parts;
    parts.reserve(polygons.size());
    for (auto& polygon : polygons) parts.push_back(polygon.release()); // the collection takes them
    const Geometry all =
        own(GEOSGeom_createCollection_r(context, GEOS_MULTIPOLYGON, parts.data(), static_cast<unsigned>(parts.size())));
    return own(GEOSUnaryUnion_r(context, all.get()));
}

Ring Geos::ring(const GEOSGeometry* line) {
    const auto context = context_.get();
    const auto* points = checked(GEOSGeom_getCoordSeq_r(context, checked(line)));
    unsigned size = 0;
    if (!GEOSCoordSeq_getSize_r(context, points, &size)) fail();
    std::vector<double> values(2 * std::size_t{size});
    if (!GEOSCoordSeq_copyToBuffer_r(context, points, values.data(), 0, 0)) fail();
    Ring ring;
    for (std::size_t i = 0; i + 2 < values.size(); i += 2) ring.push_back({values[i], values[i + 1]});
    return ring;
}

std::vector<std::vector<Ring>> Geos::ringsOf(const Geometry& polygons) {
    const auto context = context_.get();
    std::vector<std::vector<Ring>> parts;
    for (int part = 0; part < GEOSGetNumGeometries_r(context, polygons.get()); ++part) {
        const auto* polygon = checked(GEOSGetGeometryN_r(context, polygons.get(), part));
        auto& rings = parts.emplace_back();
        rings.push_back(ring(GEOSGetExteriorRing_r(context, polygon)));
        for (int hole = 0; hole < GEOSGetNumInteriorRings_r(context, polygon); ++hole)
            rings.push_back(ring(GEOSGetInteriorRingN_r(context, polygon, hole)));
    }
    return parts;
}

} // namespace corvane
