// SPDX-License-Identifier: Apache-2.0
#include "session/SurveyEdits.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "store/Checksum.hpp"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sys/stat.h>

namespace corvane {
namespace {

bool samePoints(const SurveyIdentity& a, const SurveyIdentity& b) {
    return a.size == b.size && a.headChecksum == b.headChecksum;
}

} // namespace

std::string editStorePath(const std::string& survey, const EditStoreOptions& options) {
    return options.path.empty() ? survey + ".edits" : options.path;
}

SurveyIdentity identityOf(const LasFile& las) {
    struct stat state {};
    if (fstat(las.file->descriptor(), &state) != 0)
        throw Failure(fmt::format("{}: its time cannot be read: {}.", las.file->path(), std::strerror(errno)));
    std::vector<std::byte> head(las.storedHeader().offsetToPoints);
    las.file->read(0, head);
    std::uint32_t checksum = crc32Of(head);
    if (const LazBlock* block = las.compression())
        for (const LazChunk& chunk : block->chunks) {
            const std::array numbers = {chunk.points, chunk.offset, chunk.bytes};
            checksum = crc32Of(std::as_bytes(std::span(numbers)), checksum);
        }
    constexpr std::int64_t Second = 1'000'000'000; // in nanoseconds
    return {las.file->size(), checksum, state.st_mtim.tv_sec * Second + state.st_mtim.tv_nsec};
}

void checkMayWriteSurvey(const std::string& path, bool overwrite) {
    checkMayWrite(path, overwrite);
    if (const std::string store = editStorePath(path, {}); EditStore::exists(store))
        throw Failure(fmt::format("{}: edits of this survey are kept in {}, and would belong to nothing once another "
                                  "file is in its place. Write to another name, or forget them with corvane discard.",
                                  path, store));
}

void requireSameSurvey(const EditStore& store, const SurveyIdentity& now, const std::string& survey,
                       const EditStoreOptions& options) {
    const SurveyIdentity known = store.identity();
    if (samePoints(known, now) || options.rebind) return;
    throw Failure(fmt::format("{}: keeps edits of another survey than {} is now: the {} differs. Give --original to "
                              "see the file without edits, or --rebind when its points are still the same ones.",
                              store.path(), survey, known.size != now.size ? "size" : "head of the file"));
}

EditedSurvey withEdits(const std::shared_ptr<const Survey>& survey, EditStore::Access access,
                       const EditStoreOptions& options) {
    EditedSurvey edited{survey, nullptr};
    const std::string path = editStorePath(survey->path(), options);
    const bool exists = EditStore::exists(path);
    if (options.original || (!exists && access == EditStore::Access::Read)) return edited;
    const SurveyIdentity identity = identityOf(survey->las());
    auto store = std::make_shared<EditStore>(exists ? EditStore(path, access) : EditStore::create(path, identity));
    requireSameSurvey(*store, identity, survey->path(), options);
    const auto rebound = store->identity() == identity ? std::nullopt : std::optional(identity);
    edited.keeper = std::make_unique<EditKeeper>(survey, std::move(store), rebound);
    return edited;
}

std::shared_ptr<const Survey> openWithEdits(const std::string& path, const SurveyOptions& how,
                                            const EditStoreOptions& options,
                                            const std::function<void(const std::string&)>& note) {
    const auto survey = std::make_shared<const Survey>(path, how);
    if (how.reading == Reading::Sound) {
        if (!options.original && EditStore::exists(editStorePath(path, options)))
            note(fmt::format("{}: is damaged, and is shown without the edits that {} keeps.", path,
                             editStorePath(path, options)));
        return survey;
    }
    const EditedSurvey edited = withEdits(survey, EditStore::Access::Read, options);
    if (!edited.keeper) return survey;
    for (const StoreDamage& damage : edited.keeper->store().damage()) note(damage.sentence);
    std::size_t done = 0;
    for (const StoredStep& step : edited.keeper->store().steps()) done += step.done;
    note(fmt::format("{}: is shown with its edits in {}: {} step{} that can be undone. --original shows the file.",
                     path, edited.keeper->store().path(), done, done == 1 ? "" : "s"));
    return survey;
}

} // namespace corvane
