// SPDX-License-Identifier: Apache-2.0
#include "limit/LimitText.hpp"

#include "base/Failure.hpp"
#include "limit/Limits.hpp"

#include <fmt/format.h>
#include <limits>

namespace corvane {
namespace {

using Kesh::LimitPtr;

/// A list of so many numbers, of which the first half may be open below and the second above.
std::vector<double> readBounds(const json::Reader& list, std::size_t count) {
    constexpr double Infinite = std::numeric_limits<double>::infinity();
    list.expect(list.value().is_array() && list.value().size() == count,
                fmt::format("a list of {} numbers or nulls", count));
    std::vector<double> numbers;
    for (const json::Reader& bound : list.elements())
        numbers.push_back(!bound.value().is_null()     ? bound.number()
                          : numbers.size() < count / 2 ? -Infinite
                                                       : Infinite);
    for (std::size_t i = 0; i < count / 2; ++i)
        if (!(numbers[i] <= numbers[i + count / 2]))
            list.fail(fmt::format("the lower bound {} is above the upper one, {}", numbers[i], numbers[i + count / 2]));
    return numbers;
}

LimitPtr readOne(const json::Reader& object, const PolygonMaker& polygons) {
    object.expectKeys({"polygon", "box", "heights", "where"});
    std::vector<LimitPtr> limits;
    if (object.has("polygon")) limits.push_back(insidePolygons(polygons(object.member("polygon"))));
    if (object.has("box")) {
        const auto n = readBounds(object.member("box"), 6);
        limits.push_back(inBox({{n[0], n[1], n[2]}, {n[3], n[4], n[5]}}));
    }
    if (object.has("heights")) {
        const auto n = readBounds(object.member("heights"), 2);
        limits.push_back(betweenHeights(n[0], n[1]));
    }
    if (object.has("where")) {
        const json::Reader condition = object.member("where");
        limits.push_back(condition.at([&] { return where(condition.text()); }));
    }
    object.expect(!limits.empty(), "a limit, which is \"polygon\", \"box\", \"heights\" or \"where\",");
    return allOf(std::move(limits));
}

} // namespace

LimitPtr readLimit(const json::Reader& text, const PolygonMaker& polygons) {
    if (!text.value().is_array()) return readOne(text, polygons);
    std::vector<LimitPtr> limits;
    for (const json::Reader& one : text.elements()) limits.push_back(readLimit(one, polygons));
    text.expect(!limits.empty(), "a limit");
    return allOf(std::move(limits));
}

} // namespace corvane
