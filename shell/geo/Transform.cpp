// SPDX-License-Identifier: Apache-2.0
#include "geo/Transform.hpp"

#include "base/Failure.hpp"
#include "geo/Proj.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

/// Takes x to the east and y to the north on both sides; null when there is nothing but a ballpark one. `authority`:
/// whose operations are taken, or "any".
Pj operationBetween(const Proj& proj, const PJ* from, const PJ* to, const std::string& authority) {
    const std::string limited = "AUTHORITY=" + authority;
    const char* const options[] = {"ALLOW_BALLPARK=NO", limited.c_str(), nullptr};
    const Pj operation(proj_create_crs_to_crs_from_pj(proj.context(), from, to, nullptr, options));
    return Pj(operation ? proj_normalize_for_visualization(proj.context(), operation.get()) : nullptr);
}

/// The systems as they are in the database are better known than shifts that somebody wrote into a text. EPSG's
/// operations go first, as in other programs, since those of others may differ by a metre.
Pj operationFor(Proj& proj, const PJ* from, const PJ* to) {
    const Pj plainFrom = proj.withoutShift(from), plainTo = proj.withoutShift(to);
    for (const char* authority : {"EPSG", "any"})
        if (Pj operation = operationBetween(proj, plainFrom.get(), plainTo.get(), authority)) return operation;
    return operationBetween(proj, from, to, "any");
}

/// Several operations may serve different places; what was used last is told, if it is worse than what is known.
void tellOperation(const Proj& proj, PJ* transformation, Transformation& told, bool first) {
    const Pj used(proj_trans_get_last_used_operation(transformation));
    if (!used) return;
    const double metres = proj_coordoperation_get_accuracy(proj.context(), used.get());
    const std::optional<double> accuracy = metres >= 0 ? std::optional(metres) : std::nullopt;
    if (!first && told.metres && accuracy && *accuracy <= *told.metres) return;
    if (!first && !told.metres) return; // nothing is worse than what is not known
    told.metres = accuracy;
    const char* name = proj_pj_info(used.get()).description;
    told.operation = name ? name : "";
}

void transformAll(const Proj& proj, PJ* operation, std::span<double> coordinates, Transformation& told) {
    constexpr std::size_t Told = 32; // asking for the operation takes longer than transforming
    const std::size_t step = std::max<std::size_t>(coordinates.size() / 2 / Told, 1);
    for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) {
        const double x = coordinates[i], y = coordinates[i + 1];
        const PJ_COORD there = proj_trans(operation, PJ_FWD, proj_coord(x, y, 0, HUGE_VAL));
        if (!std::isfinite(there.xy.x) || !std::isfinite(there.xy.y)) {
            const char* reason = proj_context_errno_string(proj.context(), proj_errno(operation));
            throw Failure(fmt::format("The point {} {} cannot be transformed from {} to {}{}; check in which system it "
                                      "is.",
                                      x, y, told.from, told.to, reason ? fmt::format(": {}", reason) : ""));
        }
        coordinates[i] = there.xy.x;
        coordinates[i + 1] = there.xy.y;
        if (i / 2 % step == 0) tellOperation(proj, operation, told, i == 0);
    }
}

} // namespace

Transformation transformCoordinates(const StatedCrs& from, const StatedCrs& to, std::span<double> coordinates) {
    Proj proj;
    const Pj source = proj.horizontal(from, "the polygons"), target = proj.horizontal(to, "the survey");
    const Pj plainSource = proj.withoutShift(source.get()), plainTarget = proj.withoutShift(target.get());
    Transformation told{.from = proj.nameOf(plainSource.get()),
                        .to = proj.nameOf(plainTarget.get()),
                        .operation = {},
                        .metres = {},
                        .metresPerUnit = proj.metresPerUnit(plainTarget.get())};
    told.same = proj.same(plainSource.get(), plainTarget.get());
    if (told.same) return told;
    const Pj operation = operationFor(proj, source.get(), target.get());
    if (!operation)
        throw Failure(fmt::format("There is no transformation from {} to {} but a ballpark one, which may be off by "
                                  "hundreds of metres; transform the polygons yourself, or give --polygon-crs survey "
                                  "if they are in the survey's coordinates.",
                                  told.from, told.to));
    transformAll(proj, operation.get(), coordinates, told);
    return told;
}

} // namespace corvane
