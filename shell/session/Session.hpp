// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "base/Watch.hpp"
#include "plugin/Plugin.hpp"
#include "session/SurveyEdits.hpp"
#include "survey/Survey.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

struct SessionOptions {
    std::string pluginPath;                 ///< empty: the one that belongs to the program
    std::optional<std::size_t> memoryBytes; ///< for the points of a survey; none: as the survey's default
    Watch watch;                            ///< of everything that takes time
    EditStoreOptions edits = {};
    Note note = [](const std::string&) {};
};

/// What every face of the program works with: the plug-in and the way to surveys. Prints nothing and takes no signal.
/// Lives longer than everything that the plug-in makes.
class Session {
public:
    explicit Session(SessionOptions options);

    /// Opens a survey with the edits that are kept of it; what is wrong with it stands in its warnings. Without a size
    /// in the options it may take `usualMemory`, in bytes.
    std::shared_ptr<const Survey> open(const std::string& path, std::size_t usualMemory = SurveyOptions().memoryBytes,
                                       Reading reading = Reading::Whole) const;

    /// The same to edit it: what is done is kept in the edit store when the keeper is told to. With a path of a store
    /// in that one, and not where the options have it.
    EditedSurvey openToEdit(const std::string& path, const std::string& store = {}) const;

    /// Saves the survey as it is now, with the labels, if there are any, in its Classification Lookup. A file that
    /// exists is replaced only with `overwrite`. Returns what could not be kept as it was: finished sentences, without
    /// the path.
    std::vector<std::string> save(const Survey& survey, const std::string& path, bool overwrite,
                                  const Kesh::LabelSet* labels = nullptr) const;

    const Watch& watch() const { return options_.watch; }

private:
    SessionOptions options_;
    Plugin plugin_;
};

} // namespace corvane
