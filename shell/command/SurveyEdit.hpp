// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Commands.hpp"
#include "network/Counting.hpp"
#include "network/Network.hpp"
#include "polygon/Polygons.hpp"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// What all commands take that edit a survey in one go.
struct EditArguments {
    std::string in, out, field = ClassificationName, expect;
    std::vector<std::string> within;
    bool dryRun = false, overwrite = false, printNetwork = false;
};

/// Adds the options. `arguments` must live as long as the command.
void addEditOptions(CLI::App& command, EditArguments& arguments);

/// An edit from the command line: a network with an object "points" that offers the field, connected to an object
/// "editor", which the command sets up and tells what to do, one action after the other. With --print-network nothing
/// is done, and the network is printed.
class SurveyEdit {
public:
    /// Checks the call, reads the polygons and opens the survey.
    SurveyEdit(const GlobalOptions& options, const EditArguments& arguments, const std::string& editorType);

    const Survey& survey() const { return *survey_; }
    Network& network() { return network_; }

    /// The limit that --within sets; null when it was not given.
    const Kesh::LimitPtr& within() const { return within_; }

    /// Throws UsageError, naming the option, for a value that the field cannot hold.
    void checkValue(const char* option, int value) const;

    /// Draws into the editor's brush. Throws UsageError, naming the option, for a stroke that makes no sense.
    void draw(const Stroke& stroke);

    /// Does what was set up since the last time.
    void act();

    /// Prints what has become of the survey, and saves it, with the labels if there are any.
    void finish(const Kesh::LabelSet* labels, bool json);

private:
    void tellMiss();
    ClassCounts counts() const;

    const EditArguments& arguments_;
    std::optional<PolygonSet> polygons_; // of --within
    Kesh::LimitPtr within_;
    CommandSession session_;
    std::shared_ptr<const Survey> survey_;
    const SurveyField& field_;
    Network network_;
    ClassCounts before_;
    bool hasBrush_ = false;
};

} // namespace corvane
