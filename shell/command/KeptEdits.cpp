// SPDX-License-Identifier: Apache-2.0
#include "command/KeptEdits.hpp"

#include "session/InPlaceSaving.hpp"
#include "session/OpenSaving.hpp"

#include <fmt/format.h>

namespace corvane {

void requireEdits(const GlobalOptions& options, const std::string& survey) {
    const std::string path = editStorePath(survey, options.edits);
    if (!EditStore::exists(path))
        throw Failure(fmt::format("{}: no edits are kept of this survey: there is no {}. `corvane edit` makes some.",
                                  survey, path));
}

void completeOpenSaving(const GlobalOptions& options, const std::string& survey) {
    Terminal terminal(options.quiet);
    const std::string sentence = completeSaving(survey, editStorePath(survey, options.edits), {}, terminal.watch());
    terminal.clearBar();
    if (!sentence.empty()) terminal.note(sentence);
}

EditStore openEdits(const GlobalOptions& options, const std::string& survey, EditStore::Access access) {
    requireEdits(options, survey);
    if (options.edits.rebind && access == EditStore::Access::Write) {
        CommandSession session(options);
        EditedSurvey edited = session.openToEdit(survey); // compares the values
        edited.keeper->commit("{}");
        edited.keeper->close();
    }
    EditStore store(editStorePath(survey, options.edits), access);
    requireSameSurvey(store, LasFile::open(survey), options.edits);
    if (access == EditStore::Access::Read || !findOpenSaving(store)) return store;
    store.close();
    completeOpenSaving(options, survey);
    return openEdits(options, survey, access);
}

} // namespace corvane
