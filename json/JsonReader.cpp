// SPDX-License-Identifier: Apache-2.0
#include "json/JsonReader.hpp"

#include "base/NearestName.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace corvane {

namespace {

/// Follows a parser through a text, to find keys that stand twice.
class DuplicateFinder {
public:
    bool operator()(Json::parse_event_t event, const Json& parsed) {
        using Event = Json::parse_event_t;
        if (event == Event::key) return see(parsed.get<std::string>());
        if (event == Event::object_end || event == Event::array_end) return open_.pop_back(), true;
        if (!open_.empty() && open_.back().isArray) open_.back().member = std::to_string(open_.back().index++);
        if (event == Event::object_start || event == Event::array_start)
            open_.push_back({event == Event::array_start, 0, "", {}});
        return true;
    }

    /// JSON pointer of the first one, empty when there is none.
    const std::string& place() const { return place_; }
    std::string key() const { return place_.substr(place_.rfind('/') + 1); }

private:
    struct Container {
        bool isArray;
        std::size_t index;  // of the next element
        std::string member; // the one at hand
        std::set<std::string> keys;
    };

    bool see(const std::string& key) {
        open_.back().member = key;
        if (!open_.back().keys.insert(key).second && place_.empty())
            for (const Container& container : open_) place_ += "/" + container.member;
        return true;
    }

    std::vector<Container> open_;
    std::string place_;
};

} // namespace

Json parseJson(const std::string& text, const std::string& where) {
    DuplicateFinder finder;
    try {
        Json json = Json::parse(text, [&](int, auto event, const Json& parsed) { return finder(event, parsed); });
        if (finder.place().empty()) return json;
    } catch (const Json::parse_error& error) {
        throw UsageError(fmt::format("{}: is not JSON at byte {}: {}.", where, error.byte, error.what()));
    } catch (const Json::out_of_range& error) {
        throw UsageError(fmt::format("{}: holds a number that is too large: {}.", where, error.what()));
    }
    throw UsageError(fmt::format("{} at {}: the key \"{}\" stands twice in this object; keep one of them.", where,
                                 finder.place(), finder.key()));
}

std::string JsonReader::prefix() const { return file_ + (place_.empty() ? "" : " at " + place_) + ": "; }

void JsonReader::fail(const std::string& what) const { throw UsageError(prefix() + what); }

void JsonReader::failed(const Failure& failure) const { throw Failure(prefix() + failure.what()); }

void JsonReader::expect(bool holds, const char* expected) const {
    const std::string found = value_.type_name();
    if (!holds)
        fail(fmt::format("{} {} was found where {} is expected.", found == "array" || found == "object" ? "an" : "a",
                         found, expected));
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

double JsonReader::number() const {
    expect(value_.is_number(), "a number");
    return value_.get<double>();
}

std::vector<double> JsonReader::numbers(std::size_t count) const {
    std::vector<double> numbers;
    for (const JsonReader& element : elements()) numbers.push_back(element.number());
    if (numbers.size() != count)
        fail(fmt::format("{} numbers were found where {} are expected.", numbers.size(), count));
    return numbers;
}

std::string JsonReader::valueText() const {
    expect(!value_.is_array() && !value_.is_null(), "a text, a number or an object");
    return value_.is_string() ? value_.get<std::string>() : value_.dump();
}

std::vector<JsonReader> JsonReader::oneOrMore() const {
    return value_.is_array() ? elements() : std::vector<JsonReader>{*this};
}

} // namespace corvane
