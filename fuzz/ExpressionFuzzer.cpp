// SPDX-License-Identifier: Apache-2.0
// Any text as an expression: it is refused with its column or understood, and then blocks of points, single points and
// boxes must agree.
#include "limit/Expression.hpp"
#include "limit/Limits.hpp"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using Point = Sextant::PhysicalSpace::point;

void require(bool holds) {
    if (!holds) std::abort();
}

void evaluate(const std::string& text) {
    constexpr std::size_t count = 515; // a block and a little more
    const auto limit = corvane::where(text);
    std::vector<Point> positions;
    for (std::size_t i = 0; i < count; ++i)
        positions.emplace_back(double(i % 7) - 3, double(i % 11) / 4, double(i) - 250);
    Kesh::PointColumns points{positions, {}};
    std::vector<std::vector<double>> fields;
    for (std::size_t field = 0; field < limit->fields().size(); ++field) {
        fields.emplace_back();
        for (std::size_t i = 0; i < count; ++i) fields.back().push_back(double((i + field) % 5));
    }
    for (const auto& field : fields) points.fields.emplace_back(field);

    std::vector<std::uint32_t> selected, narrowed;
    limit->select(points, selected);
    for (std::uint32_t i = 0; i < count; ++i) narrowed.push_back(i);
    limit->narrow(points, narrowed);
    require(selected == narrowed);
    std::size_t next = 0;
    for (std::uint32_t i = 0; i < count; i += 101) {
        while (next < selected.size() && selected[next] < i) ++next;
        const bool holds = next < selected.size() && selected[next] == i;
        require(limit->holds(points, i) == holds);
        const auto part = limit->partOf({positions[i] - Point(0.5), positions[i] + Point(0.5)});
        require(part == Kesh::BoxPart::Some || (part == Kesh::BoxPart::All) == holds);
    }
    require(!limit->text().empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        evaluate(text);
    } catch (const corvane::ExpressionError& error) {
        require(error.column >= 1 && error.column <= size + 1);
    }
    return 0;
}
