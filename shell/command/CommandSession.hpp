// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Terminal.hpp"
#include "session/Session.hpp"

#include <array>
#include <string>

namespace corvane {

/// Options that every command has.
struct GlobalOptions {
    bool quiet = false;
    int verbosity = 0;
    std::string pluginPath; ///< empty: found by itself
    std::string memory;     ///< as given, e.g. "256M"; empty: as the survey's default
    EditStoreOptions edits;
};

/// Bytes that a text such as "256M" or "1.5G" says. Throws UsageError.
std::size_t parseMemory(const std::string& text);

/// Width and height of a picture, such as "1600x1000". Throws UsageError, naming the option.
std::array<int, 2> parseSize(const std::string& option, const std::string& text);

/// How surveys are opened, by whoever has no terminal; nobody watches.
SessionOptions sessionOptions(const GlobalOptions& options);

/// Opens a survey with the edits that are kept of it, for commands that read records and need no session.
std::shared_ptr<const Survey> openSurvey(const GlobalOptions& options, const std::string& path, Reading reading);

/// A session in front of a terminal: what it finds out is printed as warnings, how far it is as a bar.
class CommandSession {
public:
    explicit CommandSession(const GlobalOptions& options);

    /// As those of Session, printing what they return and what is wrong with the survey.
    std::shared_ptr<const Survey> open(const std::string& path, std::size_t usualMemory = SurveyOptions().memoryBytes,
                                       Reading reading = Reading::Whole);
    EditedSurvey openToEdit(const std::string& path);
    void save(const Survey& survey, const std::string& path, bool overwrite, const Kesh::LabelSet* labels = nullptr);

    /// Prints what was found to be wrong with the survey while it was worked on.
    void printLateWarnings(const Survey& survey);

    void warn(const std::string& sentence) { terminal_.warn(sentence); }
    void note(const std::string& sentence) { terminal_.note(sentence); }
    const Watch& watch() const { return session_.watch(); }

private:
    Terminal terminal_;
    Session session_;
};

} // namespace corvane
