// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Commands.hpp"
#include "command/LimitOptions.hpp"
#include "command/Output.hpp"
#include "network/Counting.hpp"
#include "network/Network.hpp"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What all commands take that edit a survey in one go.
struct EditArguments {
    std::string in, out, field = ClassificationName, expect, labels;
    LimitArguments limits;
    bool dryRun = false, overwrite = false, printNetwork = false, changedOnly = false;
    bool keep = false; ///< in the edit store, instead of saving
};

/// Adds the options, but for the files. `arguments` must live as long as the command.
void addEditOptions(CLI::App& command, EditArguments& arguments);

/// What became of a survey.
struct EditResult {
    struct Written {
        std::string path;
        std::uint64_t bytes;
        double seconds; ///< of saving
    };

    std::string file, field;
    std::uint64_t points = 0, changed = 0;
    ClassCounts before, after;
    std::optional<ClassTally> tally;    ///< of an edit by rules
    std::vector<std::string> ruleNames; ///< of the rules in the tally; empty: they have none
    std::string status;                 ///< in the words of the module
    std::string miss;                   ///< why no point was meant; nothing was written then
    std::optional<Written> written;
    std::string kept;     ///< where the edit is kept; empty: it is not
    Kesh::LabelSet names; ///< of the classes that occur
};

Json asJson(const EditResult& result);
void print(const EditResult& result);

/// An edit from the command line: a network with an object "points" that offers the field, connected to an object
/// "editor", which the command sets up and tells what to do, one action after the other. With --print-network nothing
/// is done, and the network is printed.
class SurveyEdit {
public:
    /// Checks the call and opens the survey.
    SurveyEdit(const GlobalOptions& options, const EditArguments& arguments);

    const Survey& survey() const { return *survey_; }
    const SurveyField& field() const { return field_; }
    Network& network() { return network_; }

    /// Adds the object "editor". Before anything else is done with it.
    void addEditor(const std::string& type);

    /// What --within and its like set; null when none was given.
    const Kesh::LimitPtr& limit() const { return limit_; }

    /// What --class-from gives.
    const std::vector<ClassFeature>& features() const { return limits_.features(); }

    /// Labels of --labels over the survey's own over the standard ones.
    const Kesh::LabelSet& labels() const { return labels_; }

    /// Draws into the editor's brush. Throws UsageError, naming the option, for a stroke that makes no sense.
    void draw(const Stroke& stroke);

    /// Does what was set up since the last time.
    void act();

    /// Saves the survey, with the labels if there are any, and says what has become of it; with --print-network nothing
    /// is said. Throws Failure, with nothing written, for another number of points than expected.
    std::optional<EditResult> finish(const Kesh::LabelSet* labels);

private:
    ClassCounts counts() const;
    EditedSurvey open();
    std::string missText(const EditResult& result) const;
    void save(EditResult& result, const Kesh::LabelSet* labels);

    const EditArguments& arguments_;
    CallLimits limits_;
    CommandSession session_;
    EditedSurvey edited_;
    std::shared_ptr<const Survey> survey_;
    const SurveyField& field_;
    Kesh::LabelSet labels_;
    Kesh::LimitPtr limit_;
    Network network_;
    ClassCounts before_;
    std::optional<Stroke> stroke_; // the last one
    bool hasBrush_ = false;
};

} // namespace corvane
