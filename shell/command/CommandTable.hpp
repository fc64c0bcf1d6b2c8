// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace corvane {

/// An option or a positional argument, as its command is parsed with.
struct OptionEntry {
    std::vector<std::string> names;   ///< "-q", "--quiet"; of a positional its name
    std::string value;                ///< what kind of value it takes, "INT"; empty: none
    std::string standard;             ///< the value that counts without it; empty: none that can be told
    std::vector<std::string> choices; ///< all values that there are; empty: more than can be listed
    std::string description, group;
    bool valueMayLack = false;

    bool takesText() const { return value == "TEXT" && choices.empty(); }
};

/// What can be seen of a command's own options, in their order.
std::vector<OptionEntry> optionsOf(const CLI::App& command);

/// The program's options that every command takes, too.
std::vector<OptionEntry> globalOptionsOf(const CLI::App& program);

/// The arguments without a dash.
std::vector<OptionEntry> positionalsOf(const CLI::App& command);

/// The commands of the program by name.
std::vector<const CLI::App*> commandsOf(const CLI::App& program);

/// A part of the text below a command's options: what stands under a line that ends in a colon.
struct FooterPart {
    std::string head; ///< empty: there was no such line
    std::vector<std::string> lines;
};
std::vector<FooterPart> footerOf(const CLI::App& command);

/// What stands before the first colon, semicolon, bracket or full stop.
std::string briefly(const std::string& description);

} // namespace corvane
