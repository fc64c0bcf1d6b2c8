// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/LabelSet.hpp"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <limits>
#include <stdexcept>
#include <vector>

namespace Kesh {

const Label* LabelSet::find(int value) const {
    const auto found = labels_.find(value);
    return found == labels_.end() ? nullptr : &found->second;
}

Label& LabelSet::operator[](int value) {
    const auto [entry, isNew] = labels_.try_emplace(value);
    if (isNew) entry->second.value = value;
    return entry->second;
}

bool LabelSet::addSelection(const std::string& name) { return selections_.try_emplace(name).second; }

int LabelSet::getSelectedValue(const std::string& name) const {
    const auto found = selections_.find(name);
    return found == selections_.end() ? NothingSelected : found->second.value_or(NothingSelected);
}

bool LabelSet::select(const std::string& name, int value) {
    const auto found = selections_.find(name);
    if (found == selections_.end() || value < 0 || !find(value)) return false;
    found->second = value;
    return true;
}

namespace {

using Json = nlohmann::ordered_json;

/// The shortest number that reads as this float again.
double shortest(float number) {
    double read = number;
    const std::string digits = fmt::format("{}", number);
    std::from_chars(digits.data(), digits.data() + digits.size(), read);
    return static_cast<float>(read) == number ? read : number;
}

Json asJson(const Label& label) {
    Json flags = Json::object();
    for (const auto& [flag, on] : std::map(label.flags.begin(), label.flags.end())) flags[flag] = on;
    const auto& [r, g, b, a] = label.colour;
    return {{"value", label.value},
            {"name", label.name},
            {"text", label.text},
            {"colour", {shortest(r), shortest(g), shortest(b), shortest(a)}},
            {"flags", flags}};
}

/// A part of the text and its place in it, as a JSON pointer.
class Part {
public:
    Part(const Json& json, std::string place) : json_(json), place_(std::move(place)) {}

    [[noreturn]] void refuse(const std::string& problem) const {
        throw std::invalid_argument((place_.empty() ? "" : "at " + place_ + ": ") + problem);
    }

    /// Calls the function with key and part of each member. With `known`, others are refused.
    template <class Function>
    void eachMember(const std::vector<std::string>& known, Function function) const {
        expect(json_.is_object(), "an object");
        for (const auto& [key, value] : json_.items()) {
            if (!known.empty() && std::find(known.begin(), known.end(), key) == known.end())
                refuse(fmt::format("the key \"{}\" was found where one of \"{}\" is expected", key,
                                   fmt::join(known, "\", \"")));
            function(key, Part(value, place_ + "/" + key));
        }
    }

    std::vector<Part> elements(const char* expected) const {
        expect(json_.is_array(), expected);
        std::vector<Part> parts;
        for (const Json& element : json_) parts.emplace_back(element, fmt::format("{}/{}", place_, parts.size()));
        return parts;
    }

    Part member(const char* key) const {
        expect(json_.is_object(), "an object");
        const auto found = json_.find(key);
        if (found == json_.end()) refuse(fmt::format("the key \"{}\" is missing", key));
        return {*found, place_ + "/" + key};
    }

    int integer() const {
        constexpr auto least = std::numeric_limits<int>::min(), most = std::numeric_limits<int>::max();
        const double number = json_.is_number_integer() ? json_.get<double>() : std::numeric_limits<double>::infinity();
        expect(number >= least && number <= most, "a whole number of 32 bits");
        return json_.get<int>();
    }

    float fraction() const {
        const double number = json_.is_number() ? json_.get<double>() : -1;
        expect(number >= 0 && number <= 1, "a number from 0 to 1");
        return static_cast<float>(number);
    }

    std::string text() const {
        expect(json_.is_string(), "a text");
        return json_.get<std::string>();
    }

    bool flag() const {
        expect(json_.is_boolean(), "true or false");
        return json_.get<bool>();
    }

    bool isNull() const { return json_.is_null(); }

    void expect(bool holds, const char* expected) const {
        if (!holds) refuse(fmt::format("{} was found where {} is expected", shown(), expected));
    }

private:
    std::string shown() const {
        constexpr std::size_t longest = 40;
        std::string text = json_.dump(-1, ' ', true, Json::error_handler_t::replace);
        return text.size() <= longest ? text : text.substr(0, longest) + "...";
    }

    const Json& json_;
    std::string place_;
};

Sextant::rgba_float_t readColour(const Part& part) {
    constexpr char expected[] = "a list of four numbers (red, green, blue, opacity)";
    const auto parts = part.elements(expected);
    part.expect(parts.size() == 4, expected);
    return {parts[0].fraction(), parts[1].fraction(), parts[2].fraction(), parts[3].fraction()};
}

void readLabel(LabelSet& set, const Part& part) {
    const Part valuePart = part.member("value");
    const int value = valuePart.integer();
    if (set.find(value)) valuePart.refuse(fmt::format("the value {} has a label already; keep one of the two", value));
    Label& label = set[value];
    part.eachMember({"value", "name", "text", "colour", "flags"}, [&](const std::string& key, const Part& member) {
        if (key == "name") label.name = member.text();
        if (key == "text") label.text = member.text();
        if (key == "colour") label.colour = readColour(member);
        if (key == "flags")
            member.eachMember({}, [&](const std::string& flag, const Part& on) { label.flags[flag] = on.flag(); });
    });
}

void readSelection(LabelSet& set, const std::string& name, const Part& part) {
    set.addSelection(name);
    if (part.isNull()) return;
    const int value = part.integer();
    if (!set.select(name, value)) part.refuse(fmt::format("the value {} cannot be chosen: it has no label", value));
}

Json parse(const std::string& text) {
    try {
        return Json::parse(text);
    } catch (const Json::parse_error& error) {
        throw std::invalid_argument(fmt::format("is not JSON at byte {}", error.byte));
    }
}

} // namespace

std::string VValueTrait<LabelSet>::Text(const LabelSet& value) {
    Json labels = Json::array(), selections = Json::object();
    for (const auto& [key, label] : value) labels.push_back(asJson(label));
    for (const auto& [name, chosen] : value.selections()) selections[name] = chosen ? Json(*chosen) : Json();
    return Json{{"labels", labels}, {"selections", selections}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void VValueTrait<LabelSet>::setValueFromText(LabelSet& value, const std::string& text) {
    const Json json = parse(text);
    const Part root(json, "");
    LabelSet read;
    for (const Part& label : root.member("labels").elements("a list of labels")) readLabel(read, label);
    root.eachMember({"labels", "selections"}, [&](const std::string& key, const Part& member) {
        if (key == "selections")
            member.eachMember({},
                              [&](const std::string& name, const Part& chosen) { readSelection(read, name, chosen); });
    });
    value = std::move(read);
}

template class VValue<LabelSet>;

} // namespace Kesh
