// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace corvane {

/// Throws UsageError for an empty argument: a value that somebody forgot, such as a variable of a script that is not
/// set, must not be taken for 0, for no file or for no condition.
void refuseEmptyArguments(int argc, const char* const* argv);

/// The arguments with each list of classes as an option of its own: of "--from 2 3 in.las" the words up to the next
/// option, and up to the first that is a file or folder, or ends as a survey does, are "--from 2 --from 3".
std::vector<std::string> withClassListsApart(int argc, const char* const* argv);

/// Makes all whole numbers of all commands decimal: 010 is ten.
void readNumbersAsDecimals(CLI::App& program);

} // namespace corvane
