// SPDX-License-Identifier: Apache-2.0
// Polygons and surveys in coordinate systems of all kinds.
#include "../support/RealSurveys.hpp"
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

TEST_F(Placing, saysWhenNothingIsStated) {
    const std::string wkt = "POLYGON((680000 5240000,681000 5240000,681000 5241000))";
    const std::string local = R"(LOCAL_CS["site",UNIT["metre",1]])";
    const struct {
        std::string survey, argument;
        PolygonOptions options;
        std::vector<std::string> told;
    } cases[] = {
        {utmWktWithCode(32), wkt, {}, {"no coordinate system is stated", "WGS 84 / UTM zone 32N (EPSG:32632)"}},
        {utmWktWithCode(32), "SRID=0;" + wkt, {}, {"no coordinate system is stated"}},
        {utmWktWithCode(32), wkt, {.crs = "survey"}, {}},
        {utmWktWithCode(32), "SRID=4326;" + wkt, {.crs = "survey"}, {}},
        {"", wkt, {}, {"no coordinate system is stated", "which states no coordinate system"}},
        {"", "SRID=32632;" + wkt, {}, {"are in EPSG:32632", "the survey states no coordinate system"}},
        {local, "SRID=32632;" + wkt, {}, {"the survey states a coordinate system that is not understood"}},
        {"PROJCS[\"cut", "SRID=32632;" + wkt, {}, {"not understood"}},
    };
    for (const auto& [system, argument, options, told] : cases) {
        SCOPED_TRACE(system + argument);
        const PlacedPolygons placed = place(surveyAt(Tyrol, system), argument, options);
        EXPECT_EQ(placed.polygons.wkt, readPolygons(std::vector{wkt}).wkt);
        EXPECT_EQ(placed.notices.size(), told.empty() ? 0u : 1u);
        for (const std::string& words : told)
            EXPECT_TRUE(holds(joined(placed.notices), words)) << joined(placed.notices);
    }
    const PlacedPolygons several =
        polygonsFor(surveyAt(Tyrol, utmWkt(32)),
                    std::vector<std::string>{wkt, "POLYGON((1 1,1 2,2 2))", file("POLYGON((3 3,3 4,4 4))")});
    EXPECT_TRUE(several.notices.size() == 1 && holds(several.notices[0], "and 2 more")) << joined(several.notices);
}

TEST_F(Placing, takesGeoJsonForDegreesOnlyWhereThatMakesSense) {
    const std::string degrees = file(degreesJson());
    const std::string refused = refusal(surveyAt(Tyrol, ""), degrees);
    EXPECT_TRUE(holds(refused, "--polygon-crs survey")) << refused;
    const PlacedPolygons geographic = place(surveyAt({11, 47, 12, 48}, ""), degrees);
    EXPECT_TRUE(hasCorner(geographic.polygons, {11.5, 47.35}, 1e-12));
    EXPECT_TRUE(holds(joined(geographic.notices), "no coordinate system is stated"));
    const std::string metres =
        R"({"type":"Polygon","coordinates":[[[680000,5240000],[681000,5240000],[681000,5241000]]]})";
    EXPECT_TRUE(hasCorner(place(surveyAt(Tyrol, utmWkt(32)), file(metres)).polygons, {681000, 5241000}, 1e-9));
}

TEST_F(Placing, refusesWhatCannotBeTransformedWell) {
    std::string unknown = utmWkt(32);
    for (const auto& [name, other] :
         {std::pair{"\"WGS_1984\"", "\"Local\""}, {"6378137,298.257223563", "6377397,299.15"}})
        unknown.replace(unknown.find(name), std::string(name).size(), other);
    const std::string square = "POLYGON((11.4 47.3,11.5 47.3,11.5 47.35))";
    const struct {
        std::string survey, argument;
        std::vector<std::string> says;
    } cases[] = {
        {unknown, "SRID=4326;" + square, {"ballpark", "WGS 84", "--polygon-crs survey"}},
        {utmWkt(32), "SRID=999999;" + square, {"999999", "not understood"}},
        {utmWkt(32), file(degreesJson("+proj=utm +zone=32")), {"+proj=utm", "expected a code"}},
        {utmWkt(32), file(degreesJson("/etc/passwd")), {"/etc/passwd", "expected a code"}},
        {utmWkt(32), "SRID=4978;" + square, {"no place on the earth"}}, // geocentric
        {utmWkt(32), "SRID=4326;POLYGON((11 97,12 97,12 98))", {"11 97", "cannot be transformed"}},
        {"PROJCS[\"odd\",GEOGCS[\"odd\"]]", "SRID=4326;" + square, {"of the survey is not understood"}},
    };
    for (const auto& [system, argument, says] : cases) {
        SCOPED_TRACE(argument);
        testing::internal::CaptureStderr();
        const std::string said = refusal(surveyAt(Tyrol, system), argument);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        for (const std::string& words : says) EXPECT_TRUE(holds(said, words)) << said;
        EXPECT_TRUE(said.ends_with('.') && !holds(said, "\n")) << said;
    }
    for (const char* crs : {"25832", "EPSG", "EPSG:", "+proj=utm", "EPSG:4326 "})
        EXPECT_TRUE(
            holds(messageOf<UsageError>([&] { readGiven(std::vector{square}, {.crs = crs}); }), "--polygon-crs"));
}

TEST_F(Placing, knowsNumbersOfEsri) {
    constexpr double Radius = 6378137;
    const auto web = [](double longitude, double latitude) { // Mercator's projection of a sphere
        const double degree = std::acos(-1) / 180;
        return fmt::format("{} {}", Radius * longitude * degree, Radius * std::asinh(std::tan(latitude * degree)));
    };
    const std::string wkt =
        fmt::format("SRID=102100;POLYGON(({},{},{}))", web(11.4, 47.3), web(11.5, 47.3), web(11.5, 47.35));
    const PlacedPolygons placed = place(surveyAt(Tyrol, utmWkt(32)), wkt);
    EXPECT_TRUE(holds(joined(placed.notices), "ESRI:102100")) << joined(placed.notices);
    EXPECT_TRUE(hasCorner(placed.polygons, utm(11.5, 47.35, 32), 0.01)) << placed.polygons.wkt;
}

TEST_F(Placing, seesExchangedCoordinates) {
    const std::string exchanged = "SRID=4326;POLYGON((47.3 11.4,47.3 11.5,47.35 11.5))";
    const PlacedPolygons placed = place(surveyAt(Tyrol, utmWkt(32)), exchanged);
    EXPECT_TRUE(holds(joined(placed.notices), "look exchanged")) << joined(placed.notices);
    const LasFile america = surveyAt({445000, 3770000, 565000, 3880000}, utmWkt(12));
    const std::string beyond = refusal(america, "SRID=4326;POLYGON((34.1 -111.4,34.1 -110.6,35 -110.6))");
    EXPECT_TRUE(holds(beyond, "look exchanged")) << beyond;
    EXPECT_FALSE(holds(joined(place(america, "SRID=4326;POLYGON((11 47,12 47,12 48))").notices), "exchanged"));
}

TEST_F(Placing, saysHowFarLongEdgesAreOff) {
    const LasFile survey = surveyAt(Tyrol, utmWkt(32));
    const std::string near = joined(place(survey, "SRID=4326;POLYGON((11.4 47.3,11.401 47.3,11.401 47.301))").notices);
    EXPECT_FALSE(holds(near, "straight")) << near;
    const std::string far =
        joined(place(survey, "SRID=4326;POLYGON((8 46,10 46,9 46.001))").notices); // over the meridian
    const double sagitta =
        std::pow(utm(10, 46, 32).x - utm(8, 46, 32).x, 2) / 8 / 6.388e6 * std::tan(46 * std::acos(-1) / 180);
    const std::size_t at = far.find(" m lies ");
    ASSERT_NE(at, std::string::npos) << far;
    EXPECT_NEAR(std::stod(far.substr(at + 8)), sagitta, 0.01 * sagitta) << far;
}

TEST_F(Placing, crossesTheAntimeridian) {
    const LasFile survey = surveyAt({690000, 5640000, 730000, 5680000}, utmWktWithCode(60));
    const std::string across = "SRID=4326;POLYGON((179.9 51,-179.9 51,-179.9 51.1,179.9 51.1))";
    const std::string cut = "SRID=4326;MULTIPOLYGON(((179.9 51,180 51,180 51.1,179.9 51.1)),"
                            "((-180 51,-179.9 51,-179.9 51.1,-180 51.1)))";
    for (const std::string& wkt : {across, cut}) {
        const PlacedPolygons placed = place(survey, wkt);
        EXPECT_EQ(placed.polygons.rings.size(), 1u);
        for (const double longitude : {179.9, 180.1})
            EXPECT_TRUE(hasCorner(placed.polygons, utm(longitude, 51.1, 60), 0.01)) << placed.polygons.wkt;
        EXPECT_LT(placed.polygons.maximum.x - placed.polygons.minimum.x, 15000);
        EXPECT_FALSE(holds(joined(placed.notices), "00 m lies")) << joined(placed.notices); // the short way round
    }
}

TEST_F(Placing, worksInFeetAndInDegrees) {
    const std::string feet = utmWkt(32, "");
    const auto inFeet = [&](double unit) {
        std::string wkt = feet;
        wkt.replace(wkt.find("UNIT[\"metre\",1]"), 15, fmt::format("UNIT[\"foot\",{}]", unit));
        return wkt.replace(wkt.find("500000"), 6, fmt::format("{}", 500000 / unit));
    };
    for (const double unit : {0.3048, 1200.0 / 3937}) {
        const PlacedPolygons placed = place(surveyAt({2.2e6, 17.1e6, 2.3e6, 17.3e6}, inFeet(unit)),
                                            "SRID=4326;POLYGON((11.4 47.3,11.5 47.3,11.5 47.35))");
        const PlanePoint metres = utm(11.5, 47.35, 32);
        EXPECT_TRUE(hasCorner(placed.polygons, {metres.x / unit, metres.y / unit}, 0.03)) << placed.polygons.wkt;
    }
    const std::string geographic =
        R"(GEOGCS["WGS 84",DATUM["WGS_1984",SPHEROID["WGS 84",6378137,298.257223563]],PRIMEM["Greenwich",0],UNIT["degree",0.0174532925199433],AUTHORITY["EPSG","4326"]])";
    const PlanePoint corner = utm(11.5, 47.35, 32);
    const std::string wkt = fmt::format("SRID=32632;POLYGON(({} {},{} {},{} {}))", corner.x, corner.y, corner.x - 900,
                                        corner.y, corner.x, corner.y - 900);
    EXPECT_TRUE(hasCorner(place(surveyAt({11, 47, 12, 48}, geographic), wkt).polygons, {11.5, 47.35}, 1e-7));
}

/// Version, revision, number of keys; then key, 0 for "here", 1 value, the value.
std::string keys(const std::vector<std::pair<int, int>>& values) {
    std::vector<std::uint16_t> numbers{1, 1, 0, static_cast<std::uint16_t>(values.size())};
    for (const auto& [key, value] : values)
        for (const int number : {key, 0, 1, value}) numbers.push_back(static_cast<std::uint16_t>(number));
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof numbers[0]};
}

TEST_F(Placing, readsGeoTiffKeys) {
    const auto survey = [](const std::string& directory) {
        Survey made(2, 1);
        made.vlr("LASF_Projection", 34735, directory).points();
        for (const std::size_t place : {179, 187, 195, 203}) made.put<double>(place, 1e6);
        return made.open();
    };
    const std::string wkt = "SRID=4326;POLYGON((11.4 47.3,11.5 47.3,11.5 47.35))";
    for (const auto& directory : {keys({{1024, 1}, {3072, 32632}, {3076, 9001}}), keys({{3072, 32632}}),
                                  keys({{3076, 9001}, {3072, 32632}, {1024, 1}})})
        EXPECT_TRUE(hasCorner(place(survey(directory), wkt).polygons, utm(11.5, 47.35, 32), 0.01));
    const std::string own = "SRID=32632;POLYGON((680000 5240000,681000 5240000,681000 5241000))";
    EXPECT_EQ(joined(place(survey(keys({{1024, 1}, {3072, 32632}, {3076, 9001}})), own).notices), "");
    EXPECT_EQ(joined(place(survey(keys({{1024, 2}, {2048, 4326}})), wkt).notices), "");
    // EPSG has the northing first here; the meridian in the middle is 173, that of the zone 171.
    const PlacedPolygons zealand =
        place(survey(keys({{1024, 1}, {3072, 2193}})), "SRID=4326;POLYGON((173.5 -41,173.6 -41,173.5 -41.1))");
    const PlanePoint inZone = utm(173.5 - 2, -41, 59);
    EXPECT_TRUE(hasCorner(zealand.polygons, {1100000 + inZone.x, 1e7 + inZone.y}, 0.01)) << zealand.polygons.wkt;
}

class PlacingOnRealSurveys : public WithFacts<testing::Test> {};

TEST_F(PlacingOnRealSurveys, findsWhereTheyAre) {
    const struct {
        const char* name;
        double longitude, latitude;
    } places[] = {
        {"1.2_1_one_point.las", -93.35, 41.58},                   // Iowa
        {"autzen_107.copc.laz", -123.07, 44.06},                  // Eugene, Oregon
        {"evlr_pf6.las", -106.07, 35.99},                         // New Mexico; a vertical system within the horizontal
        {"ign_77050_627760_pf3_class_overflow.laz", 3.87, 43.59}, // Montpellier
        {"ign_france_pf8.las", 0.18, 46.76},                      // Poitou
        {"mixedconifer_pf1_eb8.laz", -111.2, 34.46},              // Arizona
        {"saipan_waveform_pf6.laz", 145.79, 15.15},               // Saipan; WKT of two kinds in one
        {"semis_2023_pf6.laz", -2.52, 48.46},                     // Brittany
        {"topography_pf1.laz", -70.92, 47.61},                    // Quebec
        {"version1_pointwise_pf0.laz", -75.88, 41.16},            // Pennsylvania; a code in metres, and feet
        {"wontcompress3_pf6.las", -66.46, 18.33},                 // Puerto Rico
    };
    for (const auto& [name, x, y] : places) {
        SCOPED_TRACE(name);
        const LasFile las = LasFile::open(Data / name);
        const std::string around =
            fmt::format("SRID=4326;POLYGON(({0} {2},{1} {2},{1} {3},{0} {3}))", x - 0.1, x + 0.1, y - 0.1, y + 0.1);
        const PlacedPolygons placed = polygonsFor(las, std::vector{around});
        const auto &low = las.header.minimum, &high = las.header.maximum;
        EXPECT_FALSE(miss(placed.polygons, {low[0], low[1]}, {high[0], high[1]})) << joined(placed.notices);
        EXPECT_TRUE(holds(joined(placed.notices), "accuracy of")) << joined(placed.notices);
    }
    for (const char* name : {"warsaw_pf3_synthetic.las", "simple1_3_pf4.las", "5points_14.las"}) // nothing that helps
        EXPECT_TRUE(holds(
            joined(polygonsFor(LasFile::open(Data / name), std::vector<std::string>{"SRID=4326;POLYGON((0 0,1 0,1 1))"})
                       .notices),
            "the survey states"))
            << name;
}

} // namespace
} // namespace corvane::test
