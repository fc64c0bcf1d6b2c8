// SPDX-License-Identifier: Apache-2.0
#include "network/JsonReader.hpp"

#include "NearestName.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace corvane {

Json parseJson(const std::string& text, const std::string& where) {
    std::vector<std::set<std::string>> keys; // of the objects that are open
    std::string twice;
    const auto watch = [&](int, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) keys.emplace_back();
        if (event == Json::parse_event_t::object_end) keys.pop_back();
        if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second)
            twice = parsed.get<std::string>();
        return true;
    };
    try {
        Json json = Json::parse(text, watch);
        if (twice.empty()) return json;
    } catch (const Json::parse_error& error) {
        throw UsageError(fmt::format("{}: is not JSON at byte {}: {}.", where, error.byte, error.what()));
    }
    throw UsageError(fmt::format("{}: the key \"{}\" stands twice in one object; keep one of them.", where, twice));
}

std::string JsonReader::prefix() const { return file_ + (place_.empty() ? "" : " at " + place_) + ": "; }

void JsonReader::fail(const std::string& what) const { throw UsageError(prefix() + what); }

void JsonReader::failed(const Failure& failure) const { throw Failure(prefix() + failure.what()); }

void JsonReader::expect(bool holds, const char* expected) const {
    if (!holds) fail(fmt::format("a {} was found where {} is expected.", value_.type_name(), expected));
}

void JsonReader::expectKeys(const std::vector<std::string>& known) const {
    for (const auto& [key, reader] : members())
        if (std::find(known.begin(), known.end(), key) == known.end())
            fail(fmt::format("the key \"{}\" is not known here. {}", key, suggestNames(key, known)));
}

JsonReader JsonReader::member(const std::string& key) const {
    expect(value_.is_object(), "an object");
    const auto found = value_.find(key);
    if (found == value_.end()) fail(fmt::format("the key \"{}\" is missing.", key));
    return {*found, file_, place_ + "/" + key};
}

std::vector<JsonReader> JsonReader::elements() const {
    expect(value_.is_array(), "a list");
    std::vector<JsonReader> readers;
    for (const Json& element : value_)
        readers.emplace_back(element, file_, fmt::format("{}/{}", place_, readers.size()));
    return readers;
}

std::vector<std::pair<std::string, JsonReader>> JsonReader::members() const {
    expect(value_.is_object(), "an object");
    std::vector<std::pair<std::string, JsonReader>> readers;
    for (const auto& item : value_.items()) readers.emplace_back(item.key(), member(item.key()));
    return readers;
}

std::string JsonReader::text() const {
    expect(value_.is_string(), "a text");
    return value_.get<std::string>();
}

bool JsonReader::flag() const {
    expect(value_.is_boolean(), "true or false");
    return value_.get<bool>();
}

std::string JsonReader::scalar() const {
    expect(value_.is_string() || value_.is_number() || value_.is_boolean(), "a text or a number");
    return value_.is_string() ? value_.get<std::string>() : value_.dump();
}

std::vector<JsonReader> JsonReader::oneOrMore() const {
    return value_.is_array() ? elements() : std::vector<JsonReader>{*this};
}

} // namespace corvane
