// SPDX-License-Identifier: Apache-2.0
#include "polygon/Geos.hpp"

#include "base/Failure.hpp"

#include <cmath>
#include <fmt/format.h>
#include <iterator>

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

std::vector<Rings> Geos::readWkt(const std::string& wkt, Repairs& repairs) {
    const auto context = context_.get();
    const auto reader = guarded(context, checked(GEOSWKTReader_create_r(context)), GEOSWKTReader_destroy_r);
    GEOSWKTReader_setFixStructure_r(context, reader.get(), 1); // closes open rings
    return validParts(own(GEOSWKTReader_read_r(context, reader.get(), wkt.c_str())), repairs);
}

std::vector<Rings> Geos::readWkb(const std::string& wkb, Repairs& repairs) {
    const auto context = context_.get();
    const auto reader = guarded(context, checked(GEOSWKBReader_create_r(context)), GEOSWKBReader_destroy_r);
    GEOSWKBReader_setFixStructure_r(context, reader.get(), 1);
    const auto* bytes = reinterpret_cast<const unsigned char*>(wkb.data());
    return validParts(own(GEOSWKBReader_read_r(context, reader.get(), bytes, wkb.size())), repairs);
}

std::vector<Rings> Geos::validated(std::span<const Rings> polygons, Repairs& repairs) {
    return validParts(whole(polygons), repairs);
}

std::vector<Rings> Geos::validParts(const Geometry& whole, Repairs& repairs) {
    const auto context = context_.get();
    const int count = GEOSGetNumGeometries_r(context, whole.get());
    std::vector<Rings> polygons;
    for (int part = 0; part < count; ++part) {
        Geometry polygon = own(GEOSGeom_clone_r(context, GEOSGetGeometryN_r(context, whole.get(), part)));
        if (GEOSisEmpty_r(context, polygon.get())) continue;
        refuseHuge(polygon);
        const auto reason = reasonAgainst(polygon);
        const std::string which = fmt::format("polygon {} of {}", part + 1, count);
        if (!reason.empty() && !repairs.wanted)
            throw Failure(fmt::format("{} is not valid: {}; draw its outline anew so that it neither crosses nor "
                                      "touches itself, or have it repaired with --repair-polygons",
                                      which, reason));
        if (!reason.empty()) {
            Geometry better = repaired(polygon);
            repairs.reports.push_back(
                fmt::format("{} ({}), its area was {} and is {}", which, reason, areaOf(polygon), areaOf(better)));
            polygon = std::move(better);
        }
        std::ranges::move(ringsOf(polygon), std::back_inserter(polygons));
    }
    return polygons;
}

/// What the outline goes around, once or more often, without its holes. What has no area is dropped.
Geometry Geos::repaired(const Geometry& polygon) {
    const auto context = context_.get();
    const auto method = guarded(context, checked(GEOSMakeValidParams_create_r(context)), GEOSMakeValidParams_destroy_r);
    GEOSMakeValidParams_setMethod_r(context, method.get(), GEOS_MAKE_VALID_STRUCTURE);
    GEOSMakeValidParams_setKeepCollapsed_r(context, method.get(), 0);
    return own(GEOSMakeValidWithParams_r(context, polygon.get(), method.get()));
}

/// As its rings enclose it; where an outline crosses itself, what is gone around the other way counts less.
double Geos::areaOf(const Geometry& polygon) {
    double area = 0;
    if (!GEOSArea_r(context_.get(), polygon.get(), &area)) fail();
    return area;
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

Geometry Geos::collect(std::vector<Geometry> parts) {
    std::vector<GEOSGeometry*> taken;
    taken.reserve(parts.size());
    for (auto& part : parts) taken.push_back(part.release()); // the collection takes them
    return own(GEOSGeom_createCollection_r(context_.get(), GEOS_MULTIPOLYGON, taken.data(),
                                           static_cast<unsigned>(taken.size())));
}

Geometry Geos::lineOf(const Ring& ring) {
    std::vector<double> values;
    values.reserve(2 * ring.size() + 2);
    for (const auto [x, y] : ring) values.insert(values.end(), {x, y});
    if (!ring.empty()) values.insert(values.end(), {ring.front().x, ring.front().y});
    const auto size = static_cast<unsigned>(values.size() / 2);
    auto* points = checked(GEOSCoordSeq_copyFromBuffer_r(context_.get(), values.data(), size, 0, 0));
    return own(GEOSGeom_createLinearRing_r(context_.get(), points)); // takes them
}

Geometry Geos::polygonOf(const Rings& rings) {
    Geometry shell = lineOf(rings.front());
    std::vector<Geometry> holes;
    for (std::size_t i = 1; i < rings.size(); ++i) holes.push_back(lineOf(rings[i]));
    std::vector<GEOSGeometry*> taken;
    for (auto& hole : holes) taken.push_back(hole.release());
    return own(
        GEOSGeom_createPolygon_r(context_.get(), shell.release(), taken.data(), static_cast<unsigned>(taken.size())));
}

Geometry Geos::whole(std::span<const Rings> polygons) {
    std::vector<Geometry> parts;
    for (const Rings& rings : polygons) parts.push_back(polygonOf(rings));
    return collect(std::move(parts));
}

std::vector<Rings> Geos::unite(std::span<const Rings> polygons) {
    return ringsOf(own(GEOSUnaryUnion_r(context_.get(), whole(polygons).get())));
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

/// Of polygons, or of a collection of them.
std::vector<Rings> Geos::ringsOf(const Geometry& polygons) {
    const auto context = context_.get();
    std::vector<Rings> parts;
    for (int part = 0; part < GEOSGetNumGeometries_r(context, polygons.get()); ++part) {
        const auto* polygon = checked(GEOSGetGeometryN_r(context, polygons.get(), part));
        if (GEOSisEmpty_r(context, polygon)) continue;
        auto& rings = parts.emplace_back();
        rings.push_back(ring(GEOSGetExteriorRing_r(context, polygon)));
        for (int hole = 0; hole < GEOSGetNumInteriorRings_r(context, polygon); ++hole)
            rings.push_back(ring(GEOSGetInteriorRingN_r(context, polygon, hole)));
    }
    return parts;
}

} // namespace corvane
