// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace corvane {

using Json = nlohmann::ordered_json;

/// Parses a JSON text; a key that stands twice in one object is an error, too. `where` begins the messages.
Json parseJson(const std::string& text, const std::string& where);

/// A value in a JSON file and its place, for messages such as `net.json at /actions/2/press: …`.
class JsonReader {
public:
    JsonReader(const Json& value, std::string file, std::string place = "")
        : value_(value), file_(std::move(file)), place_(std::move(place)) {}

    const Json& value() const { return value_; }

    /// Throws UsageError with the place in front.
    [[noreturn]] void fail(const std::string& what) const;

    /// Throws the failure again, with the place in front.
    [[noreturn]] void failed(const Failure& failure) const;

    /// Calls the function; a UsageError that it throws gets the place in front.
    template <class Function>
    auto at(Function function) const {
        try {
            return function();
        } catch (const UsageError& error) {
            fail(error.what());
        }
    }

    /// An object with no other keys than these.
    void expectKeys(const std::vector<std::string>& known) const;

    bool has(const std::string& key) const { return value_.contains(key); }
    JsonReader member(const std::string& key) const;
    std::vector<JsonReader> elements() const;
    std::vector<std::pair<std::string, JsonReader>> members() const;

    std::string text() const;
    bool flag() const;

    double number() const;

    /// A list of so many numbers.
    std::vector<double> numbers(std::size_t count) const;

    /// A text, number, truth value or object, as the text form of a parameter's value.
    std::string valueText() const;

    /// A text, or a list of texts.
    std::vector<JsonReader> oneOrMore() const;

private:
    std::string prefix() const;
    void expect(bool holds, const char* expected) const;

    const Json& value_;
    std::string file_;
    std::string place_; // JSON pointer
};

} // namespace corvane
