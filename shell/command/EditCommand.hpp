// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/Batch.hpp"
#include "command/SurveyEdit.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace corvane {

/// An edit of the file that `arguments.in` names into the one that `arguments.out` names; without a result for
/// --print-network.
using EditJob = std::function<std::optional<EditResult>(const GlobalOptions& options)>;

/// Adds what all editing commands have to one: its files, the options of EditArguments, and those for many files. When
/// it is called it does the job for each file. `arguments` must live as long as the command; the job sees in and out
/// change from call to call.
void makeEditCommand(CLI::App& command, const GlobalOptions& options, EditArguments& arguments, const EditJob& job);

/// The same for an edit that is kept beside the survey that `survey` names when the command is called.
void makeKeptEditCommand(CLI::App& command, const GlobalOptions& options, EditArguments& arguments, const EditJob& job,
                         const std::shared_ptr<const std::string>& survey);

} // namespace corvane
