// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "store/EditStore.hpp"
#include "store/Sqlite.hpp"

#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <stdlib.h>

namespace corvane::bench {
namespace {

using Values = std::vector<std::byte>;

constexpr std::uint32_t Fragments = 305; // of a survey of 40 million points
constexpr std::uint32_t Points = 131072; // of each
constexpr int Steps = 1000;              // of a history
const std::string Name = "Classification";

/// A folder under TMPDIR, which must lie on a disc; removed at the end.
class Folder {
public:
    Folder() {
        std::string name = std::filesystem::temp_directory_path() / "corvane.bench.XXXXXX";
        if (!mkdtemp(name.data())) throw std::runtime_error(name + ": cannot be made.");
        path_ = name;
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string operator/(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

/// Every `every`-th point to class 6, or what leads back. With 1 it is one half whose classes are all kinds.
FragmentChange editOf(std::uint32_t every, std::uint32_t first, bool back) {
    Values before(Points, std::byte{2}), after = before;
    if (every == 1)
        for (std::uint32_t i = 0; i < Points; ++i) before[i] = after[i] = static_cast<std::byte>(i * i / 7 % 200 + 7);
    for (std::uint32_t i = first % Points; i < (every == 1 ? Points / 2 : Points); i += every) after[i] = std::byte{6};
    return back ? FragmentChange::between(1, after, before) : FragmentChange::between(1, before, after);
}

Commit edited(std::uint32_t fragments, std::uint32_t every, std::uint32_t first, bool back) {
    Commit commit;
    commit.update = {1, R"([{"draw": {"lasso.brush": {"lasso": "0 0, 9 9, 9 0, 0 9"}}, "press": "editor.assign"}])"};
    commit.steps.push_back({Name, 1, "Edit/ModifyClassification", "from0=2 newvalue=6", 1000, {}});
    for (std::uint32_t i = 0; i < fragments; ++i) commit.steps[0].changes.push_back({i, editOf(every, first, back)});
    return commit;
}

EditStore begun(const std::string& path) {
    EditStore store = EditStore::create(path, {});
    store.commit({.begun = {{.name = Name}}});
    return store;
}

/// The same bytes as rows of a table, and nothing else. Closing it copies the log.
class RawTable {
public:
    explicit RawTable(const std::string& path) : database_(path, Sqlite::Mode::Create) {
        database_.run("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL; PRAGMA wal_autocheckpoint = 0;"
                      "CREATE TABLE IF NOT EXISTS rows(id INTEGER PRIMARY KEY, bytes BLOB)");
    }

    void commit(const std::vector<Values>& rows) {
        SqliteTransaction transaction(database_);
        for (const Values& row : rows) database_.run("INSERT INTO rows(bytes) VALUES(?)", {row});
        transaction.commit();
    }

private:
    Sqlite database_;
};

/// Commits of so many fragments, each of which is that many bytes; several, since one takes little time.
void compareCommits(const std::string& title, std::uint32_t fragments, std::uint32_t every, int repeats) {
    const Folder folder;
    auto store = std::make_unique<EditStore>(begun(folder / "ours.edits"));
    auto raw = std::make_unique<RawTable>(folder / "raw.db");
    const Commit there = edited(fragments, every, 0, false), back = edited(fragments, every, 0, true);
    const std::vector<Values> rows(fragments, there.steps[0].changes[0].change.encode());
    bool isThere = false;
    Comparison comparison(fmt::format("{}: {} bytes each, {} times", title, rows[0].size(), repeats), "commits",
                          Comparison::BoundBy::Disc);
    comparison.add(
        "ours: EditStore::commit", repeats, {},
        [&] {
            for (int i = 0; i < repeats; ++i, isThere = !isThere) store->commit(isThere ? back : there);
        },
        [&] { // copies the log, as every command does at its end
            store->close();
            store = std::make_unique<EditStore>(folder / "ours.edits", EditStore::Access::Write);
        });
    comparison.add(
        "SQLite, as many raw bytes", repeats, {.timeAtMost = 2},
        [&] {
            for (int i = 0; i < repeats; ++i) raw->commit(rows);
        },
        [&] {
            raw.reset();
            raw = std::make_unique<RawTable>(folder / "raw.db");
        });
    comparison.print();
    fmt::print("\n");
}

/// What a history of a thousand steps costs who opens and reads it, and who undoes and clears.
void compareHistories() {
    const Folder folder;
    const auto made = [&](const std::string& name, std::uint32_t fragments, int steps) {
        EditStore store = begun(folder / name);
        for (int i = 0; i < steps; ++i) store.commit(edited(fragments, 1000, std::uint32_t(i) / 2, i % 2 != 0));
        store.close();
        return folder / name;
    };
    const std::string none = made("none.edits", 1, 0), few = made("few.edits", Fragments, Steps / 20),
                      many = made("many.edits", 20, Steps);
    Comparison opening("Opening a store and closing it", "stores", Comparison::BoundBy::Disc);
    for (const auto& [name, path] : {std::pair(fmt::format("{} steps of 20 fragments", Steps), many),
                                     std::pair(fmt::format("{} of {} fragments", Steps / 20, Fragments), few),
                                     std::pair(std::string("no step"), none)})
        opening.add(name, 1, {}, [path = path] { EditStore store(path, EditStore::Access::Read); });
    opening.print();
    fmt::print("\n");

    const EditStore reader(many, EditStore::Access::Read);
    const auto steps = reader.steps(Name);
    Comparison reading(fmt::format("Making versions of a fragment of {} points", Points), "M points");
    Values values(Points);
    for (const std::size_t depth : {std::size_t{Steps}, std::size_t{100}, std::size_t{1}})
        reading.add(fmt::format("after {} steps", depth), 1e-6 * Points, {}, [&, depth] {
            std::fill(values.begin(), values.end(), std::byte{2});
            reader.valuesOf(Name, 7, steps[depth - 1].id, values);
        });
    reading.print();
    fmt::print("\n");
}

} // namespace

void benchStore() {
    compareCommits("One fragment with a small change", 1, 20000, 20);
    compareCommits(fmt::format("{} fragments, some points", Fragments), Fragments, 1000, 5);
    compareCommits(fmt::format("{} fragments, many points", Fragments), Fragments, 32, 5);
    compareCommits(fmt::format("{} fragments, half the points, of all classes", Fragments), Fragments, 1, 2);
    compareHistories();
}

} // namespace corvane::bench
