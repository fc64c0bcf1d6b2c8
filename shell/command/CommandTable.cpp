// SPDX-License-Identifier: Apache-2.0
#include "command/CommandTable.hpp"

#include <algorithm>

namespace corvane {
namespace {

/// Of "TEXT:{a,b}" a and b.
std::vector<std::string> choicesIn(const std::string& type) {
    const std::size_t open = type.find('{'), close = type.find('}');
    if (open == type.npos || close == type.npos) return {};
    return CLI::detail::split(type.substr(open + 1, close - open - 1), ',');
}

OptionEntry entryOf(const CLI::Option& option) {
    OptionEntry entry;
    for (const std::string& name : option.get_snames()) entry.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) entry.names.push_back("--" + name);
    if (option.get_positional()) entry.names = {option.get_name(true)};
    entry.description = option.get_description();
    entry.group = option.get_group();
    if (option.get_items_expected_max() == 0) return entry;
    const std::string type = option.get_type_name();
    entry.value = type.substr(0, type.find(':'));
    entry.choices = choicesIn(type);
    entry.valueMayLack = !option.get_positional() && option.get_expected_min() == 0;
    if (!entry.valueMayLack) entry.standard = option.get_default_str(); // of such a one it is what a lacking value is
    return entry;
}

template <typename Condition>
std::vector<OptionEntry> entriesOf(const CLI::App& command, const Condition& condition) {
    std::vector<OptionEntry> entries;
    for (const CLI::Option* option : command.get_options())
        if (!option->get_group().empty() && condition(*option)) entries.push_back(entryOf(*option));
    return entries;
}

} // namespace

std::vector<OptionEntry> optionsOf(const CLI::App& command) {
    return entriesOf(command, [](const CLI::Option& option) { return option.nonpositional(); });
}

std::vector<OptionEntry> globalOptionsOf(const CLI::App& program) {
    return entriesOf(program, [&program](const CLI::Option& option) {
        return option.nonpositional() && &option != program.get_help_ptr() && &option != program.get_version_ptr();
    });
}

std::vector<OptionEntry> positionalsOf(const CLI::App& command) {
    return entriesOf(command, [](const CLI::Option& option) { return option.get_positional(); });
}

std::vector<const CLI::App*> commandsOf(const CLI::App& program) {
    std::vector<const CLI::App*> commands = program.get_subcommands([](const CLI::App*) { return true; });
    std::ranges::sort(commands, {}, [](const CLI::App* command) { return command->get_name(); });
    return commands;
}

std::vector<FooterPart> footerOf(const CLI::App& command) {
    std::vector<FooterPart> parts;
    for (std::string line : CLI::detail::split(command.get_footer(), '\n')) {
        std::string head;
        if (line.ends_with(':') && !line.starts_with(' ')) { // sentences may stand before the head
            const std::size_t sentence = line.rfind(". ");
            const std::size_t begin = sentence == line.npos ? 0 : sentence + 2;
            head = line.substr(begin, line.size() - 1 - begin);
            line.erase(begin == 0 ? 0 : begin - 1);
        }
        if (!line.empty()) {
            if (parts.empty()) parts.emplace_back();
            parts.back().lines.push_back(line);
        }
        if (!head.empty()) parts.push_back({head, {}});
    }
    return parts;
}

std::string briefly(const std::string& description) {
    std::size_t end = description.size();
    for (const char* stop : {": ", "; ", ". ", " (", ", e.g. "}) end = std::min(end, description.find(stop));
    return description.substr(0, description.find_last_not_of('.', end - 1) + 1);
}

} // namespace corvane
