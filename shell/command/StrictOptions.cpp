// SPDX-License-Identifier: Apache-2.0
#include "command/StrictOptions.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>

namespace corvane {
namespace {

[[noreturn]] void refuseEmpty(std::string_view option) {
    throw UsageError(option.empty()
                         ? std::string("An empty argument was found where a value is expected.")
                         : fmt::format("{}: an empty value was found; give one, or leave the option out.", option));
}

/// What CLI11 would read as octal or hexadecimal.
std::string decimal(std::string& text) {
    const bool negative = text.starts_with('-');
    const std::string digits = text.substr(negative ? 1 : 0);
    if (digits.empty() || !std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; }))
        return fmt::format("\"{}\" is no whole number", text);
    const std::size_t first = std::min(digits.find_first_not_of('0'), digits.size() - 1);
    text = (negative ? "-" : "") + digits.substr(first);
    return {};
}

bool takesClasses(std::string_view option) {
    return option == "--from" || option == "--editable" || option == "--class" || option == "--classes";
}

/// Whether a list of classes ends before this word.
bool isNoClass(const std::string& word) {
    if (word.starts_with('-') || word.find_first_of("*?[/") != word.npos) return true;
    if (word.ends_with(".las") || word.ends_with(".laz")) return true;
    std::error_code error;
    return std::filesystem::exists(word, error);
}

} // namespace

std::vector<std::string> withClassListsApart(int argc, const char* const* argv) {
    std::vector<std::string> apart;
    for (int i = 0; i < argc; ++i) {
        const std::string option = argv[i];
        apart.push_back(option);
        if (i == 0 || !takesClasses(option) || i + 1 == argc) continue;
        apart.emplace_back(argv[++i]); // the first word, whatever it is
        for (; i + 1 < argc && !isNoClass(argv[i + 1]); ++i) {
            apart.push_back(option);
            apart.emplace_back(argv[i + 1]);
        }
    }
    return apart;
}

void refuseEmptyArguments(int argc, const char* const* argv) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i], before = i > 1 ? argv[i - 1] : "";
        if (argument.empty()) refuseEmpty(before.starts_with('-') ? before : "");
        if (argument.starts_with("--") && argument.ends_with('=')) refuseEmpty(argument.substr(0, argument.size() - 1));
    }
}

void readNumbersAsDecimals(CLI::App& program) {
    for (CLI::App* command : program.get_subcommands({}))
        for (CLI::Option* option : command->get_options())
            if (const std::string type = option->get_type_name(); type.starts_with("INT") || type.starts_with("UINT"))
                option->transform(CLI::Validator(decimal, ""));
}

} // namespace corvane
