// SPDX-License-Identifier: Apache-2.0
#include "picture/DrawnFragment.hpp"

namespace corvane {

std::size_t DrawnColumn::size() const {
    return std::visit([](const auto& held) { return held.size(); }, values);
}

std::size_t DrawnColumn::bytes() const {
    if (const auto* bits = std::get_if<BitColumn>(&values)) return bits->words.size() * sizeof(std::uint64_t);
    return std::visit([]<class Values>(const Values& held) { return held.size() * sizeof(decltype(held[0])); }, values);
}

const DrawnColumn* DrawnFragment::column(const std::string& name) const {
    const auto found = columns.find(name);
    return found == columns.end() ? nullptr : found->second.get();
}

std::size_t DrawnFragment::pointAt(std::size_t place) const {
    return order ? (*order)[place] : (*drawOrder(total))[place];
}

std::size_t DrawnFragment::bytes() const {
    std::size_t sum = drawable() * sizeof(std::uint64_t);
    for (const auto& [name, column] : columns) sum += column->bytes();
    return sum;
}

} // namespace corvane
