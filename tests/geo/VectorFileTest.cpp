// SPDX-License-Identifier: Apache-2.0
// Files of other programs, written by GDAL itself, and files that lie.
#include "GeoTestSupport.hpp"

#include <cpl_error.h>
#include <filesystem>
#include <ogrsf_frmts.h>

namespace corvane::test {
namespace {

constexpr std::array<double, 4> Bounds{675000, 5237000, 690000, 5250000}; // in UTM zone 32
constexpr char InSurvey[] = "POLYGON((680000 5240000,681000 5240000,681000 5241000,680000 5240000))";
constexpr char InDegrees[] = "POLYGON((11.4 47.3,11.5 47.3,11.5 47.35,11.4 47.3))";

struct Row {
    std::string wkt; ///< empty: no geometry
    int value = 0;
    std::string status = "approved";
};

void registerDrivers() {
    for (const auto registration : {RegisterOGRGeoPackage, RegisterOGRShape, RegisterOGRKML, RegisterOGRLIBKML,
                                    RegisterOGRFlatGeobuf, RegisterOGRCSV, RegisterOGRGeoJSONSeq, RegisterOGRGeoJSON})
        registration();
}

/// A file as GDAL writes it.
class Writer {
public:
    Writer(const std::string& driver, const std::string& path) {
        registerDrivers();
        dataset_ = GetGDALDriverManager()
                       ->GetDriverByName(driver.c_str())
                       ->Create(path.c_str(), 0, 0, 0, GDT_Unknown, nullptr);
    }
    ~Writer() { GDALClose(dataset_); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    Writer& layer(const std::string& name, int epsg, const std::vector<Row>& rows,
                  OGRwkbGeometryType type = wkbMultiPolygon, const char* option = nullptr) {
        OGRSpatialReference system;
        if (epsg > 0) system.importFromEPSG(epsg);
        system.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
        const char* options[] = {option, nullptr};
        OGRLayer* made =
            dataset_->CreateLayer(name.c_str(), epsg > 0 ? &system : nullptr, type, const_cast<char**>(options));
        OGRFieldDefn value("class", OFTInteger), status("status", OFTString);
        made->CreateField(&value);
        made->CreateField(&status);
        for (const Row& row : rows) {
            OGRFeature feature(made->GetLayerDefn());
            feature.SetField("class", row.value);
            feature.SetField("status", row.status.c_str());
            OGRGeometry* geometry = nullptr;
            if (!row.wkt.empty()) OGRGeometryFactory::createFromWkt(row.wkt.c_str(), nullptr, &geometry);
            if (geometry && type == wkbMultiPolygon) geometry = OGRGeometryFactory::forceToMultiPolygon(geometry);
            feature.SetGeometryDirectly(geometry);
            EXPECT_EQ(made->CreateFeature(&feature), OGRERR_NONE);
        }
        return *this;
    }

private:
    GDALDataset* dataset_;
};

class VectorFiles : public testing::Test {
protected:
    PlacedPolygons place(const std::string& argument, const PolygonOptions& options = {}) const {
        return polygonsFor(survey_, std::vector{argument}, options);
    }

    template <class Problem = Failure>
    std::string refusal(const std::string& argument) const {
        return messageOf<Problem>([&] { place(argument); });
    }

    std::vector<std::string> values(const FeatureQuery& query) const {
        std::vector<std::string> values;
        for (const ClassFeature& feature : placeFeaturesOn(survey_, readFeatures(query, {})).features)
            values.push_back(feature.value);
        return values;
    }

    const Folder folder_;
    const LasFile survey_ = surveyAt(Bounds, utmWktWithCode(32));
};

TEST_F(VectorFiles, ofEveryKindAreRead) {
    const PlanePoint corner = utm(11.5, 47.35, 32), own{681000, 5241000};
    const struct {
        const char *driver, *name;
        int epsg;
        const char* wkt;
        PlanePoint expected;
        const char* option = nullptr;
    } cases[] = {
        {"GPKG", "own.gpkg", 32632, InSurvey, own},
        {"GPKG", "degrees.gpkg", 4326, InDegrees, corner},
        {"ESRI Shapefile", "own.shp", 32632, InSurvey, own},
        {"ESRI Shapefile", "degrees.shp", 4326, InDegrees, corner},
        {"KML", "areas.kml", 4326, InDegrees, corner},
        {"LIBKML", "areas.kmz", 4326, InDegrees, corner},
        {"FlatGeobuf", "own.fgb", 32632, InSurvey, own},
        {"FlatGeobuf", "degrees.fgb", 4326, InDegrees, corner},
        {"CSV", "own.csv", 0, InSurvey, own, "GEOMETRY=AS_WKT"},
        {"GeoJSONSeq", "lines.geojsonl", 4326, InDegrees, corner},
        {"GeoJSON", "degrees.geojson", 4326, InDegrees, corner},
        {"GeoJSON", "own.geojson", 32632, InSurvey, own},
    };
    for (const auto& [driver, name, epsg, wkt, expected, option] : cases) {
        SCOPED_TRACE(name);
        Writer(driver, folder_ / name).layer("areas", epsg, {{wkt, 6}}, wkbMultiPolygon, option);
        PlacedPolygons placed;
        ASSERT_NO_THROW(placed = place(folder_ / name));
        EXPECT_EQ(placed.polygons.rings.size(), 1u);
        EXPECT_EQ(placed.polygons.rings.at(0).size(), 3u);
        EXPECT_TRUE(hasCorner(placed.polygons, expected, 0.01)) << placed.polygons.wkt;
        EXPECT_EQ(holds(joined(placed.notices), "transformed from WGS 84"), wkt == InDegrees) << joined(placed.notices);
    }
}

TEST_F(VectorFiles, giveTheirFeaturesWithValuesAndByConditions) {
    const std::vector<Row> rows{{InSurvey, 6}, {InSurvey, 9, "draft"}, {"", 5}, {InSurvey, 2}};
    const std::pair<const char*, const char*> files[] = {{"GPKG", "a.gpkg"},       {"ESRI Shapefile", "a.shp"},
                                                         {"FlatGeobuf", "a.fgb"},  {"CSV", "a.csv"},
                                                         {"GeoJSON", "a.geojson"}, {"GeoJSONSeq", "a.geojsonl"}};
    using Values = std::vector<std::string>;
    for (const auto& [driver, name] : files) {
        SCOPED_TRACE(name);
        const bool csv = std::string(driver) == "CSV", lines = std::string(driver) == "GeoJSONSeq";
        Writer(driver, folder_ / name)
            .layer("areas",
                   csv     ? 0
                   : lines ? 4326
                           : 32632,
                   lines ? std::vector<Row>{{InDegrees, 6}, {InDegrees, 9, "draft"}, {InDegrees, 2}} : rows,
                   wkbMultiPolygon, csv ? "GEOMETRY=AS_WKT" : nullptr);
        const std::string file = folder_ / name;
        Values all = values({file, "Class", ""});
        std::ranges::sort(all); // FlatGeobuf has an order of its own
        EXPECT_EQ(all, (Values{"2", "6", "9"}));
        EXPECT_EQ(values({file, "class", "status = 'draft'"}), Values{"9"});
        EXPECT_EQ(values({file, "status", "class = '9'"}), Values{"draft"});
        const auto refused = [&](const FeatureQuery& query) { return messageOf<Failure>([&] { values(query); }); };
        EXPECT_TRUE(holds(refused({file, "class", "status = 'none'"}), "no polygon that meets the condition"));
        EXPECT_TRUE(holds(refused({file, "clas", ""}), "\"class\"")) << refused({file, "clas", ""});
        EXPECT_TRUE(holds(refused({file, "class", "stat = 'x'"}), "stat")) << refused({file, "class", "stat = 'x'"});
        EXPECT_TRUE(holds(refused({file, "class", "status == == 'x'"}), "condition"))
            << refused({file, "class", "status == == 'x'"});
    }
}

TEST_F(VectorFiles, ofSeveralLayersNeedOne) {
    const std::string file = folder_ / "areas.gpkg";
    {
        Writer writer("GPKG", file);
        writer.layer("Buildings", 32632, {{InSurvey, 6}})
            .layer("empty", 32632, {})
            .layer("table", 0, {{"", 1}}, wkbNone);
        writer.layer("water", 4326, {{InDegrees, 9}})
            .layer("roads", 32632, {{"LINESTRING(0 0,1 1)", 1}}, wkbLineString);
    }
    EXPECT_TRUE(holds(refusal<UsageError>(file), "the layers \"Buildings\", \"water\", \"roads\"")) << refusal(file);
    EXPECT_TRUE(holds(refusal<UsageError>(file + "|wate"), "Did you mean \"water\"?")) << refusal(file + "|wate");
    EXPECT_TRUE(holds(refusal<UsageError>(file + "|layername=water|subset=x"), "layer"));
    EXPECT_TRUE(holds(refusal(file + "|roads"), "feature 1 is a Line String")) << refusal(file + "|roads");
    EXPECT_TRUE(holds(refusal(file + "|empty"), "its layer \"empty\" has no polygon")) << refusal(file + "|empty");
    EXPECT_TRUE(hasCorner(place(file + "|water").polygons, utm(11.5, 47.35, 32), 0.01));
    EXPECT_TRUE(hasCorner(place(file + "|layername=buildings").polygons, {681000, 5241000}, 1e-6));
    Writer("GPKG", folder_ / "one.gpkg").layer("areas", 32632, {{InSurvey, 6}}).layer("more", 32632, {});
    EXPECT_EQ(joined(place(folder_ / "one.gpkg").notices), "");
}

TEST_F(VectorFiles, mayHaveHeightsArcsAndNothing) {
    const std::string file = folder_ / "odd.gpkg";
    Writer("GPKG", file)
        .layer("areas", 32632,
               {{"POLYGON ZM((680000 5240000 7 1,681000 5240000 8 2,681000 5241000 9 3,680000 5240000 7 1))"},
                {""},
                {"POLYGON EMPTY"},
                {"CURVEPOLYGON(CIRCULARSTRING(682000 5240100,682100 5240000,682000 5239900,681900 5240000,682000 "
                 "5240100))"},
                {"GEOMETRYCOLLECTION(POLYGON((684000 5240000,685000 5240000,685000 5241000,684000 5240000)))"}},
               wkbUnknown);
    const PlacedPolygons placed = place(file);
    EXPECT_EQ(placed.polygons.rings.size(), 3u);
    EXPECT_TRUE(holds(joined(placed.notices), "1 features have arcs")) << joined(placed.notices);
    EXPECT_TRUE(holds(joined(placed.notices), "2 features have no geometry")) << joined(placed.notices);
    double largest = 0;
    for (const Ring& ring : placed.polygons.rings)
        for (const auto [x, y] : ring)
            if (x < 683000 && x > 681500)
                largest = std::max(largest, std::abs(std::hypot(x - 682000, y - 5240000) - 100));
    EXPECT_LT(largest, 0.001);
    Writer("GPKG", folder_ / "null.gpkg").layer("areas", 32632, {{InSurvey, 1}});
}

TEST_F(VectorFiles, thatLieAreRefusedInASentence) {
    const std::string gpkg = folder_ / "a.gpkg", shp = folder_ / "a.shp", fgb = folder_ / "a.fgb",
                      kml = folder_ / "a.kml";
    const std::vector<Row> rows(200, Row{InSurvey, 1});
    Writer("GPKG", gpkg).layer("areas", 32632, rows);
    Writer("ESRI Shapefile", shp).layer("areas", 32632, rows);
    Writer("FlatGeobuf", fgb).layer("areas", 32632, rows);
    Writer("KML", kml).layer("areas", 4326, {{InDegrees}});
    const auto made = [&](const std::string& name, const std::string& content) {
        write(folder_ / name, content);
        return folder_ / name;
    };
    const std::string shape = bytesOf(shp);
    const std::vector<std::string> lies{
        made("cut.gpkg", bytesOf(gpkg).substr(0, bytesOf(gpkg).size() / 2)),
        made("cut.fgb", bytesOf(fgb).substr(0, bytesOf(fgb).size() / 2)),
        made("cut.kml", bytesOf(kml).substr(0, 200)),
        made("alone.shp", shape),
        made("renamed.csv", shape),
        made("text.gpkg", "no database at all"),
        made("head.gpkg", std::string("SQLite format 3\0", 16) + std::string(5000, 'x')),
        made("head.fgb", "fgb\3fgb\1" + std::string(5000, '\xFF')),
        made("head.kmz", "PK\3\4" + std::string(5000, '\xFF')),
        made("shapes.zip", "PK\3\4" + std::string(100, 'x')),
        made("none.csv", "id,name\n1,a\n"),
        made("broken.csv", fmt::format("WKT,class\n\"{}\",1\n\"POLYGON((0 0,1\",3\n", InSurvey)),
        made(
            "deep.kml", "<?xml version=\"1.0\"?><kml xmlns=\"http://www.opengis.net/kml/2.2\">" +
                            [] {
                                std::string deep;
                                for (int i = 0; i < 100000; ++i) deep += "<Folder>";
                                return deep;
                            }()),
        made("link.vrt", "<OGRVRTDataSource><OGRVRTLayer name=\"a\"><SrcDataSource>" + gpkg +
                             "</SrcDataSource></OGRVRTLayer></OGRVRTDataSource>"),
        "/vsizip/" + gpkg,
        "/vsimem/a.gpkg",
        "PG:dbname=x",
        "https://localhost/a.gpkg",
    };
    for (const std::string& lie : lies) {
        SCOPED_TRACE(lie);
        testing::internal::CaptureStderr();
        const std::string said = refusal(lie);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_TRUE(said.ends_with('.')) << said;
        EXPECT_EQ(said.find('\n'), std::string::npos) << said;
    }
    std::filesystem::copy(gpkg, folder_ / "renamed.shp");
    EXPECT_NO_THROW(place(folder_ / "renamed.shp"));
    write(folder_ / "cut.shp", shape.substr(0, shape.size() / 2));
    for (const char* ending : {"shx", "dbf", "prj"})
        std::filesystem::copy(folder_ / fmt::format("a.{}", ending), folder_ / fmt::format("cut.{}", ending));
    EXPECT_NE(refusal(folder_ / "cut.shp"), "");
}

TEST_F(VectorFiles, ofCommasComeInManyWays) {
    const std::string files[] = {
        fmt::format("wkt_geom;class\r\n\"{0}\";2\r\n;3\r\n", InSurvey),
        fmt::format("\xEF\xBB\xBFWKT,class\n\"{0}\",2\n", InSurvey),
        fmt::format("class,geometry\n2,\"{0}\"", InSurvey),
        fmt::format("class\tthe_geom\n2\t{0}\n", InSurvey),
    };
    for (const std::string& content : files) {
        SCOPED_TRACE(content);
        write(folder_ / "areas.csv", content);
        EXPECT_EQ(values({folder_ / "areas.csv", "class", ""}), std::vector<std::string>{"2"});
        EXPECT_EQ(place(folder_ / "areas.csv").polygons.wkt, readPolygons(std::vector<std::string>{InSurvey}).wkt);
    }
}

TEST_F(VectorFiles, mayBeLarge) {
    std::string many = "POLYGON((680000 5240000";
    for (int i = 1; i < 100000; ++i)
        many += fmt::format(",{} {}", 680000 + i * 0.01, 5240000 - 100 * std::sin(i * 3e-5));
    const std::string file = folder_ / "large.gpkg", features = folder_ / "features.fgb";
    Writer("GPKG", file).layer("areas", 32632, {{many + ",680000 5240000))"}});
    EXPECT_EQ(place(file).polygons.rings.at(0).size(), 100000u);
    std::vector<Row> rows;
    for (int i = 0; i < 10000; ++i) {
        const double x = 11.4 + i % 100 * 1e-4, y = 47.3 + i / 100 * 1e-4;
        rows.push_back({fmt::format("POLYGON(({0} {1},{2} {1},{2} {3},{0} {1}))", x, y, x + 5e-5, y + 5e-5), i % 9});
    }
    Writer("FlatGeobuf", features).layer("areas", 4326, rows);
    EXPECT_EQ(values({features, "class", ""}).size(), 10000u);
    EXPECT_EQ(place(features).polygons.rings.size(), 10000u);
}

} // namespace
} // namespace corvane::test
