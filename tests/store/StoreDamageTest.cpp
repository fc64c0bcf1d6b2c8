// SPDX-License-Identifier: Apache-2.0
// Stores that are damaged, of another version, of another program, or where nothing may be written.
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "RandomValues.hpp"
#include "store/EditStore.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane::test {
namespace {

constexpr std::uint32_t Fragments = 3;
constexpr std::size_t Points = 3000;
using Version = std::vector<Values>; // by fragment

class DamagedStore : public testing::Test {
protected:
    DamagedStore() {
        EditStore store = EditStore::create(path, {1, 2, 3});
        Commit begin;
        for (const char* name : {"Classification", "Mask"}) {
            versions[name] = {Version()};
            for (std::uint32_t i = 0; i < Fragments; ++i)
                versions[name][0].push_back(begin.begun.empty() ? randomValues(dice, Points, 1) : Values(Points));
            begin.begun.push_back({.name = name, .origin = begin.begun.empty() ? Origin::Survey : Origin::Zeros});
            begin.attributes.push_back({name, {"labels", randomValues(dice, 5000, 1)}});
        }
        begin.entries = {{"saving", Values(100)}};
        store.commit(begin);
        for (int i = 0; i < 6; ++i) edit(store);
        store.commit({.gone = {store.steps("Classification").front().id}}); // which makes a base
        survey = versions["Classification"][0];
        versions["Classification"].erase(versions["Classification"].begin());
        labels = store.attributes("Classification");
        store.close();
        bytes = bytesOf(path);
    }

    void edit(EditStore& store) {
        Commit commit;
        commit.update = {1, std::string(3000, 'a')};
        for (auto& [name, known] : versions) {
            Version next = known.back();
            std::vector<ChangedFragment> changes;
            for (std::uint32_t i = 0; i < Fragments; ++i) {
                next[i] = randomlyChanged(dice, next[i], 1);
                changes.push_back({i, FragmentChange::between(1, known.back()[i], next[i])});
            }
            commit.steps.push_back({name, 1, "Edit/Something", "value=6", 7, changes});
            known.push_back(next);
        }
        store.commit(commit);
    }

    /// Reads everything: what comes is right, or a Failure. Returns how many versions of fragments came.
    int read(const EditStore& store) {
        int sound = 0, refused = 0;
        for (const StoredField& field : store.fields()) {
            const auto steps = store.steps(field.name);
            EXPECT_EQ(steps.size() + 1, versions[field.name].size());
            for (std::size_t place = 0; place < versions[field.name].size(); ++place) {
                for (std::uint32_t i = 0; i < Fragments; ++i) {
                    Values values = survey[i];
                    try {
                        store.valuesOf(field.name, i, place == 0 ? Beginning : steps[place - 1].id, values);
                        EXPECT_EQ(values, versions[field.name][place][i]);
                        ++sound;
                    } catch (const Failure&) {
                        ++refused;
                    }
                }
            }
            const auto attributes = store.attributes(field.name);
            if (field.name == "Classification" && attributes.contains("labels")) {
                EXPECT_EQ(attributes, labels);
            }
        }
        EXPECT_TRUE(refused == 0 || !store.check().empty());
        return sound;
    }

    /// -1: it cannot be opened, and a sentence says why.
    int readBytes(const std::string& damaged) {
        const std::string other = folder / "other.edits";
        write(other, damaged);
        try {
            return read(EditStore(other, EditStore::Access::Read));
        } catch (const Failure& failure) {
            EXPECT_TRUE(holds(failure.what(), other)) << failure.what();
            return -1;
        }
    }

    void runSql(const char* statements) {
        sqlite3* database = nullptr;
        ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(database, statements, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(database);
        sqlite3_close(database);
    }

    std::string refusal(EditStore::Access access = EditStore::Access::Read) {
        const std::string before = bytesOf(path);
        const std::string message = messageOf<Failure>([&] { EditStore store(path, access); });
        EXPECT_EQ(bytesOf(path), before);
        return message;
    }

    const Folder folder;
    const std::string path = folder / "survey.las.edits";
    Dice dice{1};
    std::map<std::string, std::vector<Version>> versions;
    Version survey;
    std::map<std::string, Values> labels;
    std::string bytes;
};

TEST_F(DamagedStore, givesWhatIsSoundAndNamesTheRest) {
    const int all = readBytes(bytes);
    ASSERT_EQ(all, int(Fragments * (versions["Classification"].size() + versions["Mask"].size())));
    int opened = 0, whole = 0, some = 0;
    const auto count = [&](int sound) {
        opened += sound >= 0;
        whole += sound == all;
        some += sound > 0 && sound < all;
    };
    for (std::size_t i = 0; i < 100; ++i) { // the database's own head
        std::string flipped = bytes;
        flipped[i] = char(flipped[i] ^ (1 + dice.below(255)));
        count(readBytes(flipped));
    }
    constexpr int Rounds = 300;
    for (int i = 0; i < Rounds; ++i) {
        std::string flipped = bytes;
        char& byte = flipped[100 + dice.below(bytes.size() - 100)];
        byte = char(byte ^ (1 + dice.below(255)));
        SCOPED_TRACE(&byte - flipped.data());
        count(readBytes(flipped));
    }
    EXPECT_GT(whole, Rounds / 10); // where nothing lies, or nothing that values need
    EXPECT_GT(some, Rounds / 10);
    EXPECT_GT(opened, Rounds / 2);
    for (int i = 0; i < 50; ++i) EXPECT_LT(readBytes(bytes.substr(0, dice.below(bytes.size()))), all);
}

TEST_F(DamagedStore, namesTheChangeThatIsDamaged) {
    EditStore sound(path, EditStore::Access::Read);
    const auto steps = sound.steps("Classification");
    std::size_t place = 0, step = 0; // of a change in the file
    std::uint32_t fragment = 0;
    for (step = 1; step < steps.size() && place == 0; ++step) {
        for (fragment = 0; fragment < Fragments && place == 0; ++fragment) {
            const auto change = sound.changeBetween("Classification", fragment, steps[step - 1].id, steps[step].id);
            const auto coded = change->encode();
            if (coded.size() > 200) place = bytes.find(std::string(reinterpret_cast<const char*>(&coded[100]), 50));
        }
    }
    --step, --fragment;
    ASSERT_LT(place, bytes.size());
    sound.close();
    bytes[place] ^= 1;
    write(path, bytes);

    EditStore store(path, EditStore::Access::Write); // its list of steps is sound
    const auto damage = store.check();
    ASSERT_EQ(damage.size(), 1u);
    EXPECT_EQ(damage[0].field, "Classification");
    EXPECT_EQ(damage[0].step, steps[step].id);
    EXPECT_EQ(damage[0].fragment, fragment);
    EXPECT_TRUE(holds(damage[0].sentence, fmt::format("fragment {}, step {}", fragment, steps[step].id)));
    Values values = survey[fragment];
    EXPECT_THROW(store.valuesOf("Classification", fragment, steps[step].id, values), Failure);
    store.valuesOf("Classification", fragment, steps[step - 1].id, values = survey[fragment]);
    EXPECT_EQ(values, versions["Classification"][step][fragment]);
}

TEST_F(DamagedStore, ofANewerVersionIsLeftAlone) {
    runSql("PRAGMA user_version = 2");
    for (const auto access : {EditStore::Access::Read, EditStore::Access::Write})
        EXPECT_TRUE(holds(refusal(access), "an edit store of version 2, and this program knows those up to 1"));
}

TEST_F(DamagedStore, ofAnotherProgramIsLeftAlone) {
    runSql("CREATE TRIGGER surprise AFTER INSERT ON steps BEGIN DELETE FROM changes; END");
    EXPECT_TRUE(holds(refusal(EditStore::Access::Write), "trigger \"surprise\""));
    runSql("DROP TRIGGER surprise; PRAGMA application_id = 1");
    EXPECT_TRUE(holds(refusal(EditStore::Access::Write), "a database of another program"));
    write(path, "an XYZ file of some kind, which is much longer than what a database begins with");
    EXPECT_TRUE(holds(refusal(EditStore::Access::Write), "is damaged or no edit store"));
    EXPECT_TRUE(holds(messageOf<Failure>([&] { EditStore::create(path, {}); }), "is damaged or no edit store"));
    write(path, "");
    EXPECT_TRUE(holds(refusal(), "is no edit store"));
    EXPECT_FALSE(EditStore::exists(path));
}

/// As somebody who may not write to the folder, for as long as it lives.
class Stranger {
public:
    explicit Stranger(const std::string& folder) : folder_(folder), user_(geteuid()) {
        chmod(folder_.c_str(), 0555);
        if (user_ == 0) done_ = seteuid(65534) == 0;
    }
    ~Stranger() {
        if (user_ == 0) done_ = seteuid(0) == 0;
        chmod(folder_.c_str(), 0755);
    }

private:
    std::string folder_;
    uid_t user_;
    bool done_ = true;
};

TEST_F(DamagedStore, isReadWhereNothingMayBeWritten) {
    chmod(path.c_str(), 0444);
    const auto before = folder.contents();
    {
        const Stranger stranger(folder / "");
        EXPECT_GT(read(EditStore(path, EditStore::Access::Read)), 0);
        const std::string message = messageOf<Failure>([&] { EditStore store(path, EditStore::Access::Write); });
        EXPECT_TRUE(holds(message, "cannot be written") && holds(message, "Permission denied")) << message;
        EXPECT_THROW(EditStore::create(folder / "another.edits", {}), Failure);
        EXPECT_THROW(EditStore::remove(path), Failure);
    }
    EXPECT_EQ(folder.contents(), before);
    EditStore store(path, EditStore::Access::Read);
    EXPECT_FALSE(store.mayWrite());
    EXPECT_TRUE(holds(messageOf<Failure>([&] { store.commit({}); }), "was opened for reading"));
}

} // namespace
} // namespace corvane::test
