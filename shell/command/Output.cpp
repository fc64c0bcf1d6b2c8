// SPDX-License-Identifier: Apache-2.0
#include "command/Output.hpp"

#include "base/Text.hpp"
#include "check/ClassNames.hpp"
#include "command/Terminal.hpp"
#include "las/CoordinateText.hpp"
#include "survey/LabelFile.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <unistd.h>

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

namespace {

/// The name behind a number, if there is one.
std::string nameOf(const Kesh::LabelSet& names, int value) {
    const Kesh::Label* label = names.find(value);
    return label ? escaped(label->name) : "";
}

std::uint64_t totalOf(const ClassCounts& counts) {
    std::uint64_t total = 0;
    for (const auto& [value, count] : counts) total += count;
    return total;
}

} // namespace

void printCounts(const ClassCounts& before, const ClassCounts& after, const Kesh::LabelSet& names) {
    ClassCounts all = before;
    all.insert(after.begin(), after.end());
    const auto of = [](const ClassCounts& counts, int value) {
        const auto found = counts.find(value);
        return found == counts.end() ? 0 : static_cast<std::int64_t>(found->second);
    };
    printHead(fmt::format("{:>7} {:>13} {:>13} {:>13}  {}", "class", "before", "after", "change",
                          names.empty() ? "" : "name"));
    for (const auto& [value, count] : all) {
        const std::int64_t was = of(before, value), is = of(after, value);
        printLine(fmt::format("{:>7} {:>13} {:>13} {:>13}  {}", value, was, is,
                              was == is ? "" : fmt::format("{:+}", is - was), nameOf(names, value)));
    }
}

void printCounts(const ClassCounts& counts, const Kesh::LabelSet& names) {
    printHead(fmt::format("{:>7} {:>13} {:>9}  {}", "class", "points", "", names.empty() ? "" : "name"));
    const std::uint64_t total = totalOf(counts);
    for (const auto& [value, count] : counts)
        printLine(fmt::format("{:>7} {:>13} {:>9}  {}", value, count, percentText(count, total), nameOf(names, value)));
}

namespace {

/// Coordinates with the decimals of the file, all else as short as it can be.
std::string quantityText(const std::string& quantity, const LasHeader& header, double value) {
    const auto axis = std::string_view("XYZ").find(static_cast<char>(std::toupper(quantity[0])));
    if (quantity.size() != 1 || axis == std::string_view::npos) return fmt::format("{:.6g}", value);
    return coordinateText(header, axis, value);
}

} // namespace

void printHistogram(const Kesh::VHistogram& histogram, const std::string& field, const Kesh::LabelSet& names,
                    const LasHeader& header) {
    const bool secondary = !histogram.sum.empty();
    const std::string& name = histogram.secondaryName;
    std::string head = fmt::format("{:>7} {:>13} {:>9}", field == ClassificationName ? "class" : "value", "points", "");
    if (secondary) head += fmt::format(" {:>13} {:>13} {:>13}", "min " + name, "max " + name, "mean " + name);
    printHead(head + (names.empty() ? "" : "  name"));
    for (std::size_t i = 0; i < histogram.size(); ++i) {
        const int value = static_cast<int>(histogram.value(i));
        std::string line = fmt::format("{:>7} {:>13} {:>9}", value, histogram.counts[i],
                                       percentText(histogram.counts[i], histogram.total()));
        if (secondary) {
            const double mean = histogram.sum[i] / double(histogram.counts[i]);
            for (const double quantity : {histogram.minimum[i], histogram.maximum[i], mean})
                line += fmt::format(" {:>13}", quantityText(name, header, quantity));
        }
        printLine(line + "  " + nameOf(names, value));
    }
    fmt::print("{}\n", pointsText(histogram.total()));
}

void printError(const std::string& sentence) {
    fmt::print(stderr, "{} {}\n", coloured("corvane:", Red, STDERR_FILENO), escaped(sentence));
}

void printHead(const std::string& line) {
    fmt::print("{}\n", coloured(line.substr(0, line.find_last_not_of(' ') + 1), Bold, STDOUT_FILENO));
}

void printLine(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    fmt::print("{}\n", line);
}

void printWritten(const std::string& path, std::uint64_t points, std::uint64_t bytes, double seconds) {
    fmt::print("wrote {}: {} in {:.1f} s, {:.0f} MB/s\n", escaped(path), pointsText(points), seconds,
               double(bytes) / 1e6 / std::max(seconds, 1e-3));
}

Kesh::LabelSet namesOf(const Survey& survey, const Kesh::LabelSet& labels,
                       const std::vector<const ClassCounts*>& counts) {
    std::set<int> values;
    for (const ClassCounts* one : counts)
        for (const auto& [value, count] : *one) values.insert(value);
    Kesh::LabelSet names = labelsFor(survey, "", values);
    for (const auto& [value, label] : labels)
        if (names.find(value)) names[value] = label;
    return names;
}

} // namespace corvane
