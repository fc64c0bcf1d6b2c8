// SPDX-License-Identifier: Apache-2.0
// picture: what it says of which points, and that it shows the same however they are stored.
#include "ProgramTestSupport.hpp"

#include <cmath>

namespace corvane::test {
namespace {

class Picture : public Program {
protected:
    /// The picture of a call that must succeed.
    std::string picture(const std::string& survey, const Arguments& more = {},
                        const std::string& file = "out.svg") const {
        const Outcome run = corvane(Arguments{"picture", survey, folder / file, "--overwrite"} + more);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.err, "");
        return bytesOf(folder / file);
    }

    const Arguments small{"--size", "700x600"};

    static bool says(const std::string& svg, const std::string& text) { return holds(svg, ">" + text + "</text>"); }

    /// The pictures themselves, without the texts around them.
    static std::vector<std::string> images(const std::string& svg) {
        std::vector<std::string> found;
        const std::string begin = "base64,";
        for (std::size_t at = svg.find(begin); at != std::string::npos; at = svg.find(begin, at + 1))
            found.push_back(svg.substr(at, svg.find('"', at) - at));
        return found;
    }
};

TEST_F(Picture, countsWhatItShows) {
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i) points.setClass(i, i < 1500 ? 2 : i < 1999 ? 6 : 31);
    write(in, points.bytes());
    write(folder / "labels.json", R"({"labels": [{"value": 6, "name": "Haus <&", "colour": [1, 0.8, 0, 1]}]})");
    const std::string svg = picture(in, {"--labels", folder / "labels.json"});
    for (const char* text : {"in.las", "Seen from above, coloured by class", "2,000 points in 3 classes, whole survey",
                             "6 Haus &lt;&amp;", "1,500", "75.0 %", "0.05 %", "x, metres", "y, metres", "Classes"})
        EXPECT_TRUE(says(svg, text)) << text;
    EXPECT_TRUE(holds(svg, "fill=\"#ffcc00\"")) << "the colour in the legend";
    EXPECT_EQ(images(svg).size(), 1u);

    const auto box = points.box();
    const double middle = std::round(100 * (box[1] + box[3]) / 2) / 100;
    std::uint64_t inSlice = 0;
    for (std::uint64_t i = 0; i < points.count(); ++i) inSlice += std::abs(points.coordinate(i, 1) - middle) <= 8.0001;
    const std::string profile = picture(
        in, {"--profile", fmt::format("{:.2f},{:.2f},{:.2f},{:.2f},16", box[0] - 1, middle, box[2] + 1, middle)});
    ASSERT_GT(inSlice, 10u);
    const std::string count = fmt::format("{},{:03}", inSlice / 1000, inSlice % 1000);
    EXPECT_TRUE(holds(profile, fmt::format(">{} points in ", inSlice < 1000 ? std::to_string(inSlice) : count)))
        << inSlice;
    for (const char* text : {"distance along the profile, metres", "height, metres"})
        EXPECT_TRUE(says(profile, text)) << text;
}

TEST_F(Picture, isTheSameHoweverThePointsAreStored) {
    const std::string laz = folder / "in.laz", copc = folder / "in.copc.laz";
    ASSERT_EQ(corvane({"convert", in, laz, "--chunk", "300"}).status, 0);
    ASSERT_EQ(corvane({"convert", in, copc, "--copc"}).status, 0);
    for (const Arguments& more :
         {Arguments{}, Arguments{"--by", "height"}, Arguments{"--by", "PointSourceId"}, Arguments{"--by", "gpstime"}}) {
        const auto expected = images(picture(in, small + more));
        ASSERT_EQ(expected.size(), 1u);
        EXPECT_TRUE(images(picture(laz, small + more)) == expected);
        EXPECT_TRUE(images(picture(copc, small + more)) == expected);
    }
    const auto box = RawPoints(bytesOf(in)).box();
    const Arguments profile{"--size", "700x600", "--profile",
                            fmt::format("{:.2f},{:.2f},{:.2f},{:.2f},9", box[0], box[1], box[2], box[3])};
    const auto expected = images(picture(in, profile));
    EXPECT_TRUE(images(picture(copc, profile)) == expected);
    EXPECT_TRUE(images(picture(laz, profile + Arguments{"--memory", "1K"})) == expected);
}

/// Bounds in headers may be anything.
TEST_F(Picture, fitsThePointsAndNotTheHeader) {
    RawPoints points(bytesOf(in));
    constexpr std::size_t bounds = 179;
    const RawPoints original = points;
    std::vector<std::string> same;
    for (const double factor : {10.0, 0.1, -1.0, 0.0}) {
        for (std::size_t i = 0; i < 6; ++i) points.put(bounds + 8 * i, original.get<double>(bounds + 8 * i) * factor);
        write(out, points.bytes());
        const Outcome run = corvane(Arguments{"picture", out, folder / "out.svg", "--overwrite"} + small);
        EXPECT_EQ(run.status, 0) << run.err;
        const std::string svg = bytesOf(folder / "out.svg");
        EXPECT_TRUE(holds(svg, "2,000 points") && !holds(svg, "left out")) << factor;
        if (same.empty()) same = images(svg);
        EXPECT_TRUE(images(svg) == same) << factor;
    }
    points = original;
    points.put(points.place(7, 0), std::int32_t{2'000'000'000}); // a point at the end of the world
    write(out, points.bytes());
    const std::string svg = picture(out, small);
    EXPECT_TRUE(holds(svg, "1 point far from the others is left out of the picture"));
}

TEST_F(Picture, showsWhatChanged) {
    RawPoints before(bytesOf(in));
    for (std::uint64_t i = 0; i < before.count(); ++i) before.setClass(i, 2);
    write(in, before.bytes());
    RawPoints after = before;
    for (std::uint64_t i = 0; i < 30; ++i) after.setClass(i, i < 20 ? 6 : 9);
    write(out, after.bytes());
    const std::string svg = picture(out, {"--before", in, "--size", "1500x1000"});
    for (const char* text :
         {"in.las → out.las", "Before", "After", "Changes", "30 of 2,000 points changed, whole survey",
          "2 Ground → 6 Building", "2 Ground → 9 Water", "1,970", "−30", "+20", "98.5 %"})
        EXPECT_TRUE(says(svg, text)) << text;
    ASSERT_EQ(images(svg).size(), 3u);
    EXPECT_NE(images(svg)[0], images(svg)[1]);
    const auto same = picture(in, {"--before", in, "--size", "1500x1000"});
    EXPECT_EQ(images(same)[0], images(same)[1]);
    EXPECT_EQ(images(same)[0], images(svg)[0]);
    EXPECT_TRUE(says(same, "0 of 2,000 points changed, whole survey"));
}

TEST_F(Picture, canBeOfNoPointOfOneAndOfManyInOnePlace) {
    for (const char* points : {"0", "1"}) {
        ASSERT_EQ(corvane({"sample", in, "--points", points, "-q", "--overwrite"}).status, 0);
        const Outcome run = corvane({"picture", in, folder / "out.svg", "--overwrite"});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(holds(bytesOf(folder / "out.svg"), fmt::format(">{} point", points)));
    }
    ASSERT_EQ(corvane({"sample", in, "--points", "500", "-q", "--overwrite"}).status, 0);
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i)
        for (std::size_t axis = 0; axis < 3; ++axis)
            points.put(points.place(i, 4 * axis), points.get<std::int32_t>(points.place(0, 4 * axis)));
    write(in, points.bytes());
    EXPECT_TRUE(holds(picture(in), ">500 points in "));
}

TEST_F(Picture, hasTheSizeThatIsAskedFor) {
    for (const Arguments& more : {Arguments{}, Arguments{"--before", in}}) {
        const std::string png = picture(in, more + Arguments{"--size", "1000x800"}, "out.png");
        EXPECT_TRUE(png.starts_with("\x89PNG\r\n\x1a\n") && png.ends_with("IEND\xae\x42\x60\x82"));
        EXPECT_EQ(png.substr(16, 8), std::string("\0\0\x03\xe8\0\0\x03\x20", 8));
    }
}

TEST_F(Picture, refusesInASentenceAndWritesNothing) {
    const std::string there = folder / "there.png";
    write(there, "old");
    const auto box = RawPoints(bytesOf(in)).box();
    expectRefused({"picture"},
                  {{{in, folder / "a.jpg"}, {".svg", ".png"}},
                   {{in, there}, {there, "--overwrite"}, 1},
                   {{folder / "missing.las", folder / "a.png"}, {"missing.las"}, 1},
                   {{in, folder / "a.png", "--by", "hight"}, {"--by hight", "\"height\""}},
                   {{in, folder / "a.png", "--by", "rgb"}, {"no colours", "point format"}},
                   {{in, folder / "a.png", "--by", "Positions"}, {"no such field"}},
                   {{in, folder / "a.png", "--before", in, "--by", "height"}, {"whole numbers"}},
                   {{in, folder / "a.png", "--size", "1000"}, {"--size 1000", "1600x1200"}},
                   {{in, folder / "a.png", "--size", "10x10"}, {"--size 10x10"}},
                   {{in, folder / "a.png", "--profile", "1,2,1,2,3"}, {"--profile", "different places"}},
                   {{in, folder / "a.png", "--profile", "1,2,9,2,0"}, {"--profile", "width"}},
                   {{in, folder / "a.png", "--profile",
                     fmt::format("{:.0f},{:.0f},{:.0f},{:.0f},5", box[0] - 900, box[1], box[0] - 800, box[1])},
                    {"no point", "nothing was written"},
                    1}});
    RawPoints reversed(bytesOf(in));
    std::string bytes = reversed.bytes();
    const std::size_t length = reversed.place(1, 0) - reversed.place(0, 0);
    for (std::uint64_t i = 0; i < reversed.count(); ++i)
        bytes.replace(reversed.place(reversed.count() - 1 - i, 0), length, reversed.bytes(), reversed.place(i, 0),
                      length);
    write(out, bytes);
    expectRefused({"picture", out, folder / "a.png", "--before", in}, 1, {"different orders"});
}

TEST_F(Picture, showsWhatIsSoundOfADamagedFile) {
    const std::string laz = folder / "in.laz";
    ASSERT_EQ(corvane({"convert", in, laz, "--chunk", "300"}).status, 0);
    const std::string bytes = bytesOf(laz);
    write(laz, bytes.substr(0, bytes.size() / 2));
    const Outcome run = corvane({"picture", laz, folder / "out.svg"});
    EXPECT_EQ(run.status, 3) << run.err;
    EXPECT_TRUE(holds(run.err, "damaged"));
    EXPECT_TRUE(holds(bytesOf(folder / "out.svg"), "Seen from above"));
}

} // namespace
} // namespace corvane::test
