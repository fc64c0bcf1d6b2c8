// SPDX-License-Identifier: Apache-2.0
// Surveys that are saved in place, by processes that are killed, or whose disc fails, at each of their calls in turn.
#include "../support/TracedProcess.hpp"
#include "ProgramTestSupport.hpp"
#include "session/InPlaceSaving.hpp"
#include "session/OpenSaving.hpp"
#include "survey/SurveySaver.hpp"

#include <filesystem>
#include <random>
#include <sys/mount.h>

namespace corvane::test {
namespace {

namespace fs = std::filesystem;
using Classes = std::vector<std::uint8_t>;

/// Each call of the program itself is tried, too, and not only some.
const bool Long = std::getenv("CORVANE_LONG_TESTS") != nullptr;

/// Small surveys have several fragments, and take several batches. The program's own fragments are larger.
constexpr std::uint32_t SmallFragments = 300;
std::uint32_t fragmentPoints = SmallFragments;

SurveyOptions how() {
    SurveyOptions options;
    options.fragmentPoints = fragmentPoints;
    return options;
}
constexpr BatchSize SmallBatches{.bytes = 400, .runs = 1000, .points = 300};
const Note Nobody = [](const std::string&) {};

Classes classesOf(const Survey& survey) {
    Classes classes;
    const auto field = survey.points().findField(ClassificationName);
    for (const auto& [number, fragment] : field->fragments()) {
        const auto data = field->getData(fragment.id);
        const auto values = dynamic_cast<const Fiber::MemArray<std::uint8_t>&>(*data).values();
        classes.insert(classes.end(), values.begin(), values.end());
    }
    return classes;
}

/// As whoever only reads sees them.
Classes classesOf(const std::string& path) { return classesOf(*openWithEdits(path, how(), {}, Nobody)); }

/// As the file has them, unless it is being written to.
Classes originalOf(const std::string& path) {
    EditStoreOptions options;
    options.original = true;
    return classesOf(*openWithEdits(path, how(), options, Nobody));
}

EditedSurvey toEdit(const std::string& path) { return openToEdit(path, how(), {}, {}, Nobody); }

/// Commits an edit that gives these classes, as a module would.
void edit(const std::string& path, const Classes& after) {
    const EditedSurvey edited = toEdit(path);
    EditStore& store = edited.keeper->store();
    const auto field = edited.survey->points().findField(ClassificationName);
    Commit::Step step{ClassificationName, 1, "Edit/Something", "", 1, {}};
    for (const auto& [number, fragment] : field->fragments()) {
        const PointRange& range = edited.survey->ranges()[number];
        const auto data = field->getData(fragment.id);
        const auto before = std::as_bytes(dynamic_cast<const Fiber::MemArray<std::uint8_t>&>(*data).values());
        const auto change =
            FragmentChange::between(1, before, std::as_bytes(std::span(after)).subspan(range.first, range.count));
        if (!change.empty()) step.changes.push_back({number, change});
    }
    Commit commit;
    if (!store.findField(ClassificationName)) commit.begun.push_back({.name = ClassificationName});
    commit.update = {1, "{}"};
    commit.steps.push_back(std::move(step));
    store.commit(commit);
    edited.keeper->close();
}

void undo(const std::string& path) {
    const EditedSurvey edited = toEdit(path);
    EditStore& store = edited.keeper->store();
    store.commit({.undone = {store.findField(ClassificationName)->present}});
    edited.keeper->close();
}

int saveInPlace(const std::string& path) {
    try {
        corvane::saveInPlace(toEdit(path), {}, SmallBatches);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        std::fflush(stderr);
        return 1;
    }
}

bool isOpen(const std::string& path) {
    const EditStore store(path + ".edits", corvane::EditStore::Access::Read);
    return findOpenSaving(store).has_value();
}

/// Of the file alone.
std::vector<std::byte> recordsOf(const std::string& path) {
    const LasFile las = LasFile::open(path);
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    las.points->read(0, records);
    return records;
}

int execute(const Arguments& arguments) {
    std::vector<char*> line{const_cast<char*>("corvane")};
    for (const std::string& argument : arguments) line.push_back(const_cast<char*>(argument.c_str()));
    line.push_back(nullptr);
    execv(CORVANE_PROGRAM, line.data());
    return 127;
}

enum class Form { Plain, Layered, Pointwise };

/// A survey beside which edits are kept, and processes that come to grief with it.
class InPlace : public Program {
protected:
    void SetUp() override {
        fragmentPoints = SmallFragments;
        if (!TracedProcess::Possible) GTEST_SKIP() << "on this processor nobody wrote how calls are made to fail";
    }

    /// A survey with two edits, and what becomes of it.
    struct Case {
        Form form = Form::Plain;
        std::string path, original; ///< bytes
        Classes before, between, after;
        std::string saved; ///< another file with the edits
        std::map<std::string, std::string> contents;
    };

    Case prepared(Form form) const {
        Case made;
        made.form = form;
        made.path = work / (form == Form::Plain ? "survey.las" : "survey.laz");
        for (const auto& [name, bytes] : work.contents()) fs::remove(work / name);
        const std::string plain = form == Form::Plain ? made.path : folder / "plain.las";
        fs::remove(plain);
        run({"sample", plain, "--points", "1500", "--point-format", form == Form::Layered ? "6" : "1", "-q"});
        if (form != Form::Plain) run({"convert", plain, made.path, "--chunk", "300", "-q"});
        made.original = bytesOf(made.path);
        made.before = made.between = classesOf(made.path);
        // Fewer classes than there were, so that no layer needs more room.
        for (std::size_t i = 0; i < 1000; ++i) made.between[i] = 5;
        made.after = made.between;
        for (std::size_t i = 400; i < 1300; ++i) made.after[i] = 9;
        edit(made.path, made.between);
        edit(made.path, made.after);
        made.saved = folder / (form == Form::Plain ? "saved.las" : "saved.laz");
        saveSurvey(*openWithEdits(made.path, how(), {}, Nobody), made.saved, {.overwrite = true});
        made.contents = work.contents();
        return made;
    }

    static void run(const Arguments& arguments) {
        const Outcome outcome = corvane(arguments);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }

    void restore(const Case& of) const {
        for (const auto& [name, bytes] : work.contents()) fs::remove(work / name);
        for (const auto& [name, bytes] : of.contents) write(work / name, bytes);
    }

    TracedEnd traced(const std::function<int()>& function, const Fate& fate) {
        const TracedEnd end = TracedProcess::run(function, fate, folder / "said");
        kills += fate.kind == Fate::Killed && end.struck;
        return end;
    }
    std::string said() const { return bytesOf(folder / "said"); }

    /// What a process left is the survey with its edits for those who read, and they write nothing.
    void expectShown(const Case& of, const Classes& expected) const {
        const std::string survey = bytesOf(of.path);
        ASSERT_TRUE(classesOf(of.path) == expected);
        const Classes file = originalOf(of.path);
        ASSERT_TRUE(file == of.before || file == expected);
        ASSERT_TRUE(bytesOf(of.path) == survey);
    }

    /// The file is what an atomic save gives, and nothing is left beside it but the store and its lock.
    void expectSaved(const Case& of) const {
        ASSERT_FALSE(isOpen(of.path));
        ASSERT_TRUE(recordsOf(of.path) == recordsOf(of.saved));
        if (of.form == Form::Plain) {
            ASSERT_TRUE(bytesOf(of.path) == bytesOf(of.saved));
        }
        if (of.form == Form::Layered) {
            ASSERT_EQ(bytesOf(of.path).size(), of.original.size());
        }
        ASSERT_TRUE(classesOf(of.path) == of.after);
        ASSERT_LE(work.contents().size(), 3u);
    }

    /// Whoever may write completes what is open.
    void expectCompleted(const Case& of) const {
        const bool open = isOpen(of.path);
        std::string noted;
        openToEdit(of.path, how(), {}, {}, [&](const std::string& sentence) { noted += sentence; });
        ASSERT_EQ(open, holds(noted, "interrupted")) << noted;
        ASSERT_FALSE(isOpen(of.path));
        ASSERT_TRUE(classesOf(of.path) == of.after);
        ASSERT_EQ(saveInPlace(of.path), 0);
        expectSaved(of);
    }

    /// Undo goes back behind the file's values, and saving that gives the file as it was.
    void expectUndone(const Case& of) const {
        undo(of.path);
        ASSERT_TRUE(classesOf(of.path) == of.between);
        undo(of.path);
        ASSERT_TRUE(classesOf(of.path) == of.before);
        ASSERT_EQ(saveInPlace(of.path), 0);
        ASSERT_TRUE(of.form == Form::Pointwise || bytesOf(of.path) == of.original);
        ASSERT_TRUE(originalOf(of.path) == of.before);
    }

    const Folder work; // of the survey alone
    int kills = 0;
};

class InPlaceOf : public InPlace, public testing::WithParamInterface<Form> {};

TEST_P(InPlaceOf, isOldOrNewWheneverItIsKilled) {
    const Case of = prepared(GetParam());
    std::mt19937 random(1);
    for (int call = 0;; ++call) {
        SCOPED_TRACE(call);
        restore(of);
        const TracedEnd end = traced([&] { return saveInPlace(of.path); }, {Fate::Killed, call});
        if (!end.struck) {
            EXPECT_EQ(end.status, 0) << said();
            break;
        }
        ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
        while (isOpen(of.path) && random() % 2) { // and while it is completed
            traced([&] { return saveInPlace(of.path); }, {Fate::Killed, static_cast<int>(random() % 40)});
            ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
        }
        ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
        if (call % 4 == 0) {
            ASSERT_NO_FATAL_FAILURE(expectUndone(of));
        }
    }
    ASSERT_NO_FATAL_FAILURE(expectSaved(of));
    ASSERT_NO_FATAL_FAILURE(expectUndone(of));
    EXPECT_GT(kills, 30);
    RecordProperty("kills", kills);
}

TEST_P(InPlaceOf, isOldOrNewWheneverTheDiscFails) {
    const Case of = prepared(GetParam());
    std::vector<Fate> fates{{.kind = Fate::Fails}, {.kind = Fate::Fails, .error = ENOSPC, .forGood = true}};
    if (of.form == Form::Plain) fates.push_back({.kind = Fate::WritesHalf});
    if (Long) fates.push_back({.kind = Fate::Fails, .error = EIO, .forGood = true});
    if (Long) fates.push_back({.kind = Fate::Fails, .error = ENOSPC});
    for (Fate fate : fates) {
        int refused = 0;
        for (fate.call = 0;; ++fate.call) {
            SCOPED_TRACE(fmt::format("{} {}, call {}{}", int(fate.kind), strerror(fate.error), fate.call,
                                     fate.forGood ? " and all after it" : ""));
            restore(of);
            const TracedEnd end = traced([&] { return saveInPlace(of.path); }, fate);
            if (!end.struck) break;
            ASSERT_TRUE(end.status == 0 || end.status == 1) << end.status << said();
            refused += end.status == 1;
            const bool open = isOpen(of.path);
            ASSERT_FALSE(open && end.status == 0);
            if (end.status == 1) {
                ASSERT_TRUE(holds(said(), "survey.la")) << said();
                // Where nothing can be written any more, the store may say more than was acknowledged.
                const bool untouched = fate.forGood && bytesOf(of.path) == of.original;
                ASSERT_TRUE(!open || untouched || holds(said(), "is not complete; the next command")) << said();
            }
            ASSERT_NO_FATAL_FAILURE(expectShown(of, of.after));
            ASSERT_NO_FATAL_FAILURE(expectCompleted(of));
        }
        EXPECT_TRUE(fate.kind == Fate::WritesHalf || refused > 3) << refused;
    }
}

INSTANTIATE_TEST_SUITE_P(Forms, InPlaceOf, testing::Values(Form::Plain, Form::Layered, Form::Pointwise),
                         [](const auto& form) {
                             return form.param == Form::Plain     ? "Plain"
                                    : form.param == Form::Layered ? "Layered"
                                                                  : "Pointwise";
                         });

/// Commands of the program itself, with threads, one after the other and each killed some times.
TEST_F(InPlace, commandsThatAreKilledLeaveAllOrNothing) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case of = prepared(Form::Plain);
    std::mt19937 random(2);
    const auto countOf = [](const Classes& classes, int value) {
        return std::ranges::count(classes, static_cast<std::uint8_t>(value));
    };
    const Arguments more{"edit", of.path, "reclassify", "--from", "5", "--to", "6"};
    Classes edited = of.after;
    std::ranges::replace(edited, std::uint8_t{5}, std::uint8_t{6});
    const std::vector<std::pair<Arguments, Classes>> sessions{
        {more, edited}, {{"undo", of.path}, of.between}, {{"save", of.path, "--in-place"}, of.after}};
    for (const auto& [call, becomes] : sessions) {
        restore(of);
        const TracedEnd whole = traced([&call = call] { return execute(call); }, {});
        ASSERT_EQ(whole.status, 0) << said();
        ASSERT_TRUE(classesOf(of.path) == becomes);
        const int step = Long ? 1 : std::max(1, whole.calls / 6);
        for (int at = static_cast<int>(random() % static_cast<unsigned>(step)); at < whole.calls; at += step) {
            SCOPED_TRACE(fmt::format("{} killed at call {}", call.front(), at));
            restore(of);
            traced([&call = call] { return execute(call); }, {Fate::Killed, at});
            const std::string survey = bytesOf(of.path);
            const json shown = corvane({"histogram", of.path, "--json"}).document();
            Classes now = classesOf(of.path);
            ASSERT_TRUE(now == becomes || now == of.after);
            for (const json& entry : shown["values"])
                ASSERT_EQ(entry["count"], countOf(now, entry["value"].get<int>())) << entry;
            const Outcome listed = corvane({"points", of.path, "--class", "9", "--format", "csv", "--allow-miss"});
            ASSERT_EQ(std::ranges::count(listed.out, '\n'), 1 + countOf(now, 9)) << listed.out; // below a head
            ASSERT_TRUE(bytesOf(of.path) == survey);
            const bool open = isOpen(of.path);
            const std::vector<Arguments> next{{"undo", of.path},
                                              {"mask", of.path, "--clear"},
                                              {"discard", of.path},
                                              more,
                                              {"history", of.path, "--drop"}};
            const Arguments& writer = next[random() % next.size()];
            const Outcome run = corvane(writer);
            ASSERT_EQ(run.status, 0) << run.err;
            ASSERT_EQ(open, holds(run.err, "interrupted")) << run.err;
            ASSERT_TRUE(!open || bytesOf(of.path) == bytesOf(of.saved)) << writer.front();
        }
    }
    EXPECT_GT(kills, 12);
}

TEST_F(InPlace, saysWhatItDid) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case plain = prepared(Form::Plain);
    expectRefused({"save", plain.path}, 2, {"--in-place"});
    expectRefused({"save", plain.path, out, "--in-place"}, 2, {"--in-place"});
    const Outcome first = corvane({"save", plain.path, "--in-place"});
    EXPECT_EQ(first.status, 0) << first.err;
    const std::string saved = bytesOf(plain.path);
    std::uint64_t differ = 0;
    for (std::size_t i = 0; i < saved.size(); ++i) differ += saved[i] != plain.original[i];
    EXPECT_TRUE(holds(first.out, fmt::format("{} bytes written in place", differ))) << first.out;
    EXPECT_TRUE(holds(corvane({"save", plain.path, "--in-place"}).out, "nothing was written"));
    EXPECT_TRUE(bytesOf(plain.path) == saved);
    EXPECT_EQ(corvane({"undo", plain.path, "2"}).status, 0);
    EXPECT_EQ(corvane({"save", plain.path, "--in-place"}).status, 0);
    EXPECT_TRUE(bytesOf(plain.path) == plain.original);
    expectRefused({"save", in, "--in-place"}, 1, {"no edits are kept"});

    const Case pointwise = prepared(Form::Pointwise);
    const Outcome copied = corvane({"save", pointwise.path, "--in-place"});
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_TRUE(holds(copied.out, "a new file took its place") && holds(copied.out, "not in layers")) << copied.out;
    EXPECT_EQ(corvane({"redo", pointwise.path}).status, 1);
    EXPECT_EQ(corvane({"undo", pointwise.path}).status, 0);
    EXPECT_TRUE(classesOf(pointwise.path) == pointwise.between);
}

/// What needs more room than it had becomes a new file, and so do layers that had none.
TEST_F(InPlace, replacesLayersThatDoNotFit) {
    fragmentPoints = SurveyOptions().fragmentPoints;
    const Case of = prepared(Form::Layered);
    ASSERT_EQ(corvane({"save", of.path, "--in-place"}).status, 0);
    Classes noise = of.after;
    std::mt19937 random(3);
    for (auto& value : noise) value = static_cast<std::uint8_t>(random());
    edit(of.path, noise);
    for (int call = 0;; ++call) { // killed, too
        const TracedEnd end = traced([&] { return saveInPlace(of.path); }, {Fate::Killed, call});
        ASSERT_TRUE(classesOf(of.path) == noise);
        if (!end.struck) break;
    }
    EXPECT_GT(bytesOf(of.path).size(), of.original.size());
    EXPECT_TRUE(originalOf(of.path) == noise);
    undo(of.path);
    EXPECT_TRUE(classesOf(of.path) == of.after);
    EXPECT_EQ(saveInPlace(of.path), 0);
    EXPECT_TRUE(recordsOf(of.path) == recordsOf(of.saved));
    EXPECT_EQ(corvane({"lint", of.path}).status, corvane({"lint", of.saved}).status);
}

/// A file system that goes when this does.
class SmallFileSystem {
public:
    explicit SmallFileSystem(std::string path) : path_(std::move(path)) {
        fs::create_directory(path_);
        mounted_ = mount("tmpfs", path_.c_str(), "tmpfs", 0, "size=1500k") == 0;
    }
    ~SmallFileSystem() {
        if (mounted_) umount2(path_.c_str(), MNT_DETACH);
    }
    SmallFileSystem(const SmallFileSystem&) = delete;
    SmallFileSystem& operator=(const SmallFileSystem&) = delete;

    bool mounted() const { return mounted_; }

private:
    std::string path_;
    bool mounted_;
};

TEST_F(InPlace, changesNothingOnAFullDisc) {
    const SmallFileSystem disc(folder / "disc");
    if (!disc.mounted()) GTEST_SKIP() << "a small file system cannot be mounted here";
    fragmentPoints = SurveyOptions().fragmentPoints;
    for (const Form form : {Form::Plain, Form::Layered, Form::Pointwise}) {
        const Case of = prepared(form);
        const std::string path = folder / "disc/" + fs::path(of.path).filename().string();
        for (const auto& [name, bytes] : of.contents) write(folder / "disc/" + name, bytes);
        {
            std::ofstream filler(folder / "disc/filler");
            while (filler) filler << std::string(512, 'x') << std::flush;
        }
        EXPECT_EQ(corvane({"save", path, "--in-place"}).status, 1);
        EXPECT_TRUE(bytesOf(path) == of.original);
        EXPECT_TRUE(classesOf(path) == of.after);
        fs::remove(folder / "disc/filler");
        EXPECT_EQ(saveInPlace(path), 0);
        EXPECT_TRUE(recordsOf(path) == recordsOf(of.saved));
        for (const auto& entry : fs::directory_iterator(folder / "disc")) fs::remove(entry.path());
    }
}

using InPlaceOfReal = RealSurveys;

TEST_F(InPlaceOfReal, layersReadAsThoseOfAnAtomicSave) {
    int fitted = 0;
    for (const auto& name : named("", ".laz")) {
        const auto largest = LasFile::open(Data / name).compression()->layout.layered() ? 2'000'000u : 15'000u;
        if (fs::file_size(Data / name) > largest) continue;
        SCOPED_TRACE(name);
        const std::string path = folder / "real.laz", original = bytesOf(Data / name);
        for (const char* where : {"Intensity >= 0", "Intensity % 2 == 0"}) {
            write(path, original);
            const Outcome edit = corvane({"edit", path, "reclassify", "--from", "any", "--to", "2", "--where", where});
            ASSERT_EQ(edit.status, 0) << edit.err;
            if (!fs::exists(path + ".edits")) continue; // it had that class everywhere
            const std::string counts = corvane({"histogram", path, "-q"}).out;
            ASSERT_EQ(corvane({"save", path, folder / "atomic.laz", "--overwrite"}).status, 0);
            const Outcome saved = corvane({"save", path, "--in-place"});
            ASSERT_EQ(saved.status, 0) << saved.err;
            EXPECT_EQ(corvane({"histogram", path, "-q"}).out, counts);
            EXPECT_TRUE(recordsOf(path) == recordsOf(folder / "atomic.laz"));
            EXPECT_TRUE(holds(corvane({"compare", path, folder / "atomic.laz", "--original"}).out, "the same"));
            ASSERT_EQ(corvane({"undo", path}).status, 0);
            ASSERT_EQ(corvane({"save", path, "--in-place"}).status, 0);
            EXPECT_TRUE(recordsOf(path) == recordsOf(Data / name));
            if (!holds(saved.out, "a new file")) {
                ++fitted;
                EXPECT_TRUE(bytesOf(path) == original);
            }
            fs::remove(path + ".edits");
        }
    }
    EXPECT_GT(fitted, 5);
}

} // namespace
} // namespace corvane::test
