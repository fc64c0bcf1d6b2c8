// SPDX-License-Identifier: Apache-2.0
#include "session/SurveyEdits.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "session/InPlaceSaving.hpp"
#include "session/OpenSaving.hpp"

#include <fmt/format.h>

namespace corvane {

std::string editStorePath(const std::string& survey, const EditStoreOptions& options) {
    return options.path.empty() ? survey + ".edits" : options.path;
}

void checkMayWriteSurvey(const std::string& path, bool overwrite) {
    checkMayWrite(path, overwrite);
    if (const std::string store = editStorePath(path, {}); EditStore::exists(store))
        throw Failure(fmt::format(
            "{}: edits of this survey are kept in {}, and would belong to nothing once another "
            "file is in its place. Write to another name, write them into it with corvane save --in-place, or "
            "forget them with corvane discard.",
            path, store));
}

void requireSameSurvey(const EditStore& store, const LasFile& las, const EditStoreOptions& options) {
    const std::string& survey = las.file->path();
    const SurveyIdentity known = store.identity(), now = identityOf(las);
    const auto saving = findOpenSaving(store);
    if (sameHead(known, now) || (saving && (saving->mayHaveMade(now) || saving->isWritingTo(las, known)))) return;
    if (saving)
        throw Failure(fmt::format("{}: says that a saving of {} was not completed, and that file is another one now. "
                                  "Put back the file that was saved, or give --original to see this one, or forget the "
                                  "edits with corvane discard.",
                                  store.path(), survey));
    if (options.rebind) return;
    throw Failure(fmt::format("{}: keeps edits of another survey than {} is now: the {} differs. Give --original to "
                              "see the file without edits, or --rebind when its points are still the same ones.",
                              store.path(), survey, known.size != now.size ? "size" : "head of the file"));
}

namespace {

/// Puts the edits into the survey, which was just opened.
EditedSurvey withEdits(const std::shared_ptr<const Survey>& survey, const std::shared_ptr<EditStore>& store,
                       const EditStoreOptions& options) {
    const SurveyIdentity identity = identityOf(survey->las());
    requireSameSurvey(*store, survey->las(), options);
    const bool halfSaved = findOpenSaving(*store).has_value();
    const auto rebound = store->identity() == identity || halfSaved ? std::nullopt : std::optional(identity);
    EditedSurvey edited{survey, std::make_unique<EditKeeper>(survey, store, rebound, options.history)};
    if (halfSaved) edited.keeper->expectHalfSaved();
    return edited;
}

/// What is being written into the file of this survey; null for nothing.
std::shared_ptr<const FileRuns> runsFor(const Survey& survey, const EditStore& store) {
    const auto saving = findOpenSaving(store);
    return saving && saving->isWritingTo(survey.las(), store.identity()) ? saving->runs : nullptr;
}

/// Who wants the file without edits gets it, unless it is being changed: then there is no such file any more.
bool showsOriginal(const Survey& survey, const std::string& storePath, const Note& note) {
    try {
        const EditStore store(storePath, EditStore::Access::Read);
        return runsFor(survey, store) == nullptr;
    } catch (const Failure& failure) {
        note(fmt::format("{} So nobody knows whether a saving of {} is open; it is shown as it is.", failure.what(),
                         survey.path()));
        return true;
    }
}

std::string shownText(const std::string& path, const EditStore& store, bool saving) {
    if (saving)
        return fmt::format("{}: a saving in place is not complete; the survey is shown as it will be, and the next "
                           "command that may write to it or to its edits completes it.",
                           path);
    std::size_t done = 0;
    for (const StoredStep& step : store.steps()) done += step.done;
    return fmt::format("{}: is shown with its edits in {}: {} step{} that can be undone. --original shows the file.",
                       path, store.path(), done, done == 1 ? "" : "s");
}

EditStore storeFor(const Survey& survey, const std::string& path) {
    if (EditStore::exists(path)) return EditStore(path, EditStore::Access::Write);
    try {
        return EditStore::create(path, identityOf(survey.las()));
    } catch (const StoreHeld&) {
        throw;
    } catch (const Failure& failure) {
        throw NoStore(failure.what());
    }
}

} // namespace

EditedSurvey openToEdit(const std::string& path, const SurveyOptions& how, const EditStoreOptions& options,
                        const Watch& watch, const Note& note) {
    const std::string storePath = editStorePath(path, options);
    auto survey = std::make_shared<const Survey>(path, how);
    auto store = std::make_shared<EditStore>(storeFor(*survey, storePath));
    if (findOpenSaving(*store)) {
        store->close();
        survey.reset(); // which would not let it be written to
        if (const std::string done = completeSaving(path, storePath, how, watch); !done.empty()) note(done);
        survey = std::make_shared<const Survey>(path, how);
        store = std::make_shared<EditStore>(storePath, EditStore::Access::Write);
    }
    return withEdits(survey, store, options);
}

std::shared_ptr<const Survey> openWithEdits(const std::string& path, const SurveyOptions& how,
                                            const EditStoreOptions& options, const Note& note) {
    const auto survey = std::make_shared<const Survey>(path, how);
    const std::string storePath = editStorePath(path, options);
    if (!EditStore::exists(storePath)) return survey;
    if (how.reading == Reading::Sound) {
        if (!options.original)
            note(fmt::format("{}: is damaged, and is shown without the edits that {} keeps.", path, storePath));
        return survey;
    }
    if (options.original && showsOriginal(*survey, storePath, note)) return survey;
    const auto store = std::make_shared<EditStore>(storePath, EditStore::Access::Read);
    SurveyOptions overlaid = how;
    overlaid.overlay = runsFor(*survey, *store);
    const bool saving = overlaid.overlay != nullptr;
    const EditedSurvey edited =
        withEdits(saving ? std::make_shared<const Survey>(path, overlaid) : survey, store, options);
    for (const StoreDamage& damage : store->damage()) note(damage.sentence);
    note(shownText(path, *store, saving));
    return edited.survey;
}

} // namespace corvane
