// SPDX-License-Identifier: Apache-2.0
#include "command/LimitOptions.hpp"

#include "base/Failure.hpp"
#include "limit/Expression.hpp"
#include "limit/Limits.hpp"
#include "session/PolygonMiss.hpp"
#include "survey/BrushedPoints.hpp"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>

namespace corvane {
namespace {

constexpr double Infinite = std::numeric_limits<double>::infinity();

std::optional<double> readNumber(std::string_view text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// "X0,Y0,X1,Y1" or "X0,Y0,Z0,X1,Y1,Z1".
Kesh::LimitPtr readBox(const std::string& text) {
    std::vector<double> n;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const auto number = readNumber(std::string_view(text).substr(begin, end - begin));
        if (!number)
            throw UsageError(fmt::format("--box: \"{}\" was found where a number is expected; write X0,Y0,X1,Y1 or "
                                         "X0,Y0,Z0,X1,Y1,Z1.",
                                         text.substr(begin, end - begin)));
        n.push_back(*number);
        begin = end + 1;
    }
    if (n.size() != 4 && n.size() != 6)
        throw UsageError(fmt::format("--box: {} numbers were found where 4 or 6 are expected: X0,Y0,X1,Y1 or "
                                     "X0,Y0,Z0,X1,Y1,Z1.",
                                     n.size()));
    const bool flat = n.size() == 4;
    const std::size_t half = n.size() / 2;
    for (std::size_t axis = 0; axis < half; ++axis)
        if (n[axis] > n[axis + half])
            throw UsageError(fmt::format("--box: {} {} is above {}; write the lower corner first.", "XYZ"[axis],
                                         n[axis], n[axis + half]));
    return inBox({{n[0], n[1], flat ? -Infinite : n[2]}, {n[half], n[half + 1], flat ? Infinite : n[5]}});
}

/// "A..B", "A.." or "..B".
Kesh::LimitPtr readHeights(const std::string& text) {
    const std::size_t dots = text.find("..");
    if (dots == text.npos || text == "..")
        throw UsageError(
            fmt::format("--z: \"{}\" was found where A..B is expected, such as 470..480, 470.. or ..480.", text));
    const auto bound = [&](std::string_view part, double open) {
        if (part.empty()) return open;
        if (const auto number = readNumber(part)) return *number;
        throw UsageError(fmt::format("--z: \"{}\" was found where a height is expected.", part));
    };
    const std::string_view view = text;
    const double low = bound(view.substr(0, dots), -Infinite), high = bound(view.substr(dots + 2), Infinite);
    if (low > high) throw UsageError(fmt::format("--z {}: holds no height; write the smaller one first.", text));
    return betweenHeights(low, high);
}

Kesh::LimitPtr readCondition(const std::string& text) {
    try {
        return where(text);
    } catch (const ExpressionError& error) {
        throw UsageError(fmt::format("--where \"{}\": {}.", text, error.what()));
    }
}

std::shared_ptr<const GivenPolygons> readPolygons(const LimitArguments& arguments) {
    if (arguments.given) return arguments.given;
    if (arguments.classFrom.empty()) {
        if (!arguments.whereFeature.empty())
            throw UsageError("--where-feature: goes with --class-from, which says what attribute the class is.");
        if (arguments.within.empty()) return nullptr;
        return std::make_shared<const GivenPolygons>(readGiven(arguments.within, arguments.polygons));
    }
    if (arguments.within.size() != 1)
        throw UsageError("--class-from: takes the features of one file; give one --within FILE.");
    const FeatureQuery query{arguments.within.front(), arguments.classFrom, arguments.whereFeature};
    return std::make_shared<const GivenPolygons>(readFeatures(query, arguments.polygons));
}

} // namespace

std::string limitText(const LimitArguments& limits) {
    std::vector<std::string> parts, polygons;
    std::error_code error; // a polygon is longer than a name can be
    for (const std::string& within : limits.within)
        polygons.push_back(std::filesystem::exists(within, error) ? std::filesystem::path(within).filename().string()
                                                                  : "a polygon");
    if (!polygons.empty()) parts.push_back(fmt::format("inside {}", fmt::join(polygons, " or ")));
    if (!limits.box.empty()) parts.push_back("in the box " + limits.box);
    if (!limits.z.empty()) parts.push_back("at heights " + limits.z);
    for (const std::string& condition : limits.where) parts.push_back("where " + condition);
    return fmt::format("{}", fmt::join(parts, ", "));
}

void addLimitOptions(CLI::App& command, LimitArguments& arguments) {
    const std::string group = "Which points";
    command
        .add_option("--within", arguments.within,
                    "Inside this polygon: WKT, or a file: WKT, GeoJSON, GeoPackage, Shapefile, KML, FlatGeobuf, CSV; "
                    "FILE|LAYER; - for standard input. Several mean their union")
        ->allow_extra_args(false)
        ->group(group);
    addPolygonOptions(command, arguments.polygons);
    command.add_option("--box", arguments.box, "In the box X0,Y0,X1,Y1 or X0,Y0,Z0,X1,Y1,Z1, faces included")
        ->group(group);
    command.add_option("--z", arguments.z, "Between two heights: A..B, A.. or ..B, both included")->group(group);
    command
        .add_option("--where", arguments.where,
                    "That an expression over their fields holds for, e.g. \"ReturnNumber == 1 && Z > 470\"")
        ->allow_extra_args(false)
        ->group(group);
    command.add_flag("--allow-miss", arguments.allowMiss, "Let it pass when no point is there")->group(group);
}

void addPolygonOptions(CLI::App& command, PolygonOptions& options) {
    const std::string group = "Which points";
    command
        .add_option("--polygon-crs", options.crs,
                    "The coordinate system of polygons, whatever they state: EPSG:25832, or survey")
        ->group(group);
    command.add_flag("--repair-polygons", options.repair, "Repair polygons that touch or cross themselves")
        ->group(group);
}

void readPolygonsOnce(LimitArguments& arguments) { arguments.given = readPolygons(arguments); }

CallLimits::CallLimits(const LimitArguments& arguments) : arguments_(arguments) {
    given_ = readPolygons(arguments);
    if (!arguments.box.empty()) fixed_.push_back({"--box " + arguments.box, readBox(arguments.box)});
    if (!arguments.z.empty()) fixed_.push_back({"--z " + arguments.z, readHeights(arguments.z)});
    for (const std::string& condition : arguments.where)
        fixed_.push_back({fmt::format("--where \"{}\"", condition), readCondition(condition)});
}

Kesh::LimitPtr CallLimits::on(const Survey& survey, const std::function<void(const std::string&)>& note) {
    present_.clear();
    if (given_ && !arguments_.classFrom.empty()) {
        PlacedFeatures placed = placeFeaturesOn(survey.las(), *given_);
        for (const std::string& notice : placed.notices) note(notice);
        features_ = std::move(placed.features);
    } else if (given_) {
        PlacedPolygons placed = placeOn(survey.las(), *given_);
        for (const std::string& notice : placed.notices) note(notice);
        polygons_ = std::move(placed.polygons);
    }
    if (polygons_) present_.push_back({"--within", insidePolygons(*polygons_)});
    for (const Part& part : fixed_) {
        try {
            present_.push_back({part.option, limitOn(survey, part.limit)});
        } catch (const UsageError& error) {
            throw UsageError(fmt::format("{}: {}", part.option, error.what()));
        }
    }
    if (present_.empty()) return nullptr;
    std::vector<Kesh::LimitPtr> limits;
    for (const Part& part : present_) limits.push_back(part.limit);
    return allOf(std::move(limits));
}

std::string CallLimits::missOn(const Survey& survey, const std::optional<Stroke>& stroke, const Watch& watch) const {
    std::vector<Kesh::LimitPtr> limits;
    for (const Part& part : present_) limits.push_back(part.limit);
    const Kesh::LimitPtr all = limits.empty() ? nullptr : allOf(limits);
    Stroke whole = stroke.value_or(allWithin(nullptr));
    whole.limit = all;
    if (!whole.limit && !stroke) return "";
    if (meetsAny(survey, brushOf(whole, survey), watch)) return "";
    if (polygons_)
        if (const PolygonMiss miss = missOf(survey, *polygons_); !miss.sentence.empty()) return miss.sentence;
    for (const Part& part : present_)
        if (!meetsAny(survey, Kesh::Brush(part.limit), watch)) {
            const LasHeader& header = survey.las().header;
            return fmt::format("No point of the survey meets {}; its points lie in x {} to {}, y {} to {}, z {} to {}.",
                               part.option, header.minimum[0], header.maximum[0], header.minimum[1], header.maximum[1],
                               header.minimum[2], header.maximum[2]);
        }
    if (stroke && !meetsAny(survey, brushOf(*stroke, survey), watch))
        return "No point of the survey lies under the stroke.";
    return fmt::format("No point of the survey meets all of the limits together, though {}.",
                       present_.size() + (stroke ? 1 : 0) > 1 ? "some meet each" : "some may be near");
}

} // namespace corvane
