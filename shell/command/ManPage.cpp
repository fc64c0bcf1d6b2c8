// SPDX-License-Identifier: Apache-2.0
#include "command/ManPage.hpp"

#include "command/CommandTable.hpp"
#include "command/HelpFormat.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace corvane {
namespace {

/// As text that roff leaves alone.
std::string plain(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const bool begins = escaped.empty() || escaped.back() == '\n';
        if (begins && (c == '.' || c == '\'')) escaped += "\\&"; // would be a request
        if (c == '\\')
            escaped += "\\e";
        else if (c == '-')
            escaped += "\\-"; // a hyphen would not be found, nor could it be copied
        else if (c == '\'')
            escaped += "\\(aq";
        else
            escaped += c;
    }
    return escaped;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }

std::string upper(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string section(const std::string& title) { return fmt::format(".SH \"{}\"\n", plain(upper(title))); }

std::string item(const std::string& head, const std::string& text) {
    return fmt::format(".TP\n{}\n{}\n", head, plain(text));
}

std::string item(const OptionEntry& option) {
    std::string head, text = option.description;
    for (const std::string& name : option.names) head += (head.empty() ? "" : ", ") + bold(name);
    if (!option.value.empty() && option.names.front().starts_with('-')) {
        const std::string value = "\\fI" + plain(option.value) + "\\fR";
        head += option.valueMayLack ? " [" + value + "]" : " " + value;
    }
    if (!text.empty() && !text.ends_with('.')) text += '.';
    if (!option.choices.empty()) text += fmt::format(" One of: {}.", fmt::join(option.choices, ", "));
    if (!option.standard.empty()) text += fmt::format(" Without it: {}.", option.standard);
    return item(head, text);
}

/// With a heading for each group but the first.
std::string items(const std::vector<OptionEntry>& options) {
    std::string text, group = options.empty() ? "" : options.front().group;
    std::vector<OptionEntry> ordered = options;
    std::ranges::stable_sort(ordered, {}, [&options](const OptionEntry& option) {
        return std::ranges::find(options, option.group, &OptionEntry::group) - options.begin();
    });
    for (const OptionEntry& option : ordered) {
        if (option.group != group) text += fmt::format(".SS \"{}\"\n", plain(option.group));
        group = option.group;
        text += item(option);
    }
    return text;
}

std::string footer(const CLI::App& command) {
    std::string text;
    for (const FooterPart& part : footerOf(command)) {
        if (!part.head.empty()) text += section(part.head);
        bool literal = false;
        for (const std::string& line : part.lines) {
            if (line.starts_with("  ") != literal) text += literal ? ".fi\n.RE\n.PP\n" : ".RS\n.nf\n";
            literal = line.starts_with("  ");
            text += plain(literal ? line.substr(2) : line) + '\n';
        }
        if (literal) text += ".fi\n.RE\n";
    }
    return text;
}

std::string commandList(const CLI::App& program) {
    std::string text;
    for (const CLI::App* command : commandsOf(program))
        text += item(bold(fullNameOf(*command, '-')) + "(1)", command->get_description());
    return text;
}

/// What a command can be followed by, with the options of each.
std::string innerCommands(const CLI::App& command) {
    std::string text;
    for (const CLI::App* inner : commandsOf(command))
        text += fmt::format(".SS \"{} ...\"\n{}\n", plain(fullNameOf(*inner, ' ')), plain(inner->get_description())) +
                items(optionsOf(*inner));
    return text;
}

/// The program and its commands but the one that the page is about.
std::string others(const CLI::App& program, const CLI::App& command) {
    std::string text;
    std::vector<const CLI::App*> pages = commandsOf(program);
    pages.insert(pages.begin(), &program);
    for (const CLI::App* page : pages)
        if (page != &command) text += (text.empty() ? "" : ",\n") + bold(fullNameOf(*page, '-')) + "(1)";
    return text + '\n';
}

} // namespace

std::string manPageOf(const CLI::App& command, const std::string& version) {
    const bool isProgram = !command.get_parent();
    const CLI::App& program = isProgram ? command : *command.get_parent();
    const std::string name = fullNameOf(command, '-');
    std::string page = fmt::format(".TH \"{}\" 1 \"\" \"Corvane {}\" \"User Commands\"\n", plain(upper(name)), version);
    page += section("Name") + plain(name) + " \\- " + plain(briefly(command.get_description())) + '\n';
    page += section("Synopsis") + bold(usageOf(command)) + '\n';
    page += section("Description") + plain(command.get_description()) + '\n';
    if (const auto arguments = positionalsOf(command); !arguments.empty())
        page += section("Arguments") + items(arguments);
    if (isProgram) page += section("Commands") + commandList(program);
    page += section("Options") + items(optionsOf(command));
    if (!isProgram) page += innerCommands(command);
    if (!isProgram) page += ".SS \"Global options\"\n" + items(globalOptionsOf(program)) + footer(command);
    return page + footer(program) + section("See also") + others(program, command);
}

} // namespace corvane
