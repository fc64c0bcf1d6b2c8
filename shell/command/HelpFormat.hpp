// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace corvane {

/// The help of a command, below whose own options stand those of the program, and at the end what the program says of
/// all commands. Commands take it over from the program when they are added.
class HelpFormat : public CLI::Formatter {
public:
    std::string make_footer(const CLI::App* app) const override;
};

/// What --help prints. `command` is the program or one of its commands.
std::string helpOf(const CLI::App& command);

/// "corvane info [OPTIONS] FILE"
std::string usageOf(const CLI::App& command);

/// "corvane info", with another character between the words if need be.
std::string fullNameOf(const CLI::App& command, char between = ' ');

} // namespace corvane
