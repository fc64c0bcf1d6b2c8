// SPDX-License-Identifier: Apache-2.0
#include "command/HelpFormat.hpp"

namespace corvane {

std::string HelpFormat::make_footer(const CLI::App* app) const {
    const CLI::App* program = app;
    while (program->get_parent()) program = program->get_parent();
    const std::string own = Formatter::make_footer(app);
    if (program == app) return own;
    const auto global = program->get_options([program](const CLI::Option* option) {
        return option->nonpositional() && option != program->get_help_ptr() && option != program->get_version_ptr();
    });
    return make_group("Global options", false, global) + "\n" + own + (own.empty() ? "" : "\n") +
           Formatter::make_footer(program);
}

std::string fullNameOf(const CLI::App& command, char between) {
    const CLI::App* program = command.get_parent();
    return program ? program->get_name() + between + command.get_name() : command.get_name();
}

std::string helpOf(const CLI::App& command) { // App::help would turn to the command that was called
    return command.get_formatter()->make_help(&command, fullNameOf(command), CLI::AppFormatMode::Normal);
}

std::string usageOf(const CLI::App& command) {
    const auto format = std::dynamic_pointer_cast<CLI::Formatter>(command.get_formatter());
    std::string usage = format->make_usage(&command, fullNameOf(command));
    usage.erase(0, usage.find(' ') + 1);
    return usage.substr(0, usage.find('\n'));
}

} // namespace corvane
