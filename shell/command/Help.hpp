// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace corvane {

/// Adds the command that shows help on those that were added before it. `program` must outlive the call.
void addHelp(CLI::App& program, const std::string& version);

} // namespace corvane
