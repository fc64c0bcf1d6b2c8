// SPDX-License-Identifier: Apache-2.0
#include "check/ClassNames.hpp"

#include "las/StandardClasses.hpp"

#include <fmt/format.h>

namespace corvane {

std::string classNameOf(int value, const LasFile& las, const std::optional<Kesh::LabelSet>& own) {
    if (own)
        if (const Kesh::Label* label = own->find(value); label && !label->name.empty()) return label->name;
    const std::string name = standardClassName(value, las.header.pointFormat);
    return isReservedClass(value, las.header.pointFormat) || name == "User Definable" ? "" : name;
}

std::string classText(int value, const LasFile& las, const std::optional<Kesh::LabelSet>& own) {
    const std::string name = classNameOf(value, las, own);
    return name.empty() ? std::to_string(value) : fmt::format("{} {}", value, name);
}

std::string percentText(std::uint64_t part, std::uint64_t whole) {
    if (part == whole) return "100 %";
    const double percent = 100 * double(part) / double(whole);
    if (part > 0 && percent < 0.01) return "< 0.01 %";
    if (percent > 99.9) return "> 99.9 %";
    return fmt::format("{:.{}f} %", percent, percent < 1 ? 2 : 1);
}

} // namespace corvane
