// SPDX-License-Identifier: Apache-2.0
#include "geo/Proj.hpp"

#include "base/Failure.hpp"
#include "geo/GeoKeysCrs.hpp"

#include <fmt/format.h>
#include <proj_experimental.h>

namespace corvane {
namespace {

constexpr double EarthRadius = 6378137; // metres

void keepMessage(void* message, int, const char* text) { *static_cast<std::string*>(message) = text; }

void dropMessage(void*, int, const char*) {}

} // namespace

void silenceProj() {
    proj_log_level(nullptr, PJ_LOG_NONE); // of the context that all others are copies of
    proj_log_func(nullptr, nullptr, dropMessage);
}

Proj::Proj() : context_(proj_context_create(), proj_context_destroy) {
    proj_log_level(context(), PJ_LOG_ERROR);
    proj_log_func(context(), &message_, keepMessage);
    proj_context_set_enable_network(context(), 0);
    if (!proj_context_get_database_path(context()))
        throw Failure("The database of PROJ, proj.db, was not found; install the package proj-data, and check the "
                      "environment variables PROJ_LIB and PROJ_DATA, if they are set.");
}

Pj Proj::create(const std::string& text) {
    if (text.find('[') == std::string::npos) return named(text);
    PROJ_STRING_LIST warnings = nullptr, errors = nullptr;
    Pj crs(proj_create_from_wkt(context(), text.c_str(), nullptr, &warnings, &errors));
    if (!crs && errors && *errors) message_ = *errors;
    proj_string_list_destroy(warnings);
    proj_string_list_destroy(errors);
    return crs;
}

/// Programs write numbers of ESRI's as if they were EPSG's, whose are lower.
Pj Proj::named(const std::string& code) {
    constexpr std::string_view Authority = "EPSG:";
    Pj crs(proj_create(context(), code.c_str()));
    if (crs || !code.starts_with(Authority)) return crs;
    const std::string message = message_;
    crs.reset(proj_create(context(), fmt::format("ESRI:{}", code.substr(Authority.size())).c_str()));
    if (!crs) message_ = message;
    return crs;
}

/// One step towards the horizontal system; null when it is one, or none at all.
Pj Proj::part(const PJ* crs) {
    switch (proj_get_type(crs)) {
    case PJ_TYPE_COMPOUND_CRS:
        return Pj(proj_crs_get_sub_crs(context(), crs, 0));
    case PJ_TYPE_GEOGRAPHIC_3D_CRS:
        return Pj(proj_crs_demote_to_2D(context(), nullptr, crs));
    default:
        return nullptr;
    }
}

Pj Proj::horizontal(const StatedCrs& stated, const std::string& whose) {
    message_.clear();
    Pj crs = stated.text.empty() ? nullptr : create(stated.text);
    if (!crs && !stated.keys.empty()) crs = create(wktOfGeoKeys(stated));
    if (!crs)
        throw Failure(fmt::format("The coordinate system of {} is not understood{}; correct it, or give --polygon-crs.",
                                  whose, message_.empty() ? "" : " by PROJ: " + message_));
    while (Pj inner = part(crs.get())) crs = std::move(inner);
    const Pj plain = withoutShift(crs.get());
    const PJ_TYPE type = proj_get_type(plain.get());
    if (type != PJ_TYPE_PROJECTED_CRS && type != PJ_TYPE_GEOGRAPHIC_2D_CRS && type != PJ_TYPE_GEOGRAPHIC_3D_CRS)
        throw Failure(fmt::format("The coordinate system of {}, {}, has no place on the earth, so nothing can be "
                                  "transformed to it or from it; give --polygon-crs.",
                                  whose, nameOf(crs.get())));
    return crs;
}

Pj Proj::withoutShift(const PJ* crs) {
    return Pj(proj_get_type(crs) == PJ_TYPE_BOUND_CRS ? proj_get_source_crs(context(), crs)
                                                      : proj_clone(context(), crs));
}

std::string Proj::codeOf(const PJ* crs) const {
    const char *authority = proj_get_id_auth_name(crs, 0), *code = proj_get_id_code(crs, 0);
    return authority && code ? fmt::format("{}:{}", authority, code) : "";
}

std::string Proj::nameOf(const PJ* crs) const {
    const char* name = proj_get_name(crs);
    const std::string code = codeOf(crs), shown = name && *name ? name : "a system without a name";
    return code.empty() ? shown : fmt::format("{} ({})", shown, code);
}

bool Proj::same(const PJ* one, const PJ* other) const {
    const bool sameCode = !codeOf(one).empty() && codeOf(one) == codeOf(other);
    if (sameCode && metresPerUnit(one) == metresPerUnit(other)) return true; // GeoTIFF keys may give another unit
    const Pj first(proj_normalize_for_visualization(context(), one)),
        second(proj_normalize_for_visualization(context(), other));
    return first && second &&
           proj_is_equivalent_to_with_ctx(context(), first.get(), second.get(),
                                          PJ_COMP_EQUIVALENT_EXCEPT_AXIS_ORDER_GEOGCRS);
}

double Proj::metresPerUnit(const PJ* crs) const {
    const Pj system(proj_crs_get_coordinate_system(context(), crs));
    double factor = 1;
    if (!system || !proj_cs_get_axis_info(context(), system.get(), 0, nullptr, nullptr, nullptr, &factor, nullptr,
                                          nullptr, nullptr))
        return 1;
    return proj_get_type(crs) == PJ_TYPE_PROJECTED_CRS ? factor : factor * EarthRadius;
}

} // namespace corvane
