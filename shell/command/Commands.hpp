// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"

#include <CLI/CLI.hpp>

#include <memory>
#include <string>

namespace corvane {

/// Each adds one subcommand, which runs when it is parsed. What they throw ends the program with its message.
void addCatalogue(CLI::App& program, const GlobalOptions& options);
void addCompare(CLI::App& program, const GlobalOptions& options);
void addConvert(CLI::App& program, const GlobalOptions& options);
void addHistogram(CLI::App& program, const GlobalOptions& options);
void addInfo(CLI::App& program, const GlobalOptions& options);
void addLabels(CLI::App& program, const GlobalOptions& options);
void addLint(CLI::App& program, const GlobalOptions& options);
void addOpen(CLI::App& program, const GlobalOptions& options);
void addPicture(CLI::App& program, const GlobalOptions& options);
void addPoints(CLI::App& program, const GlobalOptions& options);
void addApply(CLI::App& program, const GlobalOptions& options);
void addDiscard(CLI::App& program, const GlobalOptions& options);
void addEdit(CLI::App& program, const GlobalOptions& options);
void addHistory(CLI::App& program, const GlobalOptions& options);
void addMask(CLI::App& program, const GlobalOptions& options);
void addPatch(CLI::App& program, const GlobalOptions& options);
void addUndo(CLI::App& program, const GlobalOptions& options);
void addRedo(CLI::App& program, const GlobalOptions& options);
void addRestore(CLI::App& program, const GlobalOptions& options);
void addSave(CLI::App& program, const GlobalOptions& options);

/// For edits that are kept in the store beside a survey: its name, known when the command is called. Without it they
/// are saved.
using KeptSurvey = std::shared_ptr<const std::string>;
void addReclassify(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept = nullptr);
void addRelabel(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept = nullptr);
void addRun(CLI::App& program, const GlobalOptions& options, const KeptSurvey& kept = nullptr);
void addSample(CLI::App& program, const GlobalOptions& options);
void addShape(CLI::App& program, const GlobalOptions& options);

} // namespace corvane
