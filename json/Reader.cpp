// SPDX-License-Identifier: Apache-2.0
#include "json/Reader.hpp"

#include "json/NearestName.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace json {
namespace {

/// Looks for the value itself, not for an equal one. The steps to it are put in front of the place.
bool find(const Value& within, const Value* wanted, std::string& place) {
    if (&within == wanted) return true;
    std::size_t index = 0;
    if (within.is_array()) {
        for (const Value& element : within) {
            if (find(element, wanted, place)) return place.insert(0, step(index)), true;
            ++index;
        }
    } else if (within.is_object()) {
        for (const auto& [key, member] : within.get_ref<const Value::object_t&>())
            if (find(member, wanted, place)) return place.insert(0, step(key)), true;
    }
    return false;
}

} // namespace

std::string Reader::place() const {
    std::string place;
    find(document_->root, value_, place);
    return prefix(document_->name, place);
}

void Reader::fail(const std::string& problem) const { throw Error(place() + problem); }

void Reader::expect(bool holds, const std::string& expected) const {
    if (!holds) fail(fmt::format("{} was found where {} is expected", excerpt(*value_), expected));
}

void Reader::expectKeys(const std::vector<std::string>& known) const {
    for (const auto& [key, value] : members()) {
        if (std::ranges::find(known, key) != known.end()) continue;
        const auto near = nearNames(key, known);
        fail(fmt::format("the key \"{}\" was found where {}\"{}\" is expected", step(key).substr(1),
                         near.empty() && known.size() > 1 ? "one of " : "",
                         near.empty() ? fmt::format("{}", fmt::join(known, "\", \""))
                                      : fmt::format("{}", fmt::join(near, "\" or \""))));
    }
}

Reader Reader::member(const std::string& key) const {
    expect(value_->is_object(), "an object");
    const auto found = value_->find(key);
    if (found == value_->end()) fail(fmt::format("the key \"{}\" is missing", key));
    return {*document_, *found};
}

std::vector<Reader::Member> Reader::members() const {
    expect(value_->is_object(), "an object");
    std::vector<Member> members;
    for (const auto& [key, value] : value_->get_ref<const Value::object_t&>())
        members.push_back({key, Reader(*document_, value)});
    return members;
}

std::vector<Reader> Reader::elements() const {
    expect(value_->is_array(), "a list");
    std::vector<Reader> readers;
    for (const Value& element : *value_) readers.push_back({*document_, element});
    return readers;
}

std::vector<Reader> Reader::oneOrMore() const { return value_->is_array() ? elements() : std::vector<Reader>{*this}; }

const std::string& Reader::text() const {
    expect(value_->is_string(), "a text");
    return value_->get_ref<const std::string&>();
}

bool Reader::flag() const {
    expect(value_->is_boolean(), "true or false");
    return value_->get<bool>();
}

double Reader::number() const {
    expect(value_->is_number(), "a number");
    return value_->get<double>();
}

int Reader::integer() const {
    constexpr auto least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
    const bool whole = value_->is_number_integer();
    expect(whole && value_->get<double>() >= least && value_->get<double>() <= most, "a whole number of 32 bits");
    return value_->get<int>();
}

std::vector<double> Reader::numbers(std::size_t count) const {
    expect(value_->is_array() && value_->size() == count, fmt::format("a list of {} numbers", count));
    std::vector<double> numbers;
    for (const Reader& element : elements()) numbers.push_back(element.number());
    return numbers;
}

std::string Reader::valueText() const {
    expect(!value_->is_null(), "a text, a number, a list or an object");
    return value_->is_string() ? text() : value_->dump();
}

} // namespace json
