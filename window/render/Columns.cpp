// SPDX-License-Identifier: Apache-2.0
#include "render/Columns.hpp"

#include "picture/Look.hpp"

#include <algorithm>
#include <cmath>

namespace corvane {
namespace {

using Values = Holdfast::StrongPtr<const Fiber::MemBase>;
using Order = std::span<const std::uint32_t>;

/// Calls the function with the values as what they are; false when they are no numbers.
template <class Function>
bool withNumbers(const Fiber::MemBase& values, Function function) {
    return Fiber::visitArray<std::uint8_t, std::uint16_t, std::int8_t, std::int16_t, std::uint32_t, std::int32_t,
                             std::uint64_t, std::int64_t, float, double>(
        values, [&](const auto& array) { function(array.values()); });
}

template <class To, class From>
std::vector<To> gathered(std::span<const From> values, Order order) {
    std::vector<To> result(order.size());
    for (std::size_t i = 0; i < order.size(); ++i) result[i] = static_cast<To>(values[order[i]]);
    return result;
}

BitColumn bits(const Fiber::MemBase& values, Order order) {
    BitColumn column{std::vector<std::uint64_t>((order.size() + 63) / 64), order.size()};
    withNumbers(values, [&](const auto numbers) {
        for (std::size_t i = 0; i < order.size(); ++i)
            column.words[i / 64] |= std::uint64_t{numbers[order[i]] != 0} << (i % 64);
    });
    return column;
}

/// Numbers near the first one keep their digits.
DrawnColumn numbers(const Fiber::MemBase& values, Order order) {
    DrawnColumn column;
    withNumbers(values, [&]<class T>(std::span<const T> from) {
        const double first = from.empty() ? 0 : double(from.front());
        column.offset = std::isfinite(first) ? first : 0;
        DrawnColumn::Numbers to(order.size());
        for (std::size_t i = 0; i < order.size(); ++i)
            to[i] = static_cast<float>(double(from[order[i]]) - column.offset);
        column.values = std::move(to);
    });
    return column;
}

/// Red, green and blue with 8 bits each. They have 16, of which some writers use the lower 8.
DrawnColumn::Colours colours(std::span<const Values> channels, Order order) {
    double most = 0;
    for (const Values& channel : channels)
        withNumbers(*channel, [&](const auto values) {
            if (!values.empty()) most = std::max(most, double(*std::ranges::max_element(values)));
        });
    const double brightest = most > 0xFF ? 0xFFFF : 0xFF;
    DrawnColumn::Colours result(order.size());
    for (const Values& channel : channels)
        withNumbers(*channel, [&](const auto values) {
            for (std::size_t i = 0; i < order.size(); ++i) {
                const double part = std::clamp(double(values[order[i]]) / brightest, 0.0, 1.0);
                result[i] = result[i] << 8 | static_cast<std::uint32_t>(part * 255 + 0.5);
            }
        });
    return result;
}

DrawnColumn codes(const Fiber::MemBase& values, Order order) {
    DrawnColumn column;
    withNumbers(values, [&]<class T>(std::span<const T> from) {
        if constexpr (sizeof(T) == 1)
            column.values = gathered<std::uint8_t>(from, order);
        else
            column.values = gathered<std::uint16_t>(from, order);
    });
    return column;
}

bool isCode(const std::string& name) {
    return name == column::Class || name == column::Return || name == column::Intensity;
}

} // namespace

std::shared_ptr<const DrawnColumn> makeColumn(const std::string& name, std::span<const Values> values, Order order) {
    constexpr std::size_t channels = 3;
    if (values.size() != (name == column::Rgb ? channels : 1)) return nullptr;
    for (const Values& one : values)
        if (!one || !withNumbers(*one, [](const auto&) {})) return nullptr;
    if (name == column::Rgb) return std::make_shared<const DrawnColumn>(DrawnColumn{colours(values, order)});
    if (name == column::Mask) return std::make_shared<const DrawnColumn>(DrawnColumn{bits(*values.front(), order)});
    if (isCode(name)) return std::make_shared<const DrawnColumn>(codes(*values.front(), order));
    return std::make_shared<const DrawnColumn>(numbers(*values.front(), order));
}

double columnBytes(const std::string& name, const std::type_info& type) {
    if (name == column::Mask) return 1.0 / 8;
    if (!isCode(name)) return sizeof(float);
    return type == typeid(std::uint8_t) || type == typeid(std::int8_t) ? 1 : 2;
}

std::shared_ptr<const DrawnColumn> shortened(const DrawnColumn& column, std::size_t count) {
    DrawnColumn result{{}, column.offset};
    std::visit(
        [&]<class Held>(const Held& held) {
            if constexpr (std::same_as<Held, BitColumn>)
                result.values = BitColumn{
                    {held.words.begin(), held.words.begin() + static_cast<std::ptrdiff_t>((count + 63) / 64)}, count};
            else
                result.values = Held(held.begin(), held.begin() + static_cast<std::ptrdiff_t>(count));
        },
        column.values);
    return std::make_shared<const DrawnColumn>(std::move(result));
}

} // namespace corvane
