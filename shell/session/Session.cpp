// SPDX-License-Identifier: Apache-2.0
#include "session/Session.hpp"

#include "base/Failure.hpp"
#include "survey/SurveySaver.hpp"

#include <fmt/format.h>

namespace corvane {

Session::Session(SessionOptions options)
    : options_(std::move(options)), plugin_(options_.pluginPath.empty() ? findPlugin() : options_.pluginPath) {}

std::shared_ptr<const Survey> Session::open(const std::string& path, std::size_t usualMemory, Reading reading) const {
    SurveyOptions options;
    options.memoryBytes = options_.memoryBytes.value_or(usualMemory);
    options.reading = reading;
    return openWithEdits(path, options, options_.edits, options_.note);
}

EditedSurvey Session::openToEdit(const std::string& path, const std::string& store) const {
    if (options_.edits.original)
        throw UsageError(
            fmt::format("--original: {} is to be edited, and what was edited before cannot be left out.", path));
    SurveyOptions options;
    if (options_.memoryBytes) options.memoryBytes = *options_.memoryBytes;
    EditStoreOptions edits = options_.edits;
    if (!store.empty()) edits.path = store;
    return corvane::openToEdit(path, options, edits, options_.watch, options_.note);
}

std::vector<std::string> Session::save(const Survey& survey, const std::string& path, bool overwrite,
                                       const Kesh::LabelSet* labels) const {
    checkMayWriteSurvey(path, overwrite);
    return saveSurvey(survey, path, {overwrite, labels, options_.watch});
}

} // namespace corvane
