// SPDX-License-Identifier: Apache-2.0
// info, catalogue, sample, the plug-in, the program once it is installed, and surveys that cannot be read.
#include "ProgramTestSupport.hpp"

#include "Kesh/catalogue/VCreator.hpp"
#include "base/Failure.hpp"
#include "plugin/Plugin.hpp"
#include "survey/SurveySaver.hpp"

#include <csignal>
#include <dlfcn.h>
#include <unistd.h>

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
        EXPECT_EQ(info["scale"], known["scale"]);
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const json& bounds = known["header_bounds"][std::string(1, "xyz"[axis])];
            EXPECT_DOUBLE_EQ(info["bounds"]["min"][axis], bounds[0]);
            EXPECT_DOUBLE_EQ(info["bounds"]["max"][axis], bounds[1]);
        }
        const json stats = corvane({"info", Data / name, "--json", "--stats"}).document()["stats"];
        json classes = json::object(), expected = json::object();
        for (const json& one : stats["classes"]) classes[std::to_string(one["value"].get<int>())] = one["count"];
        const json stated = known.value("classes", json::object());
        for (const auto& [value, points] : stated.items()) expected[value] = points["count"];
        EXPECT_EQ(classes, expected);
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
    EXPECT_TRUE(holds(corvane({"catalogue"}).out,
                      "        undodepth      integer\n"
                      "            How many steps a history keeps when this editor adds one; the oldest go first. 0 "
                      "adds none.\n"
                      "            initially 32; level 5; max 10000; min 0\n"));
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

using Endings = Program;

TEST_F(Endings, byASignalLeaveNothingBehindAndAreSeenByTheShell) {
    const auto before = folder.contents();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const pid_t program = fork();
        if (program == 0) {
            execl(CORVANE_PROGRAM, "corvane", "sample", out.c_str(), "--points", "50000000", "-q", nullptr);
            _exit(127);
        }
        usleep(200'000);
        kill(program, signal);
        int status = 0;
        ASSERT_EQ(waitpid(program, &status, 0), program);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        EXPECT_TRUE(folder.contents() == before);
    }
}

/// What fails first when memory ends depends on how much there is, so several amounts are tried.
TEST_F(Endings, forWantOfMemoryAreASentenceAndNoFile) {
    ASSERT_EQ(corvane({"sample", in, "--points", "70000", "--overwrite", "-q"}).status, 0);
    RawPoints points(bytesOf(in));
    for (std::uint64_t i = 0; i < points.count(); ++i) points.put(points.place(i, 12), static_cast<std::uint16_t>(i));
    write(in, points.bytes()); // every intensity there is
    const auto within = [](int mebibytes, const Arguments& arguments) {
        const std::string limit = fmt::format("ulimit -c 0 -v {}; exec \"$0\" \"$@\"", mebibytes * 1024);
        return execute("/bin/sh", Arguments{"-c", limit, CORVANE_PROGRAM} + arguments);
    };
    int least = 16; // that the program starts with
    while (least < 1024 && within(least, {"--version"}).status != 0) least += 8;
    if (least >= 1024) GTEST_SKIP() << "sanitizers take more addresses than any limit leaves";
    const auto before = folder.contents();
    for (const Arguments& call : {Arguments{"-q", "histogram", in, "--field", "Intensity", "--json"},
                                  Arguments{"-q", "histogram", in, "--secondary", "Z"},
                                  Arguments{"-q", "reclassify", in, out, "--from", "2", "--to", "6"}}) {
        int limit = least;
        for (Outcome run = within(limit, call); run.status != 0; run = within(limit += 8, call)) {
            ASSERT_EQ(run.status, 1) << run.err << fmt::format(" of {} MiB", limit);
            EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
            EXPECT_TRUE(run.err.starts_with("corvane: ") && run.err.ends_with(".\n")) << run.err;
            EXPECT_TRUE(folder.contents() == before);
        }
        std::filesystem::remove(out);
    }
}

TEST_F(Endings, withAnAnswerThatDoesNotArriveAreFailures) {
    for (const char* what : {"histogram", "info"}) {
        const Outcome full =
            execute("/bin/sh", {"-c", "exec \"$0\" \"$1\" \"$2\" --json > /dev/full", CORVANE_PROGRAM, what, in});
        EXPECT_EQ(full.status, 1);
        EXPECT_TRUE(holds(full.err, "cannot be written")) << full.err;
    }
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

TEST(PluginFile, isFoundByThePlaceOfTheHost) { EXPECT_TRUE(std::filesystem::equivalent(findPlugin(), CORVANE_PLUGIN)); }

TEST(PluginFile, isClosedWhenItsEntryThrows) {
    const std::string said = messageOf<Failure>([] { Plugin faulty(CORVANE_FAULTY_PLUGIN); });
    EXPECT_TRUE(holds(said, CORVANE_FAULTY_PLUGIN) && holds(said, "out of ink")) << said;
    EXPECT_EQ(dlopen(CORVANE_FAULTY_PLUGIN, RTLD_NOW | RTLD_NOLOAD), nullptr) << "still loaded";
}

TEST(PluginFile, isLoadedFromOnePlaceOnly) {
    const Folder folder;
    const std::string copy = folder / std::filesystem::path(CORVANE_PLUGIN).filename();
    std::filesystem::copy_file(CORVANE_PLUGIN, copy);
    {
        const Plugin first(CORVANE_PLUGIN), again(CORVANE_PLUGIN);
        const std::size_t modules = Kesh::VCreatorBase::catalogue().size();
        const std::string said = messageOf<Failure>([&] { Plugin second(copy); });
        EXPECT_TRUE(holds(said, CORVANE_PLUGIN) && holds(said, copy)) << said;
        EXPECT_EQ(Kesh::VCreatorBase::catalogue().size(), modules);
    }
    EXPECT_TRUE(Kesh::VCreatorBase::catalogue().empty());
    const Plugin other(copy);
    EXPECT_FALSE(Kesh::VCreatorBase::catalogue().empty()) << "the first is gone";
}

using Damage = RealSurveys;

TEST_F(Damage, endsInOneSentenceWithTheFilesName) {
    // Its extra bytes are described wrongly, which the points do not mind: the only one to be read.
    const std::string harmless = "malformed/malformed_extrabytes.las";
    auto names = named("malformed/", "");
    EXPECT_GE(names.size(), 8u);
    std::erase(names, harmless);
    for (const std::string& name : names) {
        const std::string survey = Data / name;
        const bool cut = holds(name, "cut") || holds(name, "too_large") || holds(name, "short"); // sound before that
        expectRefused({"info", survey}, cut ? Outcome::NotClean : 1, {survey});
        expectRefused({"reclassify", survey, out, "--from", "1", "--to", "2"}, 1, {survey});
    }
    const Outcome run = reclassify({"--from", "2", "--to", "3", "--json"}, Data / harmless);
    EXPECT_EQ(run.document()["changed"], 10);
    EXPECT_TRUE(holds(run.err, "corvane: warning: " + std::string(Data / harmless))) << run.err;
}

using Shrinking = Program;

TEST_F(Shrinking, surveyFailsWhereItIsReadOrSavedAndServesWhatIsLeft) {
    const Survey survey(in, {.memoryBytes = 1, .fragmentPoints = 300});
    std::filesystem::resize_file(in, std::filesystem::file_size(in) / 2);
    const auto classes = survey.points().findField("Classification");
    int served = 0, failed = 0;
    for (const auto& [number, fragment] : classes->fragments()) {
        const std::string failure =
            messageOf<Failure>([&, array = fragment.array] { served += array->getData()->size() > 0; });
        if (!failure.empty()) {
            EXPECT_TRUE(holds(failure, in + ": the file shrank while it was open")) << failure;
            ++failed;
        }
    }
    EXPECT_EQ(served, 3);
    EXPECT_EQ(failed, 4);
    EXPECT_TRUE(holds(messageOf<Failure>([&] { saveSurvey(survey, out); }), "shrank while it was open"));
    EXPECT_EQ(folder.contents().size(), 1u) << "nothing may be left of the result";
}

} // namespace
} // namespace corvane::test
