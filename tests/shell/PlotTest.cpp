// SPDX-License-Identifier: Apache-2.0
// histogram --plot: what the picture says and shows, and what happens to files.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

/// How often the part occurs.
std::size_t count(const std::string& text, const std::string& part) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
}

/// Rectangles that are filled with the colour; the page itself is white.
std::size_t bars(const std::string& svg, const std::string& colour) {
    std::size_t found = 0;
    const std::string group = fmt::format("<g fill=\"{}\"", colour);
    for (std::size_t at = svg.find(group); at != std::string::npos; at = svg.find(group, at + 1))
        found += count(svg.substr(at, svg.find("</g>", at) - at), "<rect");
    return found;
}

/// in.las with 1500 points of class 2, 499 of class 6 and one of class 31.
class Plot : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        RawPoints points(bytesOf(in));
        ASSERT_EQ(points.count(), 2000);
        for (std::uint64_t i = 0; i < points.count(); ++i) points.setClass(i, i < 1500 ? 2 : i < 1999 ? 6 : 31);
        write(in, points.bytes());
        write(folder / "labels.json", R"({"labels": [
            {"value": 2, "name": "Přízemí <b>&", "colour": [0.2, 0.4, 0.6, 1]},
            {"value": 6, "name": "Haus", "colour": [1, 0.8, 0, 0]}]})");
    }

    /// The picture's bytes.
    std::string plot(const std::string& file, const Arguments& more = {}) const {
        const Outcome run = corvane(Arguments{"histogram", in, "--plot", folder / file} + more);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.err, "");
        return bytesOf(folder / file);
    }
};

TEST_F(Plot, saysAndShowsWhatWasCounted) {
    const std::string svg = plot("out.svg", {"--labels", folder / "labels.json", "--secondary", "Classification"});
    for (const char* text :
         {"in.las", "Points per class, whole survey", "2,000 points in 3 classes", "2 Přízemí &lt;b&gt;&amp;", "6 Haus",
          "31 Reserved", "1,500 (75.0 %)", "499 (24.9 %)", "1 (0.05 %)", "6 .. 6, mean 6.00"})
        EXPECT_EQ(count(svg, fmt::format(">{}</text>", text)), 1) << text;
    EXPECT_EQ(bars(svg, "#336699"), 1);
    EXPECT_EQ(bars(svg, "#ffcc00"), 1) << "what is transparent on a screen is seen in print";
    EXPECT_EQ(count(svg, "<rect"), 4) << "the page and three bars";
    EXPECT_FALSE(holds(svg, "Incomplete"));
    const std::string box = plot("box.svg", {"--box", "0,0,0,1,1,1", "--allow-miss"});
    EXPECT_TRUE(holds(box, ">Points per class, in the box 0,0,0,1,1,1</text>") && holds(box, ">0 points</text>"));
}

TEST_F(Plot, showsTheMostFrequentOfManyValues) {
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i)
        points.put(points.place(i, 12), static_cast<std::uint16_t>(i % 2 == 0 ? i / 4 % 50 : 50 + i % 500));
    write(in, points.bytes());
    const std::string svg = plot("out.svg", {"--field", "Intensity"});
    EXPECT_EQ(count(svg, "<rect"), 41) << "the page and forty bars";
    EXPECT_EQ(count(svg, ">20 (1.0 %)</text>"), 40);
    EXPECT_TRUE(holds(svg, "Only the 40 most frequent of 300 values are shown. The others have 1,200 points (60.0 %)."))
        << svg;
}

TEST_F(Plot, writesPngOfTheHeightThatTheClassesNeed) {
    const std::string three = plot("three.PNG"), one = plot("one.png", {"--field", "UserData"});
    for (const std::string& png : {three, one}) {
        EXPECT_TRUE(png.starts_with("\x89PNG\r\n\x1a\n") && png.ends_with("IEND\xae\x42\x60\x82"));
        EXPECT_EQ(png.substr(16, 4), std::string("\0\0\x06\x40", 4)) << "a width of 1600";
    }
    EXPECT_GT(three.substr(20, 4), one.substr(20, 4)) << "the height";
}

TEST_F(Plot, refusesBeforeAnythingIsCountedOrWritten) {
    const std::string old = folder / "old.svg", inNothing = folder / "nothing/out.svg",
                      directory = folder / "folder.svg";
    write(old, "old");
    std::filesystem::create_directory(directory);
    for (const char* name : {"out.jpg", "out", "svg"})
        expectRefused({"histogram", folder / "missing.las", "--plot", folder / name}, 2, {name, ".svg", ".png"});
    expectRefused({"histogram", folder / "missing.las", "--plot", old}, 1, {old, "exists", "--overwrite"});
    expectRefused({"histogram", in, "--plot", inNothing}, 1, {inNothing, "folder"});
    expectRefused({"histogram", in, "--plot", directory, "--overwrite"}, 1, {directory, "is a folder"});
    const std::size_t files = folder.contents().size();
    EXPECT_TRUE(holds(plot("old.svg", {"--overwrite"}), "2,000 points"));
    EXPECT_EQ(folder.contents().size(), files) << "nothing was left beside the picture";
}

} // namespace
} // namespace corvane::test
