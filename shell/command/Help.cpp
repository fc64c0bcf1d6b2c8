// SPDX-License-Identifier: Apache-2.0
// corvane help: the help of the program or a command; and, for those who package it, man pages and completion.
#include "command/Help.hpp"

#include "base/NearestName.hpp"
#include "base/OutputFile.hpp"
#include "command/CommandTable.hpp"
#include "command/Completion.hpp"
#include "command/HelpFormat.hpp"
#include "command/ManPage.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <span>

namespace corvane {
namespace {

struct HelpArguments {
    std::string command, manFolder, shell;
};

void writeManPages(const CLI::App& program, const std::string& version, const std::string& folder) {
    std::filesystem::create_directories(folder);
    std::vector<const CLI::App*> pages = commandsOf(program);
    pages.push_back(&program);
    for (const CLI::App* page : pages) {
        OutputFile file(fmt::format("{}/{}.1", folder, fullNameOf(*page, '-')), true);
        const std::string text = manPageOf(*page, version);
        file.write(std::as_bytes(std::span(text)));
        file.commit();
    }
}

std::string completionFor(const std::string& shell, const CLI::App& program) {
    if (shell == "bash") return bashCompletion(program);
    return shell == "zsh" ? zshCompletion(program) : fishCompletion(program);
}

/// The names as what an argument may be, with a suggestion for what it is not.
CLI::Validator isCommand(const std::vector<std::string>& names) {
    const auto check = [names](const std::string& name) {
        if (std::ranges::count(names, name) > 0) return std::string();
        return fmt::format("\"{}\" is no command. {}", name, suggestNames(name, names));
    };
    return {check, fmt::format("{{{}}}", fmt::join(names, ","))};
}

void run(const CLI::App& program, const std::string& version, const HelpArguments& arguments) {
    if (!arguments.manFolder.empty()) return writeManPages(program, version, arguments.manFolder);
    if (!arguments.shell.empty()) return fmt::print("{}", completionFor(arguments.shell, program));
    fmt::print("{}", helpOf(arguments.command.empty() ? program : *program.get_subcommand(arguments.command)));
}

} // namespace

void addHelp(CLI::App& program, const std::string& version) {
    CLI::App* command = program.add_subcommand("help", "Show the help of the program or of a command.");
    const auto arguments = std::make_shared<HelpArguments>();
    std::vector<std::string> names;
    for (const CLI::App* known : commandsOf(program)) names.push_back(known->get_name());
    command->add_option("COMMAND", arguments->command, "The command, as in: corvane help info")
        ->check(isCommand(names));
    command->add_option("--man", arguments->manFolder, "Write man pages into this folder")->group("");
    command->add_option("--completion", arguments->shell, "Print the completion for a shell")
        ->check(CLI::IsMember({"bash", "zsh", "fish"}))
        ->group("");
    command->callback([&program, version, arguments] { run(program, version, *arguments); });
}

} // namespace corvane
