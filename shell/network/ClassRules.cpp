// SPDX-License-Identifier: Apache-2.0
#include "network/ClassRules.hpp"

#include "base/Failure.hpp"
#include "base/NearestName.hpp"
#include "limit/Limits.hpp"
#include "json/Reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <set>

namespace corvane {

const std::vector<std::string> FlagFields{"Synthetic", "KeyPoint", "Withheld", "Overlap"};

namespace {

using Flags = std::map<std::string, bool>;

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// Takes "+Withheld" and "-Overlap" off the end of a side. A hyphen that no flag follows belongs to a name or a range.
Flags takeFlags(std::string_view& side) {
    Flags flags;
    for (;;) {
        const auto sign = side.find_last_of("+-");
        if (sign == side.npos) return flags;
        const auto word = trimmed(side.substr(sign + 1));
        const auto flag = std::ranges::find_if(FlagFields, [&](const auto& name) { return sameName(name, word); });
        if (flag == FlagFields.end()) {
            if (side[sign] == '-') return flags;
            throw UsageError(fmt::format("\"{}\" is no flag. {}", word, suggestNames(std::string(word), FlagFields)));
        }
        if (!flags.emplace(*flag, side[sign] == '+').second)
            throw UsageError(fmt::format("the flag {} stands twice on one side", *flag));
        side = trimmed(side.substr(0, sign));
    }
}

ClassRule parseEntry(std::string_view entry, const ClassNaming& naming) {
    const auto colon = entry.find(':');
    if (colon == entry.npos || entry.find(':', colon + 1) != entry.npos)
        throw UsageError("FROM:TO is expected, such as 3:5 or 8:2+KeyPoint");
    std::string_view left = trimmed(entry.substr(0, colon)), right = trimmed(entry.substr(colon + 1));
    ClassRule rule;
    rule.with = takeFlags(left);
    rule.flags = takeFlags(right);
    if (left.empty() && rule.with.empty()) throw UsageError("a class is expected on the left, or \"any\"");
    if (!left.empty()) rule.from = naming.classes(std::string(left));
    if (rule.from) std::ranges::sort(*rule.from);
    if (!right.empty()) rule.to = naming.oneClass(std::string(right));
    if (!rule.to && rule.flags.empty()) throw UsageError("a class or a flag is expected on the right");
    return rule;
}

/// Whether every point that fits the later rule fits the earlier one, which then hides it.
bool hides(const ClassRule& earlier, const ClassRule& later) {
    if (earlier.limit || (earlier.from && !later.from)) return false;
    const bool classes = !earlier.from || std::ranges::includes(*earlier.from, *later.from);
    return classes && std::ranges::includes(later.with, earlier.with);
}

std::optional<std::vector<int>> numbersOnly(const std::string& words) {
    if (words == "any") return std::nullopt;
    int low = 0, high = 0;
    const char* end = words.data() + words.size();
    const auto first = std::from_chars(words.data(), end, low);
    const bool range = first.ec == std::errc() && first.ptr != end && *first.ptr == '-';
    const auto last = range ? std::from_chars(first.ptr + 1, end, high) : first;
    if (!range) high = low;
    if (first.ec != std::errc() || last.ec != std::errc() || last.ptr != end || low < 0 || high < low || high > 0xFFFF)
        throw std::invalid_argument(fmt::format("\"{}\" is no class, and no range of them such as 1-5", words));
    std::vector<int> classes;
    for (int value = low; value <= high; ++value) classes.push_back(value);
    return classes;
}

Flags readFlags(const json::Reader& object) {
    Flags flags;
    object.expect(object.value().is_object(), "an object of flags");
    for (const auto& [key, value] : object.members()) flags[key] = value.flag();
    return flags;
}

int readClass(const json::Reader& json) {
    const int value = json.integer();
    json.expect(value >= 0 && value <= 0xFFFF, "a class from 0 to 65535");
    return value;
}

ClassRule readRule(const json::Reader& object) {
    object.expectKeys({"from", "with", "limit", "to", "flags"});
    ClassRule rule;
    if (object.has("from")) {
        std::set<int> classes;
        for (const json::Reader& value : object.member("from").elements()) classes.insert(readClass(value));
        rule.from = std::vector<int>(classes.begin(), classes.end());
    }
    if (object.has("with")) rule.with = readFlags(object.member("with"));
    if (object.has("limit")) rule.limit = Kesh::Limit::read(object.member("limit"));
    if (object.has("to")) rule.to = readClass(object.member("to"));
    if (object.has("flags")) rule.flags = readFlags(object.member("flags"));
    object.expect(rule.to || !rule.flags.empty(), "\"to\" or \"flags\"");
    return rule;
}

json::Value asJson(const ClassRule& rule) {
    json::Value json = json::Value::object();
    if (rule.from) json["from"] = *rule.from;
    if (!rule.with.empty()) json["with"] = rule.with;
    if (rule.limit) json["limit"] = json::Value::parse(rule.limit->text());
    if (rule.to) json["to"] = *rule.to;
    if (!rule.flags.empty()) json["flags"] = rule.flags;
    return json;
}

} // namespace

ClassRules parseClassTable(std::string_view text, const ClassNaming& naming) {
    ClassRules table;
    for (std::size_t begin = 0; begin <= text.size();) {
        const auto end = std::min(text.find(',', begin), text.size());
        const std::string_view entry = trimmed(text.substr(begin, end - begin));
        try {
            const ClassRule& rule = table.rules.emplace_back(parseEntry(entry, naming));
            for (std::size_t i = 0; i + 1 < table.rules.size(); ++i)
                if (hides(table.rules[i], rule))
                    throw UsageError(fmt::format("entry {} before it takes all of these points already", i + 1));
        } catch (const UsageError& problem) {
            const std::string_view what = problem.what();
            throw UsageError(
                fmt::format("\"{}\": {}{}", entry, what, what.ends_with('.') || what.ends_with('?') ? "" : "."));
        }
        begin = end + 1;
    }
    return table;
}

} // namespace corvane

namespace Kesh {

using corvane::ClassRules;
using corvane::ClassTally;

std::string VValueTrait<ClassRules>::Text(const ClassRules& rules) {
    json::Value json = json::Value::array();
    for (const corvane::ClassRule& rule : rules.rules) json.push_back(corvane::asJson(rule));
    return json.dump();
}

void VValueTrait<ClassRules>::setValueFromText(ClassRules& rules, const std::string& text) {
    if (text.find_first_not_of(" \t\r\n") == text.find('[') && text.find('[') != text.npos) {
        const json::Document document(text);
        ClassRules read;
        for (const json::Reader& rule : json::Reader(document).elements())
            read.rules.push_back(corvane::readRule(rule));
        rules = std::move(read);
        return;
    }
    const auto oneClass = [](const std::string& word) { return corvane::numbersOnly(word).value().front(); };
    rules = corvane::parseClassTable(text, {corvane::numbersOnly, oneClass});
}

template class VValue<ClassRules>;

std::string VValueTrait<ClassTally>::Text(const ClassTally& tally) {
    json::Value rules = json::Value::array();
    for (const auto& rule : tally.rules)
        rules.push_back(
            {{"inside", rule.inside}, {"edited", rule.edited}, {"changed", rule.changed}, {"overlaps", rule.overlaps}});
    json::Value flags = json::Value::object();
    for (const auto& [name, flag] : tally.flags) flags[name] = {{"set", flag.set}, {"cleared", flag.cleared}};
    return json::Value{{"changed", tally.changed}, {"rules", rules}, {"flags", flags}}.dump();
}

void VValueTrait<ClassTally>::setValueFromText(ClassTally&, const std::string&) {
    throw std::invalid_argument("a tally is counted, and cannot be set");
}

template class VValue<ClassTally>;

} // namespace Kesh
