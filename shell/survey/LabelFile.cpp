// SPDX-License-Identifier: Apache-2.0
#include "survey/LabelFile.hpp"

#include "base/Failure.hpp"
#include "base/OutputFile.hpp"
#include "survey/StandardLabels.hpp"
#include "json/Document.hpp"

#include <fmt/format.h>

#include <span>

namespace corvane {
namespace {

using LabelTrait = Kesh::VValueTrait<Kesh::LabelSet>;
constexpr std::uint64_t LargestFile = 16 << 20; // bytes; a label takes about a hundred, and there are 65,536 at most

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
    if (!path.empty()) return loadLabels(path);
    Kesh::LabelSet labels = standardLabels(values, survey.las().header.pointFormat);
    if (survey.labels())
        for (const auto& [value, label] : *survey.labels()) labels[value] = label;
    return labels;
}

std::vector<std::string> saveLabels(const Kesh::LabelSet& labels, const std::string& path, bool overwrite) {
    const json::Value json = json::Value::parse(LabelTrait::Text(labels));
    std::string text = "{\"labels\": [";
    const char* separator = "\n  ";
    for (const json::Value& label : json["labels"]) {
        text += separator + label.dump();
        separator = ",\n  ";
    }
    text += fmt::format("\n],\n\"selections\": {}}}\n", json["selections"].dump());
    OutputFile file(path, overwrite);
    file.write(std::as_bytes(std::span(text)));
    return file.commit();
}

} // namespace corvane
