// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "command/Commands.hpp"
#include "command/Output.hpp"
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

/// Checks what can be checked before the survey is opened.
void checkCall(const EditArguments& arguments);

/// The largest value that the field can hold. Throws UsageError for a field that no editor takes.
int largestValueOf(const Survey& survey, const SurveyField& field);

/// Throws UsageError, naming the option, for a value that the field cannot hold.
void checkValue(const char* option, int value, const Survey& survey, const SurveyField& field);

/// A network with an object "points" that offers the field, and an object "lasso" to draw into when `brush` is set,
/// both connected to an object "editor" of the type. The first action reports the counts before the edit.
Json editNetwork(const EditArguments& arguments, const std::string& field, const std::string& editorType,
                 const Json& parameters, bool brush);

/// An action that draws the stroke into the lasso.
Json drawAction(const Json& stroke);

/// Adds an action that triggers the editor's edit and reports.
void addFinalAction(Json& network, Json action, const std::string& trigger);

/// Runs the network, prints status and counts, and saves, all as the arguments say. `polygons` are those of --within,
/// to tell when they miss the survey; `labels`, if any, are saved with the survey.
void runEdit(const Session& session, const std::shared_ptr<const Survey>& survey, const EditArguments& arguments,
             Json network, const std::optional<PolygonSet>& polygons, const Kesh::LabelSet* labels, bool json);

} // namespace corvane
