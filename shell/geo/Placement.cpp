// SPDX-License-Identifier: Apache-2.0
#include "geo/Placement.hpp"

#include "base/Failure.hpp"
#include "geo/GeoLibrary.hpp"
#include "las/CoordinateSystem.hpp"
#include "las/CrsText.hpp"
#include "polygon/Geos.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <map>
#include <regex>
#include <tuple>

namespace corvane {
namespace {

constexpr char Wgs84[] = "EPSG:4326"; // x is the longitude here as everywhere
constexpr double ToldBulge = 0.01;    // metres

struct Bounds {
    PlanePoint minimum{HUGE_VAL, HUGE_VAL}, maximum{-HUGE_VAL, -HUGE_VAL};

    void add(double x, double y) {
        minimum = {std::min(minimum.x, x), std::min(minimum.y, y)};
        maximum = {std::max(maximum.x, x), std::max(maximum.y, y)};
    }
    bool meets(const Bounds& other) const {
        return minimum.x <= other.maximum.x && other.minimum.x <= maximum.x && minimum.y <= other.maximum.y &&
               other.minimum.y <= maximum.y;
    }
    bool couldBeDegrees() const { return corvane::couldBeDegrees(minimum, maximum); }
};

Bounds boundsOf(const LasFile& survey) {
    const auto &low = survey.header.minimum, &high = survey.header.maximum;
    return {{low[0], low[1]}, {high[0], high[1]}};
}

template <class Features, class Function>
void forEachRing(const Features& features, Function function) {
    for (GivenFeature* feature : features)
        for (Rings& rings : feature->polygons)
            for (Ring& ring : rings) function(ring);
}

template <class Features>
Bounds boundsOf(const Features& features) {
    Bounds bounds;
    forEachRing(features, [&](const Ring& ring) {
        for (const auto [x, y] : ring) bounds.add(x, y);
    });
    return bounds;
}

/// "EPSG:25832" for the other ways of writing it; "" for what is no name of a system. Nothing else reaches the library
/// as a text, since it would take much for a description.
std::string codeOf(const std::string& crs) {
    static const std::regex epsg(R"((?:urn:(?:x-)?ogc:def:crs:|https?://www\.opengis\.net/def/crs/)?)"
                                 R"(EPSG[:/](?:[0-9.]*[:/])?(\d{1,9}))",
                                 std::regex::icase);
    static const std::regex longitudes(R"((?:.*[:/])?CRS:?84)", std::regex::icase);
    static const std::regex other(R"([A-Za-z]{2,20}:[A-Za-z0-9_]{1,20})");
    std::smatch match;
    if (crs.size() > 200) return {};
    if (std::regex_match(crs, match, epsg)) return "EPSG:" + match[1].str();
    if (std::regex_match(crs, longitudes)) return Wgs84;
    return std::regex_match(crs, other) ? crs : "";
}

bool isWkt(const std::string& crs) { return crs.find('[') != std::string::npos; }

/// Heights do not matter, and surveys describe them in ways that are not always understood.
std::string horizontal(const std::string& crs) {
    const auto part = horizontalPart(crs);
    return part.empty() ? crs : std::string(part);
}

StatedCrs statedBy(const LasFile& survey) {
    auto [keys, doubles, texts] = readGeoTiffRecords(*survey.file, survey.vlrs, survey.evlrs);
    return {survey.holdsWkt() ? horizontal(survey.crs) : "", std::move(keys), std::move(doubles), std::move(texts)};
}

/// Pairs of x and y: the corners of all rings, and behind them the middle of each edge.
std::vector<double> coordinatesOf(const std::vector<GivenFeature*>& features, bool degrees) {
    std::vector<double> corners, middles;
    forEachRing(features, [&](const Ring& ring) {
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const auto [x, y] = ring[i];
            auto [nextX, nextY] = ring[(i + 1) % ring.size()];
            if (degrees && std::abs(nextX - x) > 180) nextX += nextX < x ? 360 : -360; // the short way round
            corners.insert(corners.end(), {x, y});
            middles.insert(middles.end(), {(x + nextX) / 2, (y + nextY) / 2});
        }
    });
    corners.insert(corners.end(), middles.begin(), middles.end());
    return corners;
}

/// How far a straight edge in the old system lies from the edge in the new one, where that is most.
struct Bulge {
    double distance = 0, edge = 0; // units

    void add(PlanePoint from, PlanePoint to, PlanePoint middle) {
        const double off = std::hypot((from.x + to.x) / 2 - middle.x, (from.y + to.y) / 2 - middle.y);
        if (off <= distance) return;
        distance = off;
        edge = std::hypot(to.x - from.x, to.y - from.y);
    }
};

/// Puts the corners back into the rings.
Bulge putBack(const std::vector<GivenFeature*>& features, const std::vector<double>& coordinates) {
    std::size_t at = 0;
    Bulge bulge;
    const auto point = [&](std::size_t i) { return PlanePoint{coordinates[i], coordinates[i + 1]}; };
    forEachRing(features, [&](Ring& ring) {
        const std::size_t first = at, middles = coordinates.size() / 2;
        for (std::size_t i = 0; i < ring.size(); ++i, at += 2) {
            ring[i] = point(at);
            bulge.add(ring[i], point(i + 1 < ring.size() ? at + 2 : first), point(at + middles));
        }
    });
    return bulge;
}

std::vector<double> exchanged(std::vector<double> coordinates) {
    for (std::size_t i = 0; i + 1 < coordinates.size(); i += 2) std::swap(coordinates[i], coordinates[i + 1]);
    return coordinates;
}

/// Whether coordinates that do not lead to the survey would, with x and y exchanged.
bool meetExchanged(const StatedCrs& from, const StatedCrs& to, const std::vector<double>& coordinates,
                   const Bounds& survey) {
    std::vector<double> tried = exchanged(coordinates);
    try {
        geoLibrary("").transform(from, to, tried);
    } catch (const Failure&) {
        return false;
    }
    Bounds bounds;
    for (std::size_t i = 0; i + 1 < tried.size(); i += 2) bounds.add(tried[i], tried[i + 1]);
    return bounds.meets(survey);
}

std::string describe(const Transformation& done, const Bulge& bulge) {
    std::string text = fmt::format("transformed from {} to {}, ", done.from, done.to);
    text += done.metres ? fmt::format("with an accuracy of {} m, as PROJ states it", *done.metres)
                        : "with an accuracy that PROJ does not know";
    if (bulge.distance * done.metresPerUnit > ToldBulge)
        text += fmt::format("; only corners are, so an edge of {:.0f} m lies {:.2f} m from where it is straight in "
                            "{}",
                            bulge.edge * done.metresPerUnit, bulge.distance * done.metresPerUnit, done.from);
    return text;
}

constexpr char ExchangedAdvice[] = "x and y look exchanged, since the other way round they meet the survey; x is the "
                                   "longitude or easting and comes first";

} // namespace

Placement::Placement(const LasFile& survey, const GivenPolygons& given)
    : features(given.features),
      notices(given.notices),
      survey_(survey),
      surveyName_(crsLabel(survey.crs).text()),
      lack_(survey.crs.empty() ? "states no coordinate system" : "states a coordinate system that is not understood"),
      repair_(given.repair) {
    if (given.asSurvey) return;
    for (const Group& group : groups()) place(group);
    tellUnstated();
}

std::vector<Placement::Group> Placement::groups() {
    std::map<std::tuple<std::string, std::string, bool, bool>, std::size_t> places;
    std::vector<Group> groups;
    for (GivenFeature& feature : features) {
        const auto key = std::tuple(feature.source, feature.crs, feature.isGeoJson, feature.isSurveys);
        const auto [found, isNew] = places.try_emplace(key, groups.size());
        if (isNew) groups.emplace_back();
        groups[found->second].push_back(&feature);
    }
    return groups;
}

void Placement::place(const Group& group) {
    const auto& [source, crs] = std::tie(group.front()->source, group.front()->crs);
    if (crs.empty()) return placeUnstated(group);
    const CrsLabel label = isWkt(crs) ? crsLabel(crs) : CrsLabel{"", codeOf(crs)};
    if (!isWkt(crs) && label.code.empty())
        throw Failure(fmt::format("{}: states the coordinate system \"{}\", expected a code such as EPSG:25832; "
                                  "overrule it with --polygon-crs.",
                                  source, crs.substr(0, 100)));
    if (surveyName_.empty()) {
        notices.push_back(fmt::format("{}: the polygons are in {}, and the survey {}; their coordinates are taken as "
                                      "the survey's.",
                                      source, label.text(), lack_));
        return;
    }
    if (!label.code.empty() && label.code == crsLabel(survey_.crs).code) return;
    transform(group, isWkt(crs) ? horizontal(crs) : label.code, "");
}

void Placement::placeUnstated(const Group& group) {
    const auto& source = group.front()->source;
    if (!group.front()->isGeoJson || !boundsOf(group).couldBeDegrees() || boundsOf(survey_).couldBeDegrees()) {
        if (!group.front()->isSurveys) unstated_.push_back(source);
        return;
    }
    if (surveyName_.empty())
        throw Failure(
            fmt::format("{}: GeoJSON without a coordinate system is in degrees of WGS 84, and looks so, while "
                        "the survey does not, and {}, so that nothing can be transformed to it; transform the "
                        "polygons, or give --polygon-crs survey to take them as they are.",
                        source, lack_));
    transform(group, Wgs84, "states no coordinate system and looks like degrees, so it is taken for WGS 84, and ");
}

void Placement::transform(const Group& group, const std::string& crs, const std::string& assumption) {
    const auto& source = group.front()->source;
    const StatedCrs from{.text = crs, .keys = {}, .doubles = {}, .texts = {}}, to = statedBy(survey_);
    const auto given = coordinatesOf(group, boundsOf(group).couldBeDegrees());
    const auto& library = geoLibrary(fmt::format("compare the coordinate systems of {} and of the survey", source));
    auto coordinates = given;
    Transformation done;
    try {
        done = library.transform(from, to, coordinates);
    } catch (const Failure& failure) {
        const bool meet = meetExchanged(from, to, given, boundsOf(survey_));
        throw Failure(
            fmt::format("{}: {}{}", source, failure.what(), meet ? fmt::format(" Their {}.", ExchangedAdvice) : ""));
    }
    if (done.same) return;
    const Bulge bulge = putBack(group, coordinates);
    notices.push_back(fmt::format("{}: {}{}.", source, assumption, describe(done, bulge)));
    if (!boundsOf(group).meets(boundsOf(survey_)) && meetExchanged(from, to, given, boundsOf(survey_)))
        notices.push_back(fmt::format("{}: {}.", source, ExchangedAdvice));
    checkAgain(group);
}

void Placement::checkAgain(const Group& group) {
    const auto& source = group.front()->source;
    Geos geos;
    Repairs repairs{.wanted = repair_, .reports = {}};
    for (GivenFeature* feature : group) {
        try {
            feature->polygons = geos.validated(feature->polygons, repairs);
        } catch (const Failure& failure) {
            throw Failure(fmt::format("{}: after the transformation {}.", source, failure.what()));
        }
    }
    for (const std::string& report : repairs.reports)
        notices.push_back(fmt::format("{}: after the transformation repaired {}.", source, report));
}

void Placement::tellUnstated() {
    if (unstated_.empty()) return;
    const std::string others = unstated_.size() == 1 ? "" : fmt::format(" and {} more", unstated_.size() - 1);
    notices.push_back(fmt::format(
        "{}{}: no coordinate system is stated; coordinates are taken as the survey's{}.", unstated_.front(), others,
        surveyName_.empty() ? fmt::format(", which {}", lack_) : fmt::format(", which are in {}", surveyName_)));
}

} // namespace corvane
