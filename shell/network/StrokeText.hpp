// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Stroke.hpp"
#include "json/Reader.hpp"

namespace corvane {

/// The stroke that a network file describes (docs/network.md). Throws json::Error, and UsageError or Failure for
/// polygons that cannot be read. `polygons` makes those that are seen from above; on other views they are taken as they
/// are.
Stroke readStroke(const json::Reader& stroke, const PolygonMaker& polygons = plainPolygons);

/// Calls the function, which draws the stroke; a part of it that makes no sense throws json::Error with its place.
template <class Function>
auto drawing(const json::Reader& stroke, Function function) {
    try {
        return function();
    } catch (const StrokeProblem& problem) {
        stroke.member(problem.part).fail(problem.what());
    }
}

/// The stroke as it is when what `strokeAsJson` writes of it is read again: a perspective's angle is in degrees there.
Stroke asRecorded(Stroke stroke);

/// The stroke as a network file has it.
json::Value strokeAsJson(const Stroke& stroke);

} // namespace corvane
