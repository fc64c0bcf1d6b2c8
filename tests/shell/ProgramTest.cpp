// SPDX-License-Identifier: Apache-2.0
// info, catalogue, sample, the plug-in, and the program once it is installed.
#include "ProgramTestSupport.hpp"

namespace corvane::test {
namespace {

using Info = RealSurveys;

TEST_F(Info, agreesWithTheFactsOfEverySurvey) {
    int seen = 0;
    for (const std::string& name : named("", ".las")) {
        SCOPED_TRACE(name);
        const json& known = facts[name];
        const json info = corvane({"info", Data / name, "--json"}).document();
        EXPECT_EQ(info["points"], known["points"]);
        EXPECT_EQ(info["version"], known["version"]);
        EXPECT_EQ(info["pointFormat"], known["point_format"]);
        EXPECT_EQ(info["recordLength"], known["record_length"]);
        EXPECT_EQ(info["vlrs"], known["vlrs"]);
        EXPECT_EQ(info["evlrs"], known.value("evlrs", json::array()));
        for (std::size_t axis = 0; axis < 3; ++axis)
            EXPECT_EQ(json({info["bounds"]["min"][axis], info["bounds"]["max"][axis]}),
                      known["header_bounds"][std::string(1, "xyz"[axis])]);
        ++seen;
    }
    EXPECT_GE(seen, 25);
}

/// The catalogue as it is meant to be, with every text. Where the sources stand depends on where they were built.
void expectCatalogue(const Outcome& run) {
    std::ifstream file(CORVANE_CATALOGUE);
    const auto meant = nlohmann::json::parse(file, nullptr, false);
    auto printed = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(meant.is_array() && printed.is_array()) << run.out << run.err;
    for (auto& module : printed) {
        const std::string source = module["source"];
        EXPECT_FALSE(std::filesystem::path(source).is_absolute());
        module["source"] = source.substr(std::min(source.find("modules/"), source.size()));
    }
    EXPECT_EQ(nlohmann::json::diff(meant, printed).dump(1), "[]");
}

using Catalogue = Program;

TEST_F(Catalogue, listsTheModuleAndKeepsStandardOutputClean) {
    const Outcome silent = corvane({"catalogue", "--json"});
    expectCatalogue(silent);
    EXPECT_EQ(silent.err, "");
    for (const Arguments& call :
         {Arguments{"--verbose", "catalogue", "--json"}, Arguments{"catalogue", "--json", "--verbose"},
          Arguments{"--verbose=100", "catalogue", "--json"}}) {
        const Outcome verbose = corvane(call);
        EXPECT_EQ(verbose.status, 0);
        expectCatalogue(verbose);
        EXPECT_TRUE(holds(verbose.err, "Edit/ModifyClassification")) << verbose.err;
    }
    Arguments edit{"reclassify", in, "--from", "2", "--to", "5", "--dry-run", "--json", "--verbose"};
    EXPECT_GT(corvane(edit).document()["changed"], 0);
}

TEST_F(Catalogue, refusesLibrariesThatAreNoPlugIn) {
    const auto geometry = std::filesystem::path(CORVANE_PROGRAM).parent_path().parent_path() / "host/libSextant.so";
    ASSERT_TRUE(std::filesystem::exists(geometry));
    write(folder / "empty.so", "");
    for (const std::string& path : {folder / "missing.so", folder / "empty.so", in, geometry.string()})
        expectRefused({"--plugin", path, "catalogue"}, 1, {path, "plug-in"});
    expectCatalogue(corvane({"--plugin", CORVANE_PLUGIN, "catalogue", "--json"}));
}

using Sample = Program;

TEST_F(Sample, isTheSameForTheSameSeedOnly) {
    for (const char* seed : {"1", "2"})
        ASSERT_EQ(corvane({"sample", folder / seed, "--points", "2000", "--seed", seed}).status, 0);
    EXPECT_TRUE(bytesOf(folder / "1") == bytesOf(in));
    EXPECT_FALSE(bytesOf(folder / "2") == bytesOf(in));
    expectRefused({"sample", in}, 1, {in, "exists", "--overwrite"});
    expectRefused({"sample", out, "--points", "-1"}, 2, {"--points", "-1"});
}

using Installed = Program;

TEST_F(Installed, programFindsItsPlugInWhereverItIsPut) {
    const Outcome installed = execute(CORVANE_CMAKE, {"--install", CORVANE_BUILD, "--prefix", folder / "first"});
    ASSERT_EQ(installed.status, 0) << installed.err;
    for (const char* place : {"first", "second"}) {
        if (!std::filesystem::exists(folder / place)) std::filesystem::rename(folder / "first", folder / place);
        const std::string program = folder / place + "/bin/corvane";
        expectCatalogue(execute(program, {"catalogue", "--json"}));
        const Outcome edit = execute(program, {"reclassify", in, "--from", "2", "--to", "5", "--dry-run", "--json"});
        EXPECT_GT(edit.document()["changed"], 0);
    }
    std::filesystem::remove_all(folder / "second/lib");
    const Outcome alone = execute(folder / "second/bin/corvane", {"catalogue"});
    EXPECT_NE(alone.status, 0);
}

} // namespace
} // namespace corvane::test
