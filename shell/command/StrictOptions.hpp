// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

namespace corvane {

/// Throws UsageError for an empty argument: a value that somebody forgot, such as a variable of a script that is not
/// set, must not be taken for 0, for no file or for no condition.
void refuseEmptyArguments(int argc, const char* const* argv);

/// Makes all whole numbers of all commands decimal: 010 is ten.
void readNumbersAsDecimals(CLI::App& program);

} // namespace corvane
