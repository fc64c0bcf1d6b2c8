// SPDX-License-Identifier: Apache-2.0
#include "Kesh/values/LabelSet.hpp"

#include "json/Reader.hpp"

#include <fmt/format.h>

#include <charconv>

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

/// The shortest number that reads as this float again.
double shortest(float number) {
    double read = number;
    const std::string digits = fmt::format("{}", number);
    std::from_chars(digits.data(), digits.data() + digits.size(), read);
    return static_cast<float>(read) == number ? read : number;
}

json::Value asJson(const Label& label) {
    json::Value flags = json::Value::object();
    for (const auto& [flag, on] : std::map(label.flags.begin(), label.flags.end())) json::append(flags, flag, on);
    const auto& [r, g, b, a] = label.colour;
    return {{"value", label.value},
            {"name", label.name},
            {"text", label.text},
            {"colour", {shortest(r), shortest(g), shortest(b), shortest(a)}},
            {"flags", flags}};
}

float fraction(const json::Reader& part) {
    const double number = part.value().is_number() ? part.number() : -1;
    part.expect(number >= 0 && number <= 1, "a number from 0 to 1");
    return static_cast<float>(number);
}

Sextant::rgba_float_t readColour(const json::Reader& part) {
    part.expect(part.value().is_array() && part.value().size() == 4,
                "a list of four numbers (red, green, blue, opacity)");
    const auto parts = part.elements();
    return {fraction(parts[0]), fraction(parts[1]), fraction(parts[2]), fraction(parts[3])};
}

/// "#rrggbb"
Sextant::rgba_float_t readHexColour(const json::Reader& part) {
    const std::string& text = part.text();
    std::uint32_t bytes = 0;
    const char* end = text.data() + text.size();
    const bool marked = text.size() == 7 && text[0] == '#';
    const auto [stop, error] = marked ? std::from_chars(text.data() + 1, end, bytes, 16)
                                      : std::from_chars_result{nullptr, std::errc::invalid_argument};
    part.expect(error == std::errc() && stop == end, "a colour such as \"#ff8000\"");
    const auto channel = [&](int shift) { return static_cast<float>((bytes >> shift) & 0xFF) / 255; };
    return {channel(16), channel(8), channel(0), 1};
}

void readLabel(LabelSet& set, const json::Reader& part) {
    part.expectKeys({"value", "name", "text", "colour", "color", "flags"});
    const json::Reader valuePart = part.member("value");
    const int value = valuePart.integer();
    if (set.find(value)) valuePart.fail(fmt::format("the value {} has a label already; keep one of the two", value));
    Label& label = set[value];
    if (part.has("name")) label.name = part.member("name").text();
    if (part.has("text")) label.text = part.member("text").text();
    if (part.has("colour")) label.colour = readColour(part.member("colour"));
    if (part.has("color")) {
        if (part.has("colour")) part.member("color").fail("\"colour\" is given, too; keep one of the two");
        label.colour = readHexColour(part.member("color"));
    }
    if (part.has("flags"))
        for (const auto& [flag, on] : part.member("flags").members()) label.flags[flag] = on.flag();
}

void readSelection(LabelSet& set, const std::string& name, const json::Reader& part) {
    set.addSelection(name);
    if (part.value().is_null()) return;
    const int value = part.integer();
    if (!set.select(name, value)) part.fail(fmt::format("the value {} cannot be chosen: it has no label", value));
}

} // namespace

std::string VValueTrait<LabelSet>::Text(const LabelSet& value) {
    json::Value labels = json::Value::array(), selections = json::Value::object();
    for (const auto& [key, label] : value) labels.push_back(asJson(label));
    for (const auto& [name, chosen] : value.selections())
        json::append(selections, name, chosen ? json::Value(*chosen) : json::Value());
    return json::Value{{"labels", labels}, {"selections", selections}}.dump(-1, ' ', false,
                                                                            json::Value::error_handler_t::replace);
}

void VValueTrait<LabelSet>::setValueFromText(LabelSet& value, const std::string& text) {
    const json::Document document(text);
    const json::Reader root(document);
    root.expectKeys({"labels", "selections"});
    LabelSet read;
    for (const json::Reader& label : root.member("labels").elements()) readLabel(read, label);
    if (root.has("selections"))
        for (const auto& [name, chosen] : root.member("selections").members()) readSelection(read, name, chosen);
    value = std::move(read);
}

template class VValue<LabelSet>;

} // namespace Kesh
