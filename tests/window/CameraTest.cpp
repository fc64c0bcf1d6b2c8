// SPDX-License-Identifier: Apache-2.0
#include "window/Camera.hpp"

#include <gtest/gtest.h>

#include <random>

namespace corvane {
namespace {

const Sextant::BoundingBox Reach({-2e7, -2e7, -2e7}, {2.2e7, 2.2e7, 2.2e7});

Camera plan() {
    Camera camera(Stroke::FromAbove(), Reach);
    camera.resize({800, 600});
    return camera;
}

Camera profile() {
    Camera camera(Stroke::Profile{{500000, 5200000}, {500300, 5200400}, 5}, Reach);
    camera.resize({800, 300});
    return camera;
}

PlaceBox boxOf(const glm::dvec2& a, const glm::dvec2& b) {
    PlaceBox box;
    box.include(a);
    box.include(b);
    return box;
}

/// The pixel of the picture in which the renderer puts a position.
glm::dvec2 drawnAt(const Screen& screen, const glm::dvec3& position) {
    const glm::dvec2 part =
        (glm::dvec2(screen.view.project(position)) - screen.minimum) / (screen.maximum - screen.minimum);
    return {part.x * screen.width, (1 - part.y) * screen.height};
}

TEST(Camera, drawsWhereItPoints) {
    Camera above = plan(), along = profile();
    above.fit(boxOf({500000, 5200000}, {500100, 5200050}));
    along.fit(boxOf({0, 400}, {500, 450}));
    along.setExaggeration(3);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> east(500000, 500300), north(5200000, 5200400), height(400, 450);
    for (int i = 0; i < 100; ++i) {
        const glm::dvec3 position(east(random), north(random), height(random));
        for (const Camera* camera : {&above, &along})
            for (const double ratio : {1.0, 1.25, 2.0}) {
                const glm::dvec2 pixel = camera->pixelAt(camera->placeOf(position));
                const glm::dvec2 drawn = drawnAt(camera->screen(ratio), position) / ratio;
                EXPECT_NEAR(pixel.x, drawn.x, 0.01);
                EXPECT_NEAR(pixel.y, drawn.y, 0.01);
                const glm::dvec2 back = camera->placeAt(pixel);
                EXPECT_NEAR(back.x, camera->placeOf(position).x, 1e-6);
                EXPECT_NEAR(back.y, camera->placeOf(position).y, 1e-6);
            }
    }
}

TEST(Camera, zoomsAtTheCursorAndPansWithIt) {
    for (Camera camera : {plan(), profile()}) {
        camera.fit(boxOf({500000, 400}, {500100, 450}));
        const glm::dvec2 cursor(123, 77), fixed = camera.placeAt(cursor);
        camera.zoom(1.25, cursor);
        EXPECT_NEAR(camera.placeAt(cursor).x, fixed.x, 1e-6);
        EXPECT_NEAR(camera.placeAt(cursor).y, fixed.y, 1e-6);
        camera.pan({10, -20});
        EXPECT_NEAR(camera.placeAt(cursor + glm::dvec2(10, -20)).x, fixed.x, 1e-6);
        EXPECT_NEAR(camera.placeAt(cursor + glm::dvec2(10, -20)).y, fixed.y, 1e-6);
    }
}

TEST(Camera, fitsAllOfABoxAndSomethingAroundAPoint) {
    for (const glm::dvec2 extent : {glm::dvec2(100, 50), glm::dvec2(1, 500), glm::dvec2(0, 30), glm::dvec2(0)}) {
        Camera camera = plan();
        const glm::dvec2 corner(500000, 5200000);
        camera.fit(boxOf(corner, corner + extent));
        const PlaceBox seen = camera.seen();
        EXPECT_LE(seen.minimum.x, corner.x);
        EXPECT_LE(seen.minimum.y, corner.y);
        EXPECT_GE(seen.maximum.x, corner.x + extent.x);
        EXPECT_GE(seen.maximum.y, corner.y + extent.y);
        EXPECT_GT(camera.pixelWidth(), 0);
        EXPECT_TRUE(std::isfinite(camera.pixelWidth()));
    }
    Camera camera = plan();
    camera.fit(PlaceBox());
    EXPECT_TRUE(std::isfinite(camera.seen().minimum.x));
}

TEST(Camera, staysWherePointsCanBe) {
    Camera camera = plan();
    for (int i = 0; i < 500; ++i) camera.zoom(0.5, {0, 0});
    EXPECT_LE(camera.pixelWidth() * 600, 2 * 4.2e7);
    for (int i = 0; i < 500; ++i) camera.zoom(2, {400, 300});
    EXPECT_GE(camera.pixelWidth(), 1e-7);
    for (int i = 0; i < 100; ++i) camera.pan({1e30, -1e30});
    EXPECT_GE(camera.placeAt({400, 300}).x, -2.1e7);
    camera.zoom(std::nan(""), {0, 0});
    EXPECT_TRUE(std::isfinite(camera.pixelWidth()));
}

} // namespace
} // namespace corvane
