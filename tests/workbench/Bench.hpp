// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../support/Files.hpp"
#include "../support/Replay.hpp"
#include "sample/SampleSurvey.hpp"
#include "session/Workbench.hpp"

#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace corvane::test {

/// A survey in a folder of its own, and the plug-in, whose work `stopAt` ends: at the so manieth time that somebody
/// asks from now on.
class Benches : public testing::Test {
protected:
    static constexpr int Never = -1;

    /// LAS, or what the name says.
    void makeSurvey(const std::string& name, std::uint64_t points) {
        in = folder / name;
        const std::string las = folder / "made.las";
        writeSampleSurvey(las, {.points = points, .overwrite = true});
        if (name.ends_with(".laz"))
            run(fmt::format("convert {} {} --overwrite -q{}", las, in, name.ends_with(".copc.laz") ? " --copc" : ""));
        else
            std::filesystem::copy_file(las, in, std::filesystem::copy_options::overwrite_existing);
    }

    static void run(const std::string& arguments) {
        const std::string line = fmt::format("{} {} >/dev/null", CORVANE_PROGRAM, arguments);
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
    }

    std::shared_ptr<const Session> session() {
        SessionOptions options;
        options.pluginPath = CORVANE_PLUGIN;
        options.watch = Watch(
            [this](std::uint64_t, std::uint64_t, const std::string&) { return stopAt == Never || --stopAt != 0; });
        return std::make_shared<const Session>(options);
    }

    std::unique_ptr<Workbench> open(const std::string& path) { return std::make_unique<Workbench>(session(), path); }

    Seen replayed(const std::string& record) { return test::replayed(session(), in, record); }

    /// Extent of the survey from above, as its header has it.
    static glm::dvec4 extent(const WorkbenchState& state) {
        const LasHeader& header = state.open->survey->las().header;
        return {header.minimum[0], header.minimum[1], header.maximum[0], header.maximum[1]};
    }

    const Folder folder;
    std::string in;
    int stopAt = Never;
};

/// Strokes and rules at random.
class Hand {
public:
    Hand(const WorkbenchState& state, unsigned seed) : state_(state), random_(seed) {}

    int below(int count) { return static_cast<int>(random_() % static_cast<unsigned>(count)); }
    double between(double low, double high) { return std::uniform_real_distribution(low, high)(random_); }

    glm::dvec2 place() {
        const LasHeader& header = state_.open->survey->las().header;
        return {between(header.minimum[0], header.maximum[0]), between(header.minimum[1], header.maximum[1])};
    }

    Stroke stroke() {
        const LasHeader& header = state_.open->survey->las().header;
        const double size = std::max(header.maximum[0] - header.minimum[0], 1.0);
        Stroke drawn = allWithin(nullptr);
        const int kind = below(6);
        if (kind == 0) drawn.outline = Stroke::Rectangle{place(), place()};
        if (kind == 1) drawn.outline = Stroke::Circle{place(), between(size / 50, size / 3)};
        if (kind == 2) drawn.outline = Stroke::Lasso{{place(), place(), place(), place(), place()}};
        if (kind == 3) drawn.outline = Stroke::Path{{place(), place(), place()}, between(size / 100, size / 20)};
        if (kind == 4) {
            drawn.view = Stroke::Profile{place(), place(), between(size / 20, size / 3)};
            const double middle = (header.minimum[2] + header.maximum[2]) / 2;
            drawn.outline =
                Stroke::Above{{{-1e4, middle}, {size / 3, between(header.minimum[2], middle)}, {1e4, middle}}};
        }
        if (kind == 5) {
            Sextant::Camera camera;
            const glm::dvec2 eye = place(), target = place();
            camera.eye = {eye, header.maximum[2] + size};
            camera.target = {target, header.minimum[2]};
            camera.up = {0, 1, 0};
            camera.verticalAngle = between(0.3, 1.2);
            camera.near = 1;
            camera.far = 1e5;
            drawn.view = camera;
            drawn.outline = Stroke::Lasso{{{-0.5, -0.5}, {between(0, 1), -0.4}, {0.3, between(0, 1)}}};
        }
        return drawn;
    }

    SelectionRule rule() {
        SelectionRule made;
        if (below(3) == 0) made.fromClasses = std::vector<int>{2, 5, 6 + below(3)};
        if (below(3) == 0) made.hiddenClasses = {below(7), below(7)};
        if (below(3) == 0) made.hiddenReturns = {1 + below(3)};
        const LasHeader& header = state_.open->survey->las().header;
        const double z = between(header.minimum[2], header.maximum[2]);
        if (below(4) == 0) made.heights = {z, HUGE_VAL};
        return made;
    }

    Selecting how() { return static_cast<Selecting>(below(3)); }

private:
    const WorkbenchState& state_;
    std::mt19937 random_;
};

} // namespace corvane::test
