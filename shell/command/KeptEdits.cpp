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
    if (options.edits.rebind && access == EditStore::Access::Write) {
        CommandSession session(options);
        EditedSurvey edited = session.openToEdit(survey); // compares the values
        edited.keeper->commit("{}");
        edited.keeper->close();
    }
    EditStore store(path, access);
    requireSameSurvey(store, identityOf(LasFile::open(survey)), survey, options.edits);
    return store;
}

std::string timeText(std::int64_t time) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time_t(time)));
}

} // namespace corvane
