// SPDX-License-Identifier: Apache-2.0
#include "histogram/ClassStatistics.hpp"

#include "histogram/CountValues.hpp"

#include <algorithm>
#include <array>
#include <cstring>

namespace Fiber {
namespace {

/// So many points are looked at together.
constexpr std::size_t Group = 8;

/// Whether the values of a group are all the same.
template <class T>
bool uniform(const T* values) {
    return std::memcmp(values, values + 1, (Group - 1) * sizeof(T)) == 0;
}

} // namespace

template <class T>
void ClassStatistics<T>::Bin::add(double value) {
    minimum = value < minimum ? value : minimum;
    maximum = value > maximum ? value : maximum;
    sum += value;
}

template <class T>
void ClassStatistics<T>::Bin::merge(const Bin& other) {
    count += other.count;
    minimum = std::min(minimum, other.minimum);
    maximum = std::max(maximum, other.maximum);
    sum += other.sum;
}

template <class T>
void ClassStatistics<T>::add(std::span<const T> values, AllPoints points, Quantity quantity) {
    addShared(values, points, points.size, points.size, quantity);
}

template <class T>
void ClassStatistics<T>::add(std::span<const T> values, IndexedPoints points, Quantity quantity) {
    addShared(values, points, points.indices.size(), points.indices.size(), quantity);
}

template <class T>
void ClassStatistics<T>::add(std::span<const T> values, MaskedPoints points, Quantity quantity) {
    std::size_t unselected = 0;
    for (const std::uint8_t entry : points.mask) unselected += entry == 0;
    const std::size_t selected = points.mask.size() - unselected;
    if (selected > 0) addShared(values, points, selected, points.mask.size(), quantity);
}

template <class T>
template <class Points>
void ClassStatistics<T>::addShared(std::span<const T> values, Points points, std::size_t selected, std::size_t size,
                                   Quantity quantity) {
    if (selected <= SerialLimit<T>) return addPart(values, points, 0, size, quantity);
    countInTeam<ClassStatistics<T>>(
        size,
        [&](ClassStatistics<T>& own, std::size_t begin, std::size_t end) {
            own.addPart(values, points, begin, end, quantity);
        },
        [this](const ClassStatistics<T>& own) { merge(own); });
}

template <class T>
void ClassStatistics<T>::addPart(std::span<const T> values, AllPoints, std::size_t begin, std::size_t end,
                                 Quantity quantity) {
    std::size_t i = begin;
    for (; i + Group <= end; i += Group) addGroup(values.data(), i, quantity);
    for (; i < end; ++i) {
        Bin& own = bin(values[i], i);
        ++own.count;
        if (quantity) own.add(quantity[i]);
    }
}

template <class T>
void ClassStatistics<T>::addPart(std::span<const T> values, IndexedPoints points, std::size_t begin, std::size_t end,
                                 Quantity quantity) {
    addIndices(values, points.indices.subspan(begin, end - begin), quantity);
}

/// Indices are compacted without a branch, a block at a time: what is selected here and there is not predictable.
template <class T>
void ClassStatistics<T>::addPart(std::span<const T> values, MaskedPoints points, std::size_t begin, std::size_t end,
                                 Quantity quantity) {
    constexpr std::size_t block = 1024;
    std::array<std::uint32_t, block + 1> indices;
    for (; begin < end; begin += std::min(block, end - begin)) {
        const std::size_t blockEnd = begin + std::min(block, end - begin);
        std::size_t selected = 0;
        for (std::size_t i = begin; i < blockEnd; ++i) {
            indices[selected] = static_cast<std::uint32_t>(i);
            selected += points.mask[i] != 0;
        }
        addIndices(values, std::span(indices).first(selected), quantity);
    }
}

template <class T>
void ClassStatistics<T>::addIndices(std::span<const T> values, std::span<const std::uint32_t> indices,
                                    Quantity quantity) {
    std::size_t k = 0;
    for (; k + Group <= indices.size(); k += Group) {
        if (indices[k + Group - 1] - indices[k] == Group - 1) { // ascending, so they are neighbours
            addGroup(values.data(), indices[k], quantity);
            continue;
        }
        for (std::size_t j = 0; j < Group; ++j) {
            const std::uint32_t i = indices[k + j];
            Bin& own = bin(values[i], j);
            ++own.count;
            if (quantity) own.add(quantity[i]);
        }
    }
    for (; k < indices.size(); ++k) {
        Bin& own = bin(values[indices[k]], k);
        ++own.count;
        if (quantity) own.add(quantity[indices[k]]);
    }
}

/// Neighbours from `first` on.
template <class T>
void ClassStatistics<T>::addGroup(const T* values, std::size_t first, Quantity quantity) {
    if (!uniform(values + first)) {
        for (std::size_t j = 0; j < Group; ++j) {
            Bin& own = bin(values[first + j], j);
            ++own.count;
            if (quantity) own.add(quantity[first + j]);
        }
        return;
    }
    Bin& own = bin(values[first], 0);
    own.count += Group;
    if (!quantity) return;
    Bin group;
    for (std::size_t j = 0; j < Group; ++j) group.add(quantity[first + j]);
    own.merge(group);
}

template <class T>
void ClassStatistics<T>::merge(const ClassStatistics& other) {
    for (std::size_t i = 0; i < bins_.size(); ++i) bins_[i].merge(other.bins_[i]);
}

template <class T>
auto ClassStatistics<T>::result(const std::string& quantityName) const -> typename FieldHistogram<T>::Ptr {
    const auto histogram = Holdfast::create<FieldHistogram<T>>();
    std::vector<Bin> merged(BinsOf<T>);
    for (std::size_t i = 0; i < bins_.size(); ++i) merged[i / Lanes].merge(bins_[i]);
    for (std::size_t i = 0; i < merged.size(); ++i) histogram->counts->values[i] = merged[i].count;
    if (quantityName.empty()) return histogram;
    histogram->secondary = quantityName;
    for (const Bin& bin : merged) {
        histogram->minimum.push_back(bin.minimum);
        histogram->maximum.push_back(bin.maximum);
        histogram->sum.push_back(bin.sum);
    }
    return histogram;
}

template class ClassStatistics<unsigned char>;
template class ClassStatistics<unsigned short>;

} // namespace Fiber
