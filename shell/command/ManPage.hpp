// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace corvane {

/// The man page, in roff, of the program or of one of its commands, with what --help says.
std::string manPageOf(const CLI::App& command, const std::string& version);

} // namespace corvane
