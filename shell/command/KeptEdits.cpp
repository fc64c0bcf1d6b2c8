// SPDX-License-Identifier: Apache-2.0
#include "command/KeptEdits.hpp"

#include <ctime>
#include <fmt/chrono.h>

namespace corvane {

EditStore openEdits(const GlobalOptions& options, const std::string& survey, EditStore::Access access) {
    const std::string path = editStorePath(survey, options.edits);
    if (!EditStore::exists(path))
        throw Failure(fmt::format("{}: no edits are kept of this survey: there is no {}. `corvane edit` makes some.",
                                  survey, path));
    EditStore store(path, access);
    const SurveyIdentity now = identityOf(LasFile::open(survey)), known = store.identity();
    if (now.size != known.size || now.headChecksum != known.headChecksum)
        throw Failure(fmt::format("{}: keeps edits of another survey than {} is now.", path, survey));
    return store;
}

std::string timeText(std::int64_t time) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time_t(time)));
}

} // namespace corvane
