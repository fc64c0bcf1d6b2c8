// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "../support/TracedProcess.hpp"
#include "ProgramTestSupport.hpp"
#include "session/InPlaceSaving.hpp"
#include "session/OpenSaving.hpp"
#include "survey/SurveySaver.hpp"

#include <filesystem>

namespace corvane::test {

namespace fs = std::filesystem;
using Classes = std::vector<std::uint8_t>;

/// Each call of the program itself is tried, too, and not only some.
inline const bool Long = std::getenv("CORVANE_LONG_TESTS") != nullptr;

/// Small surveys have several fragments, and take several batches. The program's own fragments are larger.
constexpr std::uint32_t SmallFragments = 300;
inline std::uint32_t fragmentPoints = SmallFragments;

inline SurveyOptions how() {
    SurveyOptions options;
    options.fragmentPoints = fragmentPoints;
    return options;
}
constexpr BatchSize SmallBatches{.bytes = 400, .runs = 1000, .points = 300};
inline const Note Nobody = [](const std::string&) {};

inline Classes classesOf(const Survey& survey) {
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
inline Classes classesOf(const std::string& path) { return classesOf(*openWithEdits(path, how(), {}, Nobody)); }

/// As the file has them, unless it is being written to.
inline Classes originalOf(const std::string& path) {
    EditStoreOptions options;
    options.original = true;
    return classesOf(*openWithEdits(path, how(), options, Nobody));
}

inline EditedSurvey toEdit(const std::string& path) { return openToEdit(path, how(), {}, {}, Nobody); }

/// Commits an edit that gives these classes, as a module would.
inline void edit(const std::string& path, const Classes& after) {
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

inline void undo(const std::string& path) {
    const EditedSurvey edited = toEdit(path);
    EditStore& store = edited.keeper->store();
    store.commit({.undone = {store.findField(ClassificationName)->present}});
    edited.keeper->close();
}

inline void redo(const std::string& path) {
    const EditedSurvey edited = toEdit(path);
    EditStore& store = edited.keeper->store();
    const auto steps = store.steps(ClassificationName);
    store.commit({.redone = {std::ranges::find(steps, false, &StoredStep::done)->id}});
    edited.keeper->close();
}

inline int saveInPlace(const std::string& path, const Kesh::LabelSet* labels = nullptr,
                       const BatchSize& size = SmallBatches) {
    try {
        corvane::saveInPlace(toEdit(path), labels, {}, size);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
        std::fflush(stderr);
        return 1;
    }
}

inline bool isOpen(const std::string& path) {
    const EditStore store(path + ".edits", corvane::EditStore::Access::Read);
    return findOpenSaving(store).has_value();
}

/// Of the file alone.
inline std::vector<std::byte> recordsOf(const std::string& path) {
    const LasFile las = LasFile::open(path);
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    las.points->read(0, records);
    return records;
}

inline int execute(const Arguments& arguments) {
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

} // namespace corvane::test
