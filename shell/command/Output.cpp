// SPDX-License-Identifier: Apache-2.0
#include "command/Output.hpp"

#include "base/Text.hpp"

#include <fmt/format.h>

namespace corvane {
namespace {

/// Names of files need not be UTF-8; JSON must.
void makeUtf8(Json& json) {
    if (json.is_string()) json = asUtf8(json.get_ref<const std::string&>());
    if (json.is_structured())
        for (Json& part : json) makeUtf8(part);
}

} // namespace

std::shared_ptr<bool> addJsonFlag(CLI::App& command) {
    auto flag = std::make_shared<bool>(false);
    command.add_flag("--json", *flag, "Print one JSON document, for scripts");
    return flag;
}

void printJson(Json json) {
    makeUtf8(json);
    fmt::print("{}\n", escapedJson(json.dump(2, ' ', false, Json::error_handler_t::replace)));
}

Json countsAsJson(const ClassCounts& counts) {
    Json json = Json::object();
    for (const auto& [value, count] : counts) json::append(json, std::to_string(value), count);
    return json;
}

Json histogramAsJson(const Kesh::VHistogram& histogram, const Kesh::LabelSet& labels) {
    Json json = Json::parse(Kesh::VValueTrait<Kesh::VHistogram>::Text(histogram));
    for (Json& entry : json["values"]) {
        const Kesh::Label* label = labels.find(entry["value"]);
        Json named{{"value", entry["value"]}, {"label", label ? Json(label->name) : Json()}};
        named.update(entry);
        entry = std::move(named);
    }
    return json;
}

void printCounts(const ClassCounts& before, const ClassCounts& after) {
    ClassCounts all = before;
    all.insert(after.begin(), after.end());
    const auto of = [](const ClassCounts& counts, int value) {
        const auto found = counts.find(value);
        return found == counts.end() ? 0 : static_cast<std::int64_t>(found->second);
    };
    fmt::print("{:>7} {:>13} {:>13} {:>13}\n", "class", "before", "after", "change");
    for (const auto& [value, count] : all) {
        const std::int64_t was = of(before, value), is = of(after, value);
        fmt::print("{:>7} {:>13} {:>13} {:>13}\n", value, was, is, was == is ? "" : fmt::format("{:+}", is - was));
    }
}

void printCounts(const ClassCounts& counts) {
    fmt::print("{:>7} {:>13}\n", "class", "points");
    for (const auto& [value, count] : counts) fmt::print("{:>7} {:>13}\n", value, count);
}

} // namespace corvane
