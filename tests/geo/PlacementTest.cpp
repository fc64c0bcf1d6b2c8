// SPDX-License-Identifier: Apache-2.0
// Polygons and surveys in coordinate systems of all kinds.
#include "GeoTestSupport.hpp"

namespace corvane::test {
namespace {

constexpr std::array<double, 4> Tyrol{675000, 5237000, 690000, 5250000}; // in UTM zone 32

std::string degreesJson(const std::string& crs = "") {
    const std::string member =
        crs.empty() ? "" : fmt::format(R"("crs":{{"type":"name","properties":{{"name":"{}"}}}},)", crs);
    return fmt::format(R"({{"type":"Polygon",{}"coordinates":[[[11.4,47.3],[11.5,47.3],[11.5,47.35],[11.4,47.3]]]}})",
                       member);
}

class Placing : public testing::Test {
protected:
    std::string file(const std::string& content) {
        const std::string path = folder_ / fmt::format("area{}.json", ++files_);
        write(path, content);
        return path;
    }

    static PlacedPolygons place(const LasFile& survey, const std::string& argument,
                                const PolygonOptions& options = {}) {
        return polygonsFor(survey, std::vector{argument}, options);
    }

    static std::string refusal(const LasFile& survey, const std::string& argument, const PolygonOptions& options = {}) {
        return messageOf<Failure>([&] { place(survey, argument, options); });
    }

    const Folder folder_;
    int files_ = 0;
};

TEST_F(Placing, takesCoordinatesOfTheSameSystemAsTheyAre) {
    const std::string square = "POLYGON((680000 5240000,681000 5240000,681000 5241000))";
    const std::string json = R"({"type":"FeatureCollection","crs":{"type":"name","properties":{"name":"%"}},"features":[
        {"type":"Feature","properties":{},"geometry":{"type":"Polygon","coordinates":
        [[[680000,5240000],[681000,5240000],[681000,5241000],[680000,5240000]]]}}]})";
    const auto stated = [&](const std::string& crs) { return file(std::string(json).replace(json.find('%'), 1, crs)); };
    const PolygonSet expected = readPolygons(std::vector{square});
    for (const std::string& wkt : {utmWkt(32), utmWktWithCode(32),
                                   "COMPD_CS[\"both\"," + utmWktWithCode(32) +
                                       ",VERT_CS[\"EGM96 height\",VERT_DATUM[\"EGM96 geoid\",2005],UNIT[\"metre\",1]]]",
                                   utmWkt(32, ",AXIS[\"Northing\",NORTH],AXIS[\"Easting\",EAST]")}) {
        const LasFile survey = surveyAt(Tyrol, wkt);
        for (const std::string& argument :
             {"SRID=32632;" + square, stated("EPSG:32632"), stated("urn:ogc:def:crs:EPSG::32632"),
              stated("http://www.opengis.net/def/crs/EPSG/0/32632")}) {
            SCOPED_TRACE(wkt + argument);
            const PlacedPolygons placed = place(survey, argument);
            EXPECT_EQ(placed.polygons.wkt, expected.wkt);
            EXPECT_EQ(joined(placed.notices), "");
        }
    }
}

TEST_F(Placing, transformsToTheCentimetreAndSaysHow) {
    const std::string wkt = "POLYGON((11.4 47.3,11.5 47.3,11.5 47.35))";
    for (const std::string& system : {utmWkt(32), utmWktWithCode(32)}) {
        const LasFile survey = surveyAt(Tyrol, system);
        const std::vector<std::pair<std::string, PolygonOptions>> calls{
            {"SRID=4326;" + wkt, {}},
            {file(degreesJson()), {}},
            {file(degreesJson("OGC:CRS84")), {}},
            {file(degreesJson("urn:ogc:def:crs:OGC:1.3:CRS84")), {}},
            {file(degreesJson("EPSG:4326")), {}},
            {wkt, {.crs = "epsg:4326"}},
            {"SRID=2056;" + wkt, {.crs = "EPSG:4326"}}};
        for (const auto& [argument, options] : calls) {
            SCOPED_TRACE(argument);
            const PlacedPolygons placed = place(survey, argument, options);
            for (const auto& [longitude, latitude] : {std::pair{11.4, 47.3}, {11.5, 47.3}, {11.5, 47.35}})
                EXPECT_TRUE(hasCorner(placed.polygons, utm(longitude, latitude, 32), 0.01)) << placed.polygons.wkt;
            const std::string notices = joined(placed.notices);
            EXPECT_TRUE(holds(notices, "WGS 84") && holds(notices, "UTM zone 32N") && holds(notices, " 0 m"))
                << notices;
        }
    }
    const LasFile etrs = surveyAt(
        Tyrol,
        R"(PROJCS["ETRS89 / UTM zone 32N",GEOGCS["ETRS89",DATUM["European_Terrestrial_Reference_System_1989",SPHEROID["GRS 1980",6378137,298.257222101]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433]],PROJECTION["Transverse_Mercator"],PARAMETER["latitude_of_origin",0],PARAMETER["central_meridian",9],PARAMETER["scale_factor",0.9996],PARAMETER["false_easting",500000],PARAMETER["false_northing",0],UNIT["metre",1],AUTHORITY["EPSG","25832"]])");
    const PlacedPolygons placed = place(etrs, file(degreesJson()));
    EXPECT_TRUE(hasCorner(placed.polygons, utm(11.5, 47.35, 32), 0.01));
    EXPECT_TRUE(holds(joined(placed.notices), "1 m")) << joined(placed.notices);
}

} // namespace
} // namespace corvane::test
