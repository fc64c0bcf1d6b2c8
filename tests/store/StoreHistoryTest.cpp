// SPDX-License-Identifier: Apache-2.0
// Random work on a store beside a plain model that keeps all values of all versions.
#include "../support/Files.hpp"
#include "../support/Messages.hpp"
#include "RandomValues.hpp"
#include "store/EditStore.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace corvane::test {
namespace {

constexpr std::uint32_t Fragments = 4;
constexpr std::size_t Points[Fragments] = {1, 70, 300, 1000};
const SurveyIdentity Identity{12345, 0xFEDCBA9876543210, -5};

using Fragment = std::uint32_t;
using Version = std::vector<Values>; // by fragment

/// A field with every version that it had.
struct Model {
    int width = 1;
    Origin origin = Origin::Survey;
    Version survey{};                // what is read from the file
    std::vector<Version> versions{}; // one more than steps
    std::vector<StepId> steps{};
    std::vector<std::set<Fragment>> changed{}; // by step
    std::size_t present = 0;
    std::map<std::string, Values> attributes{};

    StepId version(std::size_t place) const { return place == 0 ? Beginning : steps[place - 1]; }

    /// Only what lies between two places stays.
    void keep(std::size_t low, std::size_t high) {
        versions = {versions.begin() + std::ptrdiff_t(low), versions.begin() + std::ptrdiff_t(high) + 1};
        steps = {steps.begin() + std::ptrdiff_t(low), steps.begin() + std::ptrdiff_t(high)};
        changed = {changed.begin() + std::ptrdiff_t(low), changed.begin() + std::ptrdiff_t(high)};
        present -= low;
    }
};

class StoreHistory : public testing::TestWithParam<bool> {
protected:
    void begin(const std::string& name, int width, Origin origin, Commit& commit) {
        Model& model = models[name];
        model = {.width = width, .origin = origin};
        for (const std::size_t points : Points)
            model.survey.push_back(origin == Origin::Zeros ? Values(points * std::size_t(width))
                                                           : randomValues(dice, points, width));
        model.versions = {model.survey};
        commit.begun.push_back({.name = name, .width = width, .origin = origin});
    }

    std::string anyField() { return std::next(models.begin(), std::ptrdiff_t(dice.below(models.size())))->first; }

    Version randomlyEdited(const Model& model, std::set<Fragment>& changed) {
        Version edited = model.versions[model.present];
        for (Fragment i = 0; i < Fragments; ++i) {
            if (!dice.oneIn(2)) continue;
            edited[i] = randomlyChanged(dice, edited[i], model.width);
            changed.insert(i); // even when nothing differs
        }
        return edited;
    }

    static std::vector<ChangedFragment> changes(int width, const Version& from, const Version& to,
                                                const std::set<Fragment>& changed) {
        std::vector<ChangedFragment> changes;
        for (auto i = changed.rbegin(); i != changed.rend(); ++i)
            changes.push_back({*i, FragmentChange::between(width, from[*i], to[*i])});
        return changes;
    }

    void edit() {
        Commit commit;
        std::vector<std::string> names;
        for (const auto& [name, model] : models)
            if (names.empty() || dice.oneIn(2)) names.push_back(name);
        commit.update = {std::int64_t(dice.below(1000)), fmt::format("[\"action {}\"]", dice.below(1000))};
        for (const auto& name : names) {
            Model& model = models[name];
            model.keep(0, model.present);
            std::set<Fragment> changed;
            const Version edited = randomlyEdited(model, changed);
            commit.steps.push_back({name, 7, "Edit/Something", "value=6", changed.size(),
                                    changes(model.width, model.versions.back(), edited, changed)});
            model.versions.push_back(edited);
            model.changed.push_back(changed);
            ++model.present;
        }
        const Committed committed = store->commit(commit);
        ASSERT_EQ(committed.steps.size(), names.size());
        for (std::size_t i = 0; i < names.size(); ++i) models[names[i]].steps.push_back(committed.steps[i]);
        actions[committed.update] = commit.update->actions;
    }

    void undoAndRedo() {
        Commit commit;
        Model& model = models[anyField()];
        for (std::size_t n = dice.below(4); n > 0 && model.present > 0; --n)
            commit.undone.push_back(model.steps[--model.present]);
        for (std::size_t n = dice.below(4); n > 0 && model.present < model.steps.size(); --n)
            commit.redone.push_back(model.steps[model.present++]);
        store->commit(commit);
    }

    void dropSteps() {
        Commit commit;
        Model& model = models[anyField()];
        const bool all = dice.oneIn(3);
        const std::size_t low = all ? model.present : dice.below(model.present + 1);
        const std::size_t high =
            all ? model.present : model.steps.size() - dice.below(model.steps.size() - model.present + 1);
        for (std::size_t i = 0; i < model.steps.size(); ++i)
            if (i < low || i >= high) commit.gone.push_back(model.steps[i]);
        model.keep(low, high);
        store->commit(commit);
    }

    void amend() {
        const std::string name = anyField();
        Model& model = models[name];
        std::set<Fragment> changed;
        const Version edited = randomlyEdited(model, changed);
        Commit commit;
        commit.amended.push_back({name, changes(model.width, model.versions[model.present], edited, changed)});
        for (const Fragment i : changed) {
            for (std::size_t place = model.present + 1; place < model.versions.size(); ++place) {
                if (model.changed[place - 1].contains(i)) break;
                model.versions[place][i] = edited[i];
            }
            for (std::size_t place = model.present;; --place) {
                model.versions[place][i] = edited[i];
                if (place == 0 || model.changed[place - 1].contains(i)) break;
            }
        }
        store->commit(commit);
    }

    void save() {
        Commit commit;
        commit.identity = Identity;
        for (auto& [name, model] : models) {
            if (model.origin != Origin::Survey) continue;
            model.survey = model.versions[model.present];
            commit.saved.push_back(name);
        }
        store->commit(commit);
    }

    void endMaskAndBeginAnew() {
        Commit commit;
        if (models.contains("Mask")) commit.ended.push_back("Mask");
        models.erase("Mask");
        if (dice.oneIn(2)) begin("Mask", 1, Origin::Zeros, commit);
        store->commit(commit);
    }

    void setAttribute() {
        const std::string name = anyField(), key = fmt::format("labels {}", dice.below(3));
        Commit commit;
        commit.attributes.push_back({name, {key, std::nullopt}});
        if (dice.oneIn(3))
            models[name].attributes.erase(key);
        else
            commit.attributes[0].value.bytes = models[name].attributes[key] = randomValues(dice, dice.below(100), 1);
        store->commit(commit);
    }

    /// Of one value, which is enough to tell versions apart.
    static FragmentCounts countsOf(const std::string& name, const Model& model, Fragment i) {
        const Values& values = model.versions[model.present][i];
        return {name, i, {{5, std::uint64_t(std::ranges::count(values, std::byte{5}))}, {300, values.size()}}};
    }

    void countFragments() {
        const std::string name = anyField();
        Commit commit;
        for (Fragment i = 0; i < Fragments; ++i)
            if (dice.oneIn(2)) commit.counts.push_back(countsOf(name, models[name], i));
        store->commit(commit);
        const auto known = store->counts(name);
        for (const auto& given : commit.counts)
            EXPECT_EQ(std::ranges::count(known, given.fragment, &FragmentCounts::fragment), 1);
    }

    /// What is refused leaves everything as it was, also what the commit would have done before.
    void failToCommit() {
        Commit commit;
        const std::string name = anyField();
        begin("Another", 2, Origin::Zeros, commit);
        models.erase("Another");
        commit.update = {1, "[]"};
        commit.steps.push_back({name, 0, "", "", 0, {{0, FragmentChange(models[name].width, 1)}}});
        commit.steps.push_back({name, 0, "", "", 0, {{0, FragmentChange(3 - models[name].width, 1)}}});
        EXPECT_THROW(store->commit(commit), Failure);
    }

    void reopen() {
        store->close();
        store.emplace(path, EditStore::Access::Write, options);
    }

    void compare(const EditStore& seen) {
        std::map<StepId, UpdateId> expectedUpdates;
        ASSERT_EQ(seen.fields().size(), models.size());
        for (const auto& [name, model] : models) {
            SCOPED_TRACE(name);
            ASSERT_EQ(seen.findField(name)->present, model.version(model.present));
            const auto steps = seen.steps(name);
            ASSERT_EQ(steps.size(), model.steps.size());
            for (std::size_t i = 0; i < steps.size(); ++i) {
                ASSERT_EQ(steps[i].id, model.steps[i]);
                ASSERT_EQ(steps[i].done, i < model.present);
                ASSERT_EQ(seen.fragmentsOf(steps[i].id),
                          std::vector<Fragment>(model.changed[i].begin(), model.changed[i].end()));
                ASSERT_EQ(seen.actions(steps[i].update), actions[steps[i].update]);
            }
            ASSERT_EQ(seen.attributes(name), model.attributes);
            for (const auto& counts : seen.counts(name))
                ASSERT_EQ(counts.counts, countsOf(name, model, counts.fragment).counts)
                    << "fragment " << counts.fragment;
            compareValues(seen, name, model);
        }
        std::size_t steps = 0;
        for (const auto& update : seen.updates()) {
            EXPECT_FALSE(update.steps.empty());
            steps += update.steps.size();
        }
        ASSERT_EQ(steps, seen.steps().size());
    }

    /// One version, and now and then all of them.
    void compareValues(const EditStore& seen, const std::string& name, const Model& model) {
        const auto changed = seen.changedFragments(name);
        const bool all = dice.oneIn(5);
        const std::size_t first = all ? 0 : dice.below(model.versions.size());
        for (std::size_t place = first; place < (all ? model.versions.size() : first + 1); ++place) {
            const std::size_t other = dice.below(model.versions.size());
            for (Fragment i = 0; i < Fragments; ++i) {
                Values values =
                    model.origin == Origin::Survey ? model.survey[i] : Values(model.survey[i].size(), std::byte{9});
                seen.valuesOf(name, i, model.version(place), values);
                ASSERT_EQ(values, model.versions[place][i]) << "place " << place << ", fragment " << i;
                const bool untouched = !std::ranges::binary_search(changed, i);
                ASSERT_TRUE(!untouched || values == model.survey[i] || model.origin == Origin::Zeros);
                const auto way = seen.changeBetween(name, i, model.version(place), model.version(other));
                ASSERT_FALSE(way && way->apply(values));
                ASSERT_EQ(values, model.versions[other][i]);
                compareHalfSaved(seen, name, model, place, i);
            }
        }
    }

    /// A survey into which a part of the present was written.
    void compareHalfSaved(const EditStore& seen, const std::string& name, const Model& model, std::size_t place,
                          Fragment i) {
        if (model.origin != Origin::Survey) return;
        Values values = model.versions[model.present][i];
        const std::size_t written = dice.below(Points[i] + 1) * std::size_t(model.width);
        std::copy(model.survey[i].begin() + std::ptrdiff_t(written), model.survey[i].end(),
                  values.begin() + std::ptrdiff_t(written));
        seen.valuesOf(name, i, model.version(place), values, true);
        ASSERT_EQ(values, model.versions[place][i]);
    }

    void work(int operations) {
        for (int i = 0; i < operations; ++i) {
            SCOPED_TRACE(fmt::format("operation {}", i));
            const std::size_t choice = dice.below(23);
            choice < 8    ? edit()
            : choice < 13 ? undoAndRedo()
            : choice < 15 ? dropSteps()
            : choice < 16 ? amend()
            : choice < 17 ? save()
            : choice < 18 ? (dice.oneIn(2) ? endMaskAndBeginAnew() : setAttribute())
            : choice < 19 ? failToCommit()
            : choice < 20 ? reopen()
                          : countFragments();
            if (dice.oneIn(3)) store->tidy();
            compare(*store);
            if (HasFatalFailure()) return;
        }
    }

    const Folder folder;
    const std::string path = folder / "survey.las.edits";
    const EditStore::Options options = {.sync = false, .log = GetParam(), .changesPerSummary = 3};
    std::map<std::string, Model> models;
    std::map<UpdateId, std::string> actions;
    Dice dice{1};
    std::optional<EditStore> store;
};

TEST_P(StoreHistory, agreesWithAPlainModel) {
    for (unsigned seed = 0; seed < 6; ++seed) {
        SCOPED_TRACE(fmt::format("seed {}", seed));
        dice = Dice(seed);
        store.emplace(EditStore::create(path, Identity, options));
        models.clear();
        Commit commit;
        begin("Classification", 1, Origin::Survey, commit);
        begin("Intensity", 2, Origin::Survey, commit);
        begin("Mask", 1, Origin::Zeros, commit);
        store->commit(commit);
        work(120);
        if (HasFatalFailure()) return;
        EXPECT_EQ(store->check().size(), 0u);
        store->close();
        compare(EditStore(path, EditStore::Access::Read));
        EXPECT_EQ(folder.contents().size(), 1u); // one file, which can be copied by itself
        store.reset();
        EditStore::remove(path);
        EXPECT_EQ(folder.contents().size(), 0u);
    }
}

TEST_P(StoreHistory, keepsWhatElseIsGiven) {
    Commit commit;
    commit.boxes = {{7, {1, 2, 3, 4, 5, 6.5}}, {3, {0, 0, 0, 1e300, -1, 0}}};
    commit.entries = {{"saving", Values{}}, {"gone", Values(3)}, {"\xFF\0!", Values(5)}};
    store.emplace(EditStore::create(path, Identity, options));
    store->commit(commit);
    Commit removal;
    removal.entries = {{"gone", std::nullopt}, {"never there", std::nullopt}};
    store->commit(removal);
    reopen();
    ASSERT_EQ(store->boxes().size(), 2u);
    EXPECT_EQ(store->boxes()[0].fragment, 3u);
    EXPECT_EQ(store->boxes()[1].box, commit.boxes[0].box);
    EXPECT_EQ(store->entry("saving"), Values{});
    EXPECT_EQ(store->entry(commit.entries[2].name), Values(5));
    EXPECT_FALSE(store->entry("gone"));
    Commit another;
    another.identity = SurveyIdentity{1, 2, 3};
    another.pointsMayDiffer = true;
    store->commit(another);
    EXPECT_EQ(store->identity(), (SurveyIdentity{1, 2, 3}));
    EXPECT_TRUE(store->boxes().empty());
}

TEST_P(StoreHistory, refusesVersionsThatVanishedAndKeepsThoseThatWereFolded) {
    store.emplace(EditStore::create(path, Identity, options));
    Commit commit;
    begin("Classification", 1, Origin::Survey, commit);
    store->commit(commit);
    Model& model = models["Classification"];
    edit(), edit(), edit();
    const Model whole = model;
    store->commit({.undone = {model.steps[2]}});
    store->commit({.gone = {model.steps[0], model.steps[2]}});
    Values values = model.survey[2];
    store->valuesOf("Classification", 2, whole.steps[0], values);
    EXPECT_EQ(values, whole.versions[1][2]);
    EXPECT_THROW(store->valuesOf("Classification", 2, whole.steps[2], values), Failure);
    EXPECT_THROW(store->commit({.undone = {whole.steps[0]}}), Failure);
    EXPECT_THROW(store->commit({.redone = {whole.steps[1]}}), Failure);
}

TEST_P(StoreHistory, refusesStepsFromTheMiddle) {
    store.emplace(EditStore::create(path, Identity, options));
    Commit commit;
    begin("Classification", 1, Origin::Survey, commit);
    store->commit(commit);
    edit(), edit(), edit();
    const auto& steps = models["Classification"].steps;
    EXPECT_THROW(store->commit({.gone = {steps[1]}}), Failure);
    EXPECT_THROW(store->commit({.gone = {steps[2]}}), Failure); // done, and not the oldest
    EXPECT_THROW(store->commit({.undone = {steps[1]}}), Failure);
    compare(*store);
}

TEST_P(StoreHistory, saysWhenTheSurveyIsAnother) {
    store.emplace(EditStore::create(path, Identity, options));
    Commit commit;
    begin("Classification", 1, Origin::Survey, commit);
    store->commit(commit);
    const Values before(1000, std::byte{2}), after(1000, std::byte{6});
    const auto step = store->commit(
        {.update = Commit::Update{1, "[]"},
         .steps = {{"Classification", 1, "", "", 1000, {{3, FragmentChange::between(1, before, after)}}}}});
    Values values(1000, std::byte{3});
    const std::string message =
        messageOf<Failure>([&] { store->valuesOf("Classification", 3, step.steps[0], values); });
    for (const char* part :
         {path.c_str(), "\"Classification\"", "fragment 3", "point 0 has the value 3 where 2 is expected"})
        EXPECT_TRUE(holds(message, part)) << message;
    Values fewer(999, std::byte{2});
    EXPECT_TRUE(holds(messageOf<Failure>([&] { store->valuesOf("Classification", 3, step.steps[0], fewer); }),
                      "1000 points where the survey has 999"));
}

TEST_P(StoreHistory, givesRoomBack) {
    store.emplace(EditStore::create(path, Identity, options));
    Commit commit;
    begin("Classification", 1, Origin::Survey, commit);
    store->commit(commit);
    for (int i = 0; i < 100; ++i) edit();
    reopen();
    const auto full = std::filesystem::file_size(path);
    store->commit({.gone = models["Classification"].steps});
    store->shrink();
    models["Classification"].keep(100, 100);
    compare(*store);
    store->close();
    EXPECT_LT(std::filesystem::file_size(path), full * 3 / 4);
}

INSTANTIATE_TEST_SUITE_P(Journals, StoreHistory, testing::Bool(),
                         [](const auto& log) { return log.param ? "WriteAheadLog" : "RollbackJournal"; });

} // namespace
} // namespace corvane::test
