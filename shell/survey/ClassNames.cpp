// SPDX-License-Identifier: Apache-2.0
#include "survey/ClassNames.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "las/StandardClasses.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <set>
#include <string_view>

namespace corvane {
namespace {

constexpr int LastNamedClass = 22; // of the standard; what follows is reserved or everybody's own

/// Letters and digits, small; bytes beyond ASCII as they are.
std::string plain(std::string_view name) {
    std::string text;
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) || (c & 0x80) != 0)
            text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::optional<int> number(std::string_view digits) {
    int value = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    return error == std::errc() && stop == end ? std::optional(value) : std::nullopt;
}

bool isNumber(std::string_view text) {
    const std::string_view digits = text.starts_with('-') ? text.substr(1) : text;
    return !digits.empty() && std::ranges::all_of(digits, [](char c) { return c >= '0' && c <= '9'; });
}

/// "1-5" in its two numbers.
std::optional<std::pair<std::string_view, std::string_view>> rangeOf(std::string_view text) {
    const auto hyphen = text.find('-', 1);
    if (hyphen == text.npos || !isNumber(text.substr(0, hyphen)) || !isNumber(text.substr(hyphen + 1)))
        return std::nullopt;
    return std::pair(text.substr(0, hyphen), text.substr(hyphen + 1));
}

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

/// The words between the commas of several texts.
std::vector<std::string> split(const std::string& option, const std::vector<std::string>& texts) {
    std::vector<std::string> words;
    for (const std::string& text : texts)
        for (std::size_t begin = 0; begin <= text.size();) {
            const std::size_t end = std::min(text.find(',', begin), text.size());
            words.emplace_back(trimmed(std::string_view(text).substr(begin, end - begin)));
            if (words.back().empty())
                throw UsageError(
                    fmt::format("{}: \"{}\" holds an empty class; write a list such as 2,3.", option, text));
            begin = end + 1;
        }
    return words;
}

} // namespace

ClassNames::ClassNames(const Survey& survey, const SurveyField& field, const Kesh::LabelSet& labels)
    : largest_(static_cast<int>(survey.las().dimensions[field.dimension].largestValue())),
      holds_(fmt::format("the field \"{}\" of this survey holds 0 to {}. {}", field.name, largest_,
                         remedyFor(survey.las().dimensions[field.dimension], survey.las().header.pointFormat))) {
    for (const auto& [value, label] : labels) add(0, value, label.name);
    if (field.name != ClassificationName) return;
    if (const auto own = survey.labels())
        for (const auto& [value, label] : *own) add(1, value, label.name);
    const std::uint8_t format = survey.las().header.pointFormat;
    for (int value = 0; value <= LastNamedClass; ++value)
        if (!isReservedClass(value, format)) add(2, value, standardClassName(value, format));
}

void ClassNames::add(int rank, int value, const std::string& name) {
    if (const std::string whole = plain(name); !whole.empty()) names_.push_back({rank, whole, name, value});
    const auto remark = name.find('(');
    if (remark == name.npos) return;
    if (const std::string shorter = plain(name.substr(0, remark)); !shorter.empty())
        names_.push_back({rank, shorter, name, value});
}

int ClassNames::named(const std::string& option, const std::string& word) const {
    const std::string wanted = plain(word);
    for (int rank = 0; rank < 3; ++rank) {
        std::set<int> values;
        for (const Name& name : names_)
            if (name.rank == rank && name.plain == wanted) values.insert(name.value);
        if (values.size() == 1) return *values.begin();
        if (values.size() > 1)
            throw UsageError(fmt::format("{} {}: classes {} and {} have that name; give the number.", option, word,
                                         *values.begin(), *values.rbegin()));
    }
    std::vector<std::string> known;
    for (const Name& name : names_)
        if (std::ranges::find(known, name.shown) == known.end()) known.push_back(name.shown);
    throw UsageError(fmt::format("{} {}: there is no class of that name. {}", option, word, suggestNames(word, known)));
}

void ClassNames::check(const std::string& option, int value) const {
    if (value < 0 || value > largest_) throw UsageError(fmt::format("{} {}: {}", option, value, holds_));
}

int ClassNames::value(const std::string& option, const std::string& word) const {
    if (word.find(',') != word.npos || rangeOf(word))
        throw UsageError(fmt::format("{} {}: takes one class.", option, word));
    int value = 0;
    if (!isNumber(word))
        value = named(option, word);
    else if (const auto read = number(word))
        value = *read;
    else
        throw UsageError(fmt::format("{} {}: {}", option, word, holds_));
    check(option, value);
    return value;
}

std::optional<std::vector<int>> ClassNames::values(const std::string& option,
                                                   const std::vector<std::string>& texts) const {
    std::vector<int> values;
    const auto add = [&](int one) {
        if (std::ranges::find(values, one) == values.end()) values.push_back(one);
    };
    for (const std::string& word : split(option, texts)) {
        if (plain(word) == "any") return std::nullopt;
        const auto range = rangeOf(word);
        if (!range) {
            add(value(option, word));
            continue;
        }
        const int low = value(option, std::string(range->first)), high = value(option, std::string(range->second));
        if (low > high)
            throw UsageError(fmt::format("{} {}: holds no class; write the smaller number first.", option, word));
        for (int one = low; one <= high; ++one) add(one);
    }
    return values;
}

} // namespace corvane
