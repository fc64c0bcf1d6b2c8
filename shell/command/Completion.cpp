// SPDX-License-Identifier: Apache-2.0
#include "command/Completion.hpp"

#include "command/CommandTable.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace corvane {
namespace {

constexpr char License[] = "# SPDX-License-Identifier: Apache-2.0\n";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

std::vector<std::string> namesOf(const std::vector<OptionEntry>& options) {
    std::vector<std::string> names;
    for (const OptionEntry& option : options) names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

std::vector<std::string> commandNames(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* command : commandsOf(program)) names.push_back(command->get_name());
    return names;
}

/// A command, or one inside another: "edit run".
struct NamedCommand {
    std::string name;
    const CLI::App* command;
};

std::vector<NamedCommand> allCommands(const CLI::App& program) {
    std::vector<NamedCommand> all;
    for (const CLI::App* command : commandsOf(program)) {
        all.push_back({command->get_name(), command});
        for (const CLI::App* inner : commandsOf(*command))
            all.push_back({command->get_name() + " " + inner->get_name(), inner});
    }
    return all;
}

/// Those inside others, as words of a list: "edit/run".
std::string innerCommands(const CLI::App& program) {
    std::vector<std::string> words;
    for (const auto& [name, command] : allCommands(program))
        if (name.find(' ') != name.npos) words.push_back(replaced(name, " ", "/"));
    return fmt::format("{}", fmt::join(words, " "));
}

/// The branch that a value leaves by. Returning nothing, it leaves the rest to the names of files.
std::string bashValues(const std::string& command, const std::vector<OptionEntry>& options) {
    std::string branches;
    for (const OptionEntry& option : options) {
        if (option.value.empty() || option.valueMayLack) continue;
        std::vector<std::string> patterns;
        for (const std::string& name : option.names)
            patterns.push_back(command == "*" ? fmt::format("*' {}'", name) : fmt::format("'{} {}'", command, name));
        std::string work = "return";
        if (!option.choices.empty())
            work = fmt::format("_corvane_offer '{}'; return", fmt::join(option.choices, " "));
        else if (!option.takesText())
            work = "compopt +o default; return"; // a number
        branches += fmt::format("    {}) {} ;;\n", fmt::join(patterns, " | "), work);
    }
    return branches;
}

/// What a command takes without a dash.
std::string bashArguments(const std::string& name, const CLI::App& command) {
    const std::vector<OptionEntry> arguments = positionalsOf(command);
    if (const auto inner = commandNames(command); !inner.empty()) // behind a file
        return fmt::format("    '{0}') [[ $before == '{0}' ]] || _corvane_offer '{1}' ;;\n", name,
                           fmt::join(inner, " "));
    if (arguments.empty()) return fmt::format("    '{}') compopt +o default ;;\n", name);
    if (arguments.front().choices.empty()) return "";
    return fmt::format("    '{}') _corvane_offer '{}' ;;\n", name, fmt::join(arguments.front().choices, " "));
}

/// In single quotes, for zsh: of what stands in brackets, and of what is divided by colons.
std::string zshText(const std::string& text) {
    std::string safe = replaced(briefly(text), "'", "'\\''");
    for (const char* special : {"[", "]", ":"}) safe = replaced(safe, special, std::string("\\") + special);
    return safe;
}

std::string zshAction(const OptionEntry& option) {
    if (!option.choices.empty()) return fmt::format("({})", fmt::join(option.choices, " "));
    return option.takesText() ? "_files" : " ";
}

/// Arguments of _arguments, each on a line.
std::string zshOptions(const std::vector<OptionEntry>& options, const std::string& indent) {
    std::string lines;
    for (const OptionEntry& option : options)
        for (const std::string& name : option.names) {
            std::string value;
            if (!option.value.empty())
                value = fmt::format("{}:{}:{}", option.valueMayLack ? ":" : "", option.value, zshAction(option));
            lines += fmt::format("{}'*{}[{}]{}'\n", indent, name, zshText(option.description), value);
        }
    return lines;
}

std::string zshArguments(const CLI::App& command, const std::string& indent) {
    const std::vector<OptionEntry> arguments = positionalsOf(command);
    const CLI::App& outer = *command.get_parent();
    std::string before; // in front of a command inside another
    if (outer.get_parent()) before = zshArguments(outer, indent);
    if (const auto inner = commandNames(command); !inner.empty())
        return fmt::format("{0}'1:{1}:_files'\n{0}'2:command:({2})'\n", indent, arguments.front().names.front(),
                           fmt::join(inner, " "));
    if (arguments.empty()) return before;
    return before + fmt::format("{}'*:{}:{}'\n", indent, arguments.front().names.front(), zshAction(arguments.front()));
}

std::string fishQuoted(const std::string& text) {
    return "'" + replaced(replaced(text, "\\", "\\\\"), "'", "\\'") + "'";
}

std::string fishOptions(const std::string& condition, const std::vector<OptionEntry>& options) {
    std::string lines;
    for (const OptionEntry& option : options) {
        lines += "complete -c corvane" + condition;
        for (const std::string& name : option.names)
            lines += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
        if (!option.choices.empty())
            lines += fmt::format(" -x -a {}", fishQuoted(fmt::format("{}", fmt::join(option.choices, " "))));
        else if (!option.value.empty() && !option.valueMayLack)
            lines += option.takesText() ? " -r -F" : " -x";
        lines += fmt::format(" -d {}\n", fishQuoted(briefly(option.description)));
    }
    return lines;
}

} // namespace

std::string bashCompletion(const CLI::App& program) {
    std::string values, options, arguments;
    const std::vector<OptionEntry> global = globalOptionsOf(program);
    for (const auto& [name, command] : allCommands(program)) {
        const std::vector<OptionEntry> own = optionsOf(*command);
        values += bashValues(name, own);
        options += fmt::format("        '{}') options+=' {}' ;;\n", name, fmt::join(namesOf(own), " "));
        arguments += bashArguments(name, *command);
    }
    values += bashValues("*", global);
    const std::string names = fmt::format("{}", fmt::join(commandNames(program), " "));
    return License + fmt::format(R"(
_corvane_offer() {{
    compopt +o default
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$word")
}}

_corvane() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD - 1]}} command='' options i
    if [[ $word == '=' ]]; then # of --option=value
        word=''
    elif [[ $before == '=' ]]; then
        before=${{COMP_WORDS[COMP_CWORD - 2]}}
    fi
    for ((i = 1; i < COMP_CWORD; i++)); do
        if [[ -z $command && ' {0} ' == *" ${{COMP_WORDS[i]}} "* ]]; then
            command=${{COMP_WORDS[i]}}
        elif [[ ' {6} ' == *" $command/${{COMP_WORDS[i]}} "* ]]; then
            command+=" ${{COMP_WORDS[i]}}"
            break
        fi
    done
    case "$command $before" in
{1}    esac
    if [[ $word == -* ]]; then
        options='{2}'
        case $command in
{3}        *) options+=' {4}' ;;
        esac
        _corvane_offer "$options"
        return
    fi
    case $command in
    '') _corvane_offer '{0}' ;;
{5}    esac
}}

complete -o default -F _corvane corvane
)",
                                 names, values, fmt::join(namesOf(global), " "), options,
                                 fmt::join(namesOf(optionsOf(program)), " "), arguments, innerCommands(program));
}

std::string zshCompletion(const CLI::App& program) {
    const std::string indent(12, ' ');
    std::string names, branches;
    for (const CLI::App* command : commandsOf(program))
        names += fmt::format("        '{}:{}'\n", command->get_name(), zshText(command->get_description()));
    for (const auto& [name, command] : allCommands(program))
        branches += fmt::format("    '{}')\n        own=(\n{}{}        )\n        ;;\n", name,
                                zshOptions(optionsOf(*command), indent), zshArguments(*command, indent));
    return fmt::format(R"(#compdef corvane
{0}
_corvane_commands() {{
    local -a commands=(
{1}    )
    _describe command commands
}}

_corvane() {{
    local curcontext=$curcontext state line
    local -a global=(
{2}    )
    _arguments -C $global '*--version[{3}]' '*--help[{4}]' ':command:_corvane_commands' '*:::argument:->argument' && return
    [[ $state == argument ]] || return 1
    local -a own
    local command=$line[1] word
    for word in $words; do
        [[ ' {6} ' == *" $command/$word "* ]] && command+=" $word" && break
    done
    case $command in
{5}    esac
    words=($line[1] "$words[@]")
    ((CURRENT += 1))
    _arguments $global $own
}}

_corvane "$@"
)",
                       License, names, zshOptions(globalOptionsOf(program), std::string(8, ' ')),
                       zshText(program.get_version_ptr()->get_description()),
                       zshText(program.get_help_ptr()->get_description()), branches, innerCommands(program));
}

std::string fishCompletion(const CLI::App& program) {
    std::string text = License;
    text += fishOptions("", globalOptionsOf(program));
    text += fishOptions(" -n __fish_use_subcommand", optionsOf(program));
    for (const CLI::App* command : commandsOf(program)) {
        const std::string& name = command->get_name();
        text += fmt::format("complete -c corvane -n __fish_use_subcommand -f -a {} -d {}\n", name,
                            fishQuoted(briefly(command->get_description())));
        const std::string condition = fmt::format(" -n '__fish_seen_subcommand_from {}'", name);
        text += fishOptions(condition, optionsOf(*command)); // those of a command inside it are some of its namesake's
        if (const auto inner = commandNames(*command); !inner.empty())
            text += fmt::format("complete -c corvane -n '__fish_seen_subcommand_from {}; and not "
                                "__fish_seen_subcommand_from {}' -a {}\n",
                                name, fmt::join(inner, " "), fishQuoted(fmt::format("{}", fmt::join(inner, " "))));
        for (const OptionEntry& argument : positionalsOf(*command))
            if (!argument.choices.empty())
                text += fmt::format("complete -c corvane{} -f -a {}\n", condition,
                                    fishQuoted(fmt::format("{}", fmt::join(argument.choices, " "))));
    }
    return text;
}

} // namespace corvane
