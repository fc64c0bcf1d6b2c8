// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "command/CommandSession.hpp"

#include <CLI/CLI.hpp>

namespace corvane {

/// Each adds one subcommand, which runs when it is parsed. What they throw ends the program with its message.
void addCatalogue(CLI::App& program, const GlobalOptions& options);
void addCompare(CLI::App& program, const GlobalOptions& options);
void addConvert(CLI::App& program, const GlobalOptions& options);
void addHistogram(CLI::App& program, const GlobalOptions& options);
void addInfo(CLI::App& program, const GlobalOptions& options);
void addLabels(CLI::App& program, const GlobalOptions& options);
void addLint(CLI::App& program, const GlobalOptions& options);
void addPicture(CLI::App& program, const GlobalOptions& options);
void addPoints(CLI::App& program, const GlobalOptions& options);
void addReclassify(CLI::App& program, const GlobalOptions& options);
void addRelabel(CLI::App& program, const GlobalOptions& options);
void addRun(CLI::App& program, const GlobalOptions& options);
void addSample(CLI::App& program, const GlobalOptions& options);
void addShape(CLI::App& program, const GlobalOptions& options);

} // namespace corvane
