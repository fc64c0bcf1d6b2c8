// SPDX-License-Identifier: Apache-2.0
#include "session/PointInfo.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace corvane {
namespace {

/// As many digits as the scale of a coordinate says; none for one that says nothing.
std::string coordinateText(double value, double scale) {
    constexpr double MostDigits = 12;
    const double digits = std::ceil(-std::log10(std::abs(scale)) - 1e-9);
    if (!std::isfinite(digits)) return fmt::format("{}", value);
    return fmt::format("{:.{}f}", value, static_cast<int>(std::clamp(digits, 0.0, MostDigits)));
}

std::string textAt(const Fiber::MemBase& values, std::size_t i) {
    std::string text;
    Fiber::visitArray<std::uint8_t, std::int8_t, std::uint16_t, std::int16_t, std::uint32_t, std::int32_t,
                      std::uint64_t, std::int64_t, float, double>(
        values, [&](const auto& array) { text = fmt::format("{}", array.values()[i]); });
    return text;
}

double numberAt(const Fiber::MemBase& values, std::size_t i) {
    double number = std::nan("");
    Fiber::visitArray<double>(values, [&](const auto& array) { number = array.values()[i]; });
    return number;
}

} // namespace

std::vector<std::pair<std::string, std::string>> pointInfo(const WorkbenchState& state, std::uint32_t fragment,
                                                           std::size_t index) {
    const auto known = state.classes->find(fragment);
    if (known == state.classes->end() || index >= known->second->size())
        throw UsageError(fmt::format("{}: there is no point {} in fragment {}.", state.path, index, fragment));
    const LasHeader& header = state.open->survey->las().header;
    std::vector<std::pair<std::string, std::string>> info;
    info.emplace_back("Point", std::to_string(state.open->survey->ranges().at(fragment).first + index));
    for (const SurveyField& field : state.open->survey->fields()) {
        if (field.dimension == SurveyField::None) continue; // positions: X, Y and Z are among the others
        if (field.name == state.field) {
            const int value = std::stoi(textAt(*known->second->getData(), index));
            const Kesh::Label* label = state.labels->find(value);
            info.emplace_back(field.name, label && !label->name.empty() ? fmt::format("{} {}", value, label->name)
                                                                        : std::to_string(value));
            continue;
        }
        const auto values = state.open->fields.at(field.name)->fragments().at(fragment).array->getData();
        const std::size_t axis = field.name == "X" ? 0 : field.name == "Y" ? 1 : field.name == "Z" ? 2 : 3;
        info.emplace_back(field.name, axis < 3 ? coordinateText(numberAt(*values, index), header.scale[axis])
                                               : textAt(*values, index));
    }
    return info;
}

} // namespace corvane
