// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "base/OutputFile.hpp"
#include "network/NetworkFile.hpp"
#include "network/Progress.hpp"
#include "plugin/Plugin.hpp"
#include "polygon/Polygons.hpp"
#include "survey/Survey.hpp"

#include <memory>
#include <string>

namespace corvane {

/// Options that every command has.
struct GlobalOptions {
    bool quiet = false;
    int verbosity = 0;
    std::string pluginPath; ///< empty: found by itself
    std::string memory;     ///< as given, e.g. "256M"; empty: as the survey's default
};

/// Bytes that a text such as "256M" or "1.5G" says. Throws UsageError.
std::size_t parseMemory(const std::string& text);

/// Polygons that no point of the survey can lie in.
struct Miss {
    std::string sentence; ///< that says so; empty when some point may
    bool degrees = false; ///< because they are in other coordinates
};
Miss missOf(const Survey& survey, const PolygonSet& polygons);

/// What a command works with: the plug-in and the way to a survey. Lives longer than everything that the plug-in makes.
class Session {
public:
    explicit Session(const GlobalOptions& options);

    /// Opens a survey, printing what is wrong with it. Without --memory it may take as much as `usualMemory`, in bytes.
    std::shared_ptr<const Survey> open(const std::string& path,
                                       std::size_t usualMemory = SurveyOptions().memoryBytes) const;

    /// Saves, with a progress bar; the labels too, if there are any.
    void save(const Survey& survey, const std::string& path, bool overwrite,
              const Kesh::LabelSet* labels = nullptr) const;

    /// Prints what was found to be wrong with the survey while it was worked on.
    void printLateWarnings(const Survey& survey) const;

    void warn(const std::string& sentence) const {
        if (!options_.quiet) printWarning(sentence);
    }

    bool quiet() const { return options_.quiet; }

private:
    GlobalOptions options_;
    Holdfast::StrongPtr<Progress> progress_;
    Plugin plugin_;
};

} // namespace corvane
