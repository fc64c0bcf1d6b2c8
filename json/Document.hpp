// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <string>
#include <string_view>

namespace json {

using Value = nlohmann::ordered_json;

/// What is wrong with a JSON text. `what()` begins with the name of the text, if it has one, and the place in it as a
/// JSON pointer ("net.json at /actions/2: …"), and has no full stop, so that it can end the sentence of a caller.
struct Error : std::invalid_argument {
    using std::invalid_argument::invalid_argument;
};

/// A parsed text, and the name that begins the messages about it.
///
/// Rules: no key stands twice in an object; nothing is nested deeper than `Deepest` levels, so that what walks a
/// document may recurse; numbers are finite, and texts UTF-8. Time and memory grow with the length of the text.
struct Document {
    static constexpr int Deepest = 64;

    /// Throws Error.
    explicit Document(std::string_view text, std::string name = "");

    std::string name;
    Value root;
};

/// The beginning of a message: name and place, as far as there are any. A long key is cut.
std::string prefix(const std::string& name, const std::string& place);

/// One step of a JSON pointer.
std::string step(std::string_view key);
inline std::string step(std::size_t index) { return std::string("/").append(std::to_string(index)); }

/// The beginning of a value as JSON text.
std::string excerpt(const Value& value);

/// Adds a member whose key is not there yet. Unlike `object[key]` it does not look for it.
void append(Value& object, std::string key, Value value);

} // namespace json
