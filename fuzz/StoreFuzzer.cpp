// SPDX-License-Identifier: Apache-2.0
// Any bytes as a store; or, since few of them would come past its checksums, a sound store with rows of any content
// that have the right ones. Run with TMPDIR in memory.
#include "MemoryFile.hpp"
#include "base/ByteCode.hpp"
#include "store/EditStore.hpp"
#include "store/Sqlite.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace corvane;
using fuzz::require;

constexpr std::uint32_t Points = 1000;

std::string pathOf(const char* name) {
    static const std::string folder = std::filesystem::temp_directory_path() / fmt::format("corvane.fuzz.{}", getpid());
    std::filesystem::create_directories(folder);
    return folder + "/" + name;
}

void writeFile(const std::string& path, std::span<const std::byte> bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// Three steps of two fields, one of them undone, and a base.
const Bytes& soundStore() {
    static const Bytes bytes = [] {
        const std::string path = pathOf("sound.edits");
        std::filesystem::remove(path);
        EditStore store = EditStore::create(path, {1, 2, 3}, {.sync = false});
        store.commit({.begun = {{.name = "C"}, {.name = "M", .width = 2, .origin = Origin::Zeros}}});
        for (int i = 0; i < 4; ++i) {
            Commit commit;
            commit.update = {1, "[]"};
            for (const auto& [name, width] : {std::pair("C", 1), std::pair("M", 2)}) {
                const Bytes before(Points * width, std::byte(i)), after(Points * width, std::byte(i + 1));
                commit.steps.push_back({name, 1, "m", "p", 1, {{0, FragmentChange::between(width, before, after)}}});
            }
            commit.attributes = {{"C", {"labels", Bytes(10)}}};
            commit.boxes = {{0, {}}};
            store.commit(commit);
        }
        store.commit({.undone = {store.steps("C").back().id}, .gone = {store.steps("C").front().id}});
        store.close();
        std::ifstream stream(path, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        const auto content = bytesOf(text);
        return Bytes(content.begin(), content.end());
    }();
    return bytes;
}

/// Puts rows in; where the bytes end, numbers are 0.
void putRows(const std::string& path, std::span<const std::byte> input) {
    Sqlite database(path, Sqlite::Mode::Write);
    database.run("PRAGMA synchronous = OFF; PRAGMA journal_mode = MEMORY");
    const std::string text = "C";
    ByteReader reader(input);
    const auto number = [&]() -> std::int64_t { return reader.left() > 0 ? reader.byte() : 0; };
    for (int rows = 0; rows < 8 && reader.left() > 2; ++rows) {
        const auto table = number();
        const std::int64_t a = number(), b = number(), c = number(), d = number(), e = number(), f = number();
        const auto wanted = static_cast<std::size_t>(number());
        const auto taken = reader.bytes(std::min(reader.left(), wanted));
        const Bytes blob(taken.begin(), taken.end());
        if (table % 6 == 0) database.put("INSERT OR REPLACE INTO changes VALUES(?,?,?,?)", {a, b, blob});
        if (table % 6 == 1) database.put("INSERT OR REPLACE INTO bases VALUES(?,?,?,?)", {a, b, blob});
        if (table % 6 == 2)
            database.put("INSERT OR REPLACE INTO steps VALUES(?,?,?,?,?,?,?,?,?)", {a, b, c, d, text, text, e, blob});
        if (table % 6 == 3)
            database.put("INSERT OR REPLACE INTO fields VALUES(?,?,?,?,?,?,?,?,?,?)",
                         {a, text, b % 4, c % 3, d, e, f, f, blob});
        if (table % 6 == 4)
            database.put("INSERT OR REPLACE INTO survey VALUES(?,?,?,?,?,?,?,?,?)", {1, a, b, c, d, e, f, f});
        if (table % 6 == 5) database.put("INSERT OR REPLACE INTO boxes VALUES(?,?,?)", {a, blob});
    }
}

template <class Function>
void attempt(const std::string& path, Function function) {
    try {
        function();
    } catch (const Failure& failure) {
        require(std::string_view(failure.what()).starts_with(path));
    }
}

void readAll(const std::string& path, const EditStore& store) {
    for (const StoredField& field : store.fields()) {
        const auto fragments = store.changedFragments(field.name);
        for (const StoredStep& step : store.steps(field.name)) {
            Bytes values(Points * static_cast<std::size_t>(field.width));
            attempt(path, [&] { store.valuesOf(field.name, 0, step.id, values); });
            attempt(path, [&] { store.changeBetween(field.name, 0, Beginning, step.id); });
            attempt(path, [&] { store.actions(step.update); });
        }
        attempt(path, [&] { store.attributes(field.name); });
    }
    attempt(path, [&] { store.boxes(); });
    attempt(path, [&] { store.updates(); });
    for (const StoreDamage& damage : store.check()) require(!damage.sentence.empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = pathOf("input.edits");
    const auto input = std::as_bytes(std::span(data, size));
    if (size == 0) return 0;
    for (const char* beside : {"-wal", "-shm", "-journal"}) std::filesystem::remove(path + beside);
    if (data[0] % 4 == 0) {
        writeFile(path, input.subspan(1));
    } else {
        Bytes bytes = soundStore();
        if (data[0] % 4 == 1 && size > 4) { // some bytes of the file are others
            std::uint32_t place = 0;
            std::memcpy(&place, data + 1, 3);
            place %= static_cast<std::uint32_t>(bytes.size());
            const auto put = input.subspan(4, std::min(size - 4, bytes.size() - place));
            std::ranges::copy(put, bytes.begin() + place);
        }
        writeFile(path, bytes);
        if (data[0] % 4 >= 2) putRows(path, input.subspan(1));
    }
    attempt(path, [&] { readAll(path, EditStore(path, EditStore::Access::Read)); });
    attempt(path, [&] {
        EditStore store(path, EditStore::Access::Write, {.sync = false});
        std::vector<StepId> steps;
        for (const StoredStep& step : store.steps()) steps.push_back(step.id);
        attempt(path, [&] { store.commit({.gone = steps}); });
        readAll(path, store);
    });
    return 0;
}
