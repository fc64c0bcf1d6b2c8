// SPDX-License-Identifier: Apache-2.0
// What the program loads for polygons, and where these may come from.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

class PolygonsOfPrograms : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        const auto [x0, y0, x1, y1] = RawPoints(bytesOf(in)).box();
        square = fmt::format("POLYGON(({0} {1},{2} {1},{2} {3},{0} {3}))", x0, y0, (x0 + x1) / 2, y1);
    }

    /// A network that edits inside the polygon, in a file.
    std::string network(const std::string& polygon) const {
        write(folder / "net.json", fmt::format(R"({{"survey": "{}", "objects": [
            {{"name": "points", "type": "Field"}}, {{"name": "lasso", "type": "Brush"}},
            {{"name": "editor", "type": "Edit/ModifyClassification",
              "parameters": {{"newvalue": 30, "from0": 2, "from1": 3, "from2": 4, "from3": 5}}}}],
            "connections": [{{"from": "points.field", "to": "editor.labelfield"}},
                            {{"from": "lasso.brush", "to": "editor.brush"}}],
            "actions": [{{"draw": {{"lasso.brush": {{"polygon": "{}"}}}}, "press": "editor.assign"}}]}})",
                                               in, polygon));
        return folder / "net.json";
    }

    /// What the loader of libraries tells while the program runs.
    static std::string loads(const Arguments& call) {
        const Outcome run = execute("/usr/bin/env", Arguments{"LD_DEBUG=files", CORVANE_PROGRAM} + call);
        EXPECT_EQ(run.status, 0) << run.out;
        EXPECT_TRUE(holds(run.err, "libKesh")) << "nothing is told";
        return run.err;
    }

    std::string square;
};

TEST_F(PolygonsOfPrograms, loadProjAndGdalOnlyWhereSystemsDiffer) {
    for (const Arguments& call : {Arguments{"--version"}, Arguments{"catalogue"}, Arguments{"info", in},
                                  Arguments{"run", network(square), "--discard"},
                                  Arguments{"run", network("SRID=32632;" + square), "--discard"}}) {
        const std::string loaded = loads(call);
        EXPECT_FALSE(holds(loaded, "libproj") || holds(loaded, "libgdal")) << fmt::format("{}", fmt::join(call, " "));
    }
    EXPECT_TRUE(holds(loads({"run", network("SRID=4326;POLYGON((8 46,10 46,9 48))"), "--discard"}), "libproj"));
}

TEST_F(PolygonsOfPrograms, needNoSuchLibraryUnlessSystemsDiffer) {
    const Outcome installed = execute(CORVANE_CMAKE, {"--install", CORVANE_BUILD, "--prefix", folder / "there"});
    ASSERT_EQ(installed.status, 0) << installed.err;
    const std::string program = folder / "there/bin/corvane";
    const auto call = [&](const std::string& polygon) {
        return execute(program, {"run", network(polygon), "--discard"});
    };
    const std::string degrees = "SRID=4326;POLYGON((8 46,10 46,9 48))";
    EXPECT_EQ(call(degrees).status, 0) << call(degrees).err;
    for (const auto& file : std::filesystem::recursive_directory_iterator(folder / "there"))
        if (file.path().filename() == "CorvaneGeo.so") std::filesystem::remove(file.path());
    EXPECT_EQ(call("SRID=32632;" + square).status, 0);
    const Outcome refused = call(degrees);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(holds(refused.complaint(), "corvane-geo")) << refused.err;
}

TEST_F(PolygonsOfPrograms, andNetworksComeOutOfPipes) {
    std::filesystem::copy(network(square), folder / "kept.json");
    const std::string file = folder / "kept.json", wkt = folder / "area.wkt";
    write(wkt, square);
    ASSERT_EQ(corvane({"run", file, "--save", out}).status, 0);
    const std::string expected = bytesOf(out);
    const auto shell = [&](const std::string& line) {
        const Outcome run = execute("/bin/bash", {"-c", line, CORVANE_PROGRAM, file, out, wkt, network("/dev/fd/9")});
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(bytesOf(out) == expected) << line;
    };
    shell(R"("$0" run - --save "$2" --overwrite < "$1")");
    shell(R"(cat "$1" | "$0" run - --save "$2" --overwrite)");
    shell(R"("$0" run <(cat "$1") --save "$2" --overwrite)");
    shell(R"("$0" run "$4" --save "$2" --overwrite 9< <(cat "$3"))");
    const Outcome nothing = execute("/bin/bash", {"-c", R"("$0" run - < /dev/null)", CORVANE_PROGRAM});
    EXPECT_EQ(nothing.status, 2) << nothing.err;
    const Outcome endless = execute("/bin/bash", {"-c", R"("$0" run - < /dev/zero)", CORVANE_PROGRAM});
    EXPECT_EQ(endless.status, 1) << endless.err;
    EXPECT_TRUE(holds(endless.err, "standard input: has more than the 67108864 bytes")) << endless.err;
}

} // namespace
} // namespace corvane::test
