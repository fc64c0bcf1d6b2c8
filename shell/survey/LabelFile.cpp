// SPDX-License-Identifier: Apache-2.0
#include "survey/LabelFile.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "survey/StandardLabels.hpp"
#include "json/Document.hpp"

#include <fmt/format.h>

#include <cmath>
#include <span>

namespace corvane {
namespace {

using LabelTrait = Kesh::VValueTrait<Kesh::LabelSet>;
constexpr std::uint64_t LargestFile = 16 << 20; // bytes; a label takes about a hundred, and there are 65,536 at most

void lay(const Kesh::LabelSet& upper, Kesh::LabelSet& labels) {
    for (const auto& [value, label] : upper) labels[value] = label;
    for (const auto& [selection, chosen] : upper.selections()) {
        labels.addSelection(selection);
        if (chosen) labels.select(selection, *chosen);
    }
}

/// "color": "#rrggbb" in the place of the four numbers, where it says the same.
json::Value withHexColour(const json::Value& label, const Sextant::rgba_float_t& colour) {
    const auto byte = [](float channel) { return static_cast<int>(std::lround(channel * 255)); };
    const auto whole = [&](float channel) { return static_cast<float>(byte(channel)) / 255 == channel; };
    if (colour.a != 1 || !whole(colour.r) || !whole(colour.g) || !whole(colour.b)) return label;
    json::Value hex = json::Value::object();
    for (const auto& [key, value] : label.items())
        if (key == "colour")
            hex["color"] = fmt::format("#{:02x}{:02x}{:02x}", byte(colour.r), byte(colour.g), byte(colour.b));
        else
            hex[key] = value;
    return hex;
}

} // namespace

Kesh::LabelSet loadLabels(const std::string& path) {
    const std::string text = readTextFile(path, LargestFile);
    try {
        Kesh::LabelSet labels;
        LabelTrait::setValueFromText(labels, text);
        return labels;
    } catch (const std::invalid_argument& problem) {
        throw Failure(fmt::format("{}: {}; correct it there.", path, problem.what()));
    }
}

Kesh::LabelSet labelsFor(const Survey& survey, const std::string& path, const std::set<int>& values) {
    Kesh::LabelSet labels = standardLabels(values, survey.las().header.pointFormat);
    if (survey.labels()) lay(*survey.labels(), labels);
    if (!path.empty()) lay(loadLabels(path), labels);
    return labels;
}

std::vector<std::string> saveLabels(const Kesh::LabelSet& labels, const std::string& path, bool overwrite) {
    const json::Value json = json::Value::parse(LabelTrait::Text(labels));
    std::string text = "{\"labels\": [";
    const char* separator = "\n  ";
    std::size_t number = 0;
    for (const auto& [value, label] : labels) {
        text += separator + withHexColour(json["labels"][number++], label.colour).dump();
        separator = ",\n  ";
    }
    text += fmt::format("\n],\n\"selections\": {}}}\n", json["selections"].dump());
    OutputFile file(path, overwrite);
    file.write(std::as_bytes(std::span(text)));
    return file.commit();
}

} // namespace corvane
