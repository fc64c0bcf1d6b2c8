// SPDX-License-Identifier: Apache-2.0
#include "network/ClassCounts.hpp"

#include "Failure.hpp"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace corvane {
namespace {

/// Counters side by side, so that equal neighbours do not wait for each other's addition.
constexpr std::size_t Lanes = 4;

template <class T>
class Counter {
public:
    void add(std::span<const T> values) {
        std::size_t i = 0;
        for (; i + Lanes <= values.size(); i += Lanes)
            for (std::size_t lane = 0; lane < Lanes; ++lane) ++counts_[lane][indexOf(values[i + lane])];
        for (; i < values.size(); ++i) ++counts_[0][indexOf(values[i])];
    }

    ClassCounts counts() const {
        ClassCounts counts;
        for (std::size_t i = 0; i < Values; ++i) {
            std::uint64_t sum = 0;
            for (const auto& lane : counts_) sum += lane[i];
            if (sum > 0) counts[int(i) + Smallest] = sum;
        }
        return counts;
    }

private:
    static constexpr int Smallest = std::numeric_limits<T>::min();
    static constexpr std::size_t Values = std::size_t{std::numeric_limits<T>::max() - Smallest} + 1;
    static std::size_t indexOf(T value) { return static_cast<std::size_t>(int(value) - Smallest); }

    std::array<std::vector<std::uint64_t>, Lanes> counts_{
        std::vector<std::uint64_t>(Values), std::vector<std::uint64_t>(Values), std::vector<std::uint64_t>(Values),
        std::vector<std::uint64_t>(Values)};
};

template <class T>
ClassCounts countAs(const Fiber::Field& field) {
    Counter<T> counter;
    field.iterate([&](const auto&, const auto& array) {
        if (const auto values = Fiber::arrayOf<T>(array->getData())) counter.add(values->values());
        return true;
    });
    return counter.counts();
}

} // namespace

ClassCounts countClasses(const Fiber::Field& field) {
    const std::type_info& type = field.getElementType();
    if (type == typeid(std::uint8_t)) return countAs<std::uint8_t>(field);
    if (type == typeid(std::uint16_t)) return countAs<std::uint16_t>(field);
    if (type == typeid(std::int8_t)) return countAs<std::int8_t>(field);
    if (type == typeid(std::int16_t)) return countAs<std::int16_t>(field);
    throw Failure("Only fields of integers of 8 or 16 bits can be counted by value.");
}

std::uint64_t changedPoints(const ClassCounts& before, const ClassCounts& after) {
    std::uint64_t lost = 0;
    for (const auto& [value, count] : before) {
        const auto now = after.find(value);
        const std::uint64_t left = now == after.end() ? 0 : now->second;
        if (left < count) lost += count - left;
    }
    return lost;
}

} // namespace corvane
