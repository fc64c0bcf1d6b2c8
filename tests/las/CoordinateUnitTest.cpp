// SPDX-License-Identifier: Apache-2.0
#include "las/CoordinateUnit.hpp"

#include <gtest/gtest.h>

namespace corvane::test {
namespace {

TEST(CoordinateUnit, isThatOfXAndY) {
    struct Case {
        const char *crs, *unit;
    };
    for (
        const auto& [crs, unit] : {
            Case{
                R"(PROJCS["a [b], c",GEOGCS["g",UNIT["degree",0.017]],PROJECTION["p"],UNIT["metre",1],AXIS["x",EAST]])",
                "metre"},
            Case{R"(COMPD_CS["c",PROJCS["p",GEOGCS["g",UNIT["degree",0.017]],UNIT["Foot_US",0.3]],)"
                 R"(VERT_CS["v",UNIT["metre",1]]])",
                 "US survey foot"},
            Case{R"(PROJCRS["p",BASEGEOGCRS["g",ANGLEUNIT["degree",0.017]],CS[Cartesian,2],)"
                 R"(AXIS["e",east,LENGTHUNIT["foot",0.3048]],AXIS["n",north,LENGTHUNIT["foot",0.3048]]])",
                 "foot"},
            Case{R"(GEOGCS["g", DATUM["d"], UNIT["degree",0.017]])", "degree"},
            Case{R"(PROJCS["p",UNIT["chain",20.1]])", "chain"},
            Case{"GeoTIFF 1024=1 3072=26915 3076=9003", "US survey foot"},
            Case{"GeoTIFF 1024=2 2048=4326", "degree"},
            Case{"GeoTIFF 3072=26915", ""},
            Case{"PROJCS[\"broken\",UNIT[\"met", ""},
            Case{"", ""},
        })
        EXPECT_EQ(coordinateUnit(crs), unit) << crs;
}

} // namespace
} // namespace corvane::test
