// SPDX-License-Identifier: Apache-2.0
#include "histogram/ClassStatistics.hpp"

#include <algorithm>
#include <array>
#include <cmath>
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

/// The mask entries of a group: none set, all set, or both kinds.
enum class Entries { None, All, Some };
Entries entriesOf(const std::uint8_t* mask) {
    constexpr std::uint64_t ones = 0x0101010101010101, tops = 0x8080808080808080;
    std::uint64_t word;
    std::memcpy(&word, mask, sizeof word);
    if (word == 0) return Entries::None;
    return ((word - ones) & ~word & tops) == 0 ? Entries::All : Entries::Some; // no byte is zero
}

// The numbers of a quantity. The loops are made for each of them, so that nothing is decided point by point.

struct NoNumbers {
    static constexpr bool Any = false;
    double operator()(std::size_t) const { return 0; }
};

template <std::size_t Stride>
struct NumbersApart {
    static constexpr bool Any = true;
    const double* first;
    double operator()(std::size_t i) const { return first[i * Stride]; }
};

struct AnyNumbers {
    static constexpr bool Any = true;
    Quantity quantity;
    double operator()(std::size_t i) const { return quantity[i]; }
};

/// Calls the function with the quantity's numbers.
template <class Function>
void withNumbers(Quantity quantity, Function function) {
    if (!quantity) return function(NoNumbers{});
    if (quantity.stride == 1) return function(NumbersApart<1>{quantity.first});
    if (quantity.stride == 3) return function(NumbersApart<3>{quantity.first}); // a coordinate of positions
    function(AnyNumbers{quantity});
}

/// What the numbers of a group come to, two by two rather than one after the other.
template <class Numbers, class Combine>
double combined(Numbers numbers, std::size_t first, Combine combine) {
    std::array<double, Group> all;
    for (std::size_t j = 0; j < Group; ++j) all[j] = numbers(first + j);
    for (std::size_t half = Group / 2; half > 0; half /= 2)
        for (std::size_t j = 0; j < half; ++j) all[j] = combine(all[j + half], all[j]);
    return all[0];
}

} // namespace

template <class T>
void ClassStatistics<T>::Bin::merge(const Pair& otherExtremes, const Pair& otherSums) {
    extremes = otherExtremes < extremes ? otherExtremes : extremes;
    sums += otherSums;
}

/// What one thread of a team makes of its pieces.
template <class T>
struct ClassStatistics<T>::Summaries {
    ClassStatistics<T> statistics; // of the piece at hand
    std::size_t first = 0;         // number of the first piece
    std::vector<Summary> ofPieces;
};

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
    addShared(values, points, points.mask.size() - unselected, points.mask.size(), quantity);
}

template <class T>
template <class Points>
void ClassStatistics<T>::addShared(std::span<const T> values, Points points, std::size_t selected, std::size_t size,
                                   Quantity quantity) {
    withNumbers(quantity, [&](auto numbers) {
        if (selected <= SerialLimit<T>) return addPart(values.data(), points, 0, size, numbers);
        std::vector<Summary> all((size + Piece - 1) / Piece);
        countInTeam<Summaries>(
            all.size(),
            [&](Summaries& own, std::size_t begin, std::size_t end) {
                own.first = begin;
                for (std::size_t i = begin; i < end; ++i) {
                    own.statistics.addPart(values.data(), points, i * Piece, std::min(size, (i + 1) * Piece), numbers);
                    own.ofPieces.push_back(own.statistics.take());
                }
            },
            [&](Summaries& own) { std::ranges::move(own.ofPieces, all.begin() + std::ptrdiff_t(own.first)); });
        for (const Summary& summary : all)
            for (const auto& [value, part] : summary) bin(value, 0).merge(part.extremes, part.sums);
    });
}

template <class T>
template <class Numbers>
void ClassStatistics<T>::addPart(const T* values, AllPoints, std::size_t begin, std::size_t end, Numbers numbers) {
    for (; end - begin >= Group; begin += Group) addNeighbours(values, begin, numbers);
    for (; begin < end; ++begin) addPoint(values[begin], begin, numbers, begin);
}

template <class T>
template <class Numbers>
void ClassStatistics<T>::addPart(const T* values, IndexedPoints points, std::size_t begin, std::size_t end,
                                 Numbers numbers) {
    const auto& indices = points.indices;
    for (; end - begin >= Group; begin += Group) {
        const bool neighbours = indices[begin + Group - 1] - indices[begin] == Group - 1; // since they ascend
        if (neighbours)
            addNeighbours(values, indices[begin], numbers);
        else
            addScattered(values, indices.subspan(begin, Group), numbers);
    }
    addScattered(values, indices.subspan(begin, end - begin), numbers);
}

/// What is selected here and there cannot be predicted: its indices are gathered without a branch.
template <class T>
template <class Numbers>
void ClassStatistics<T>::addPart(const T* values, MaskedPoints points, std::size_t begin, std::size_t end,
                                 Numbers numbers) {
    constexpr std::size_t most = 512;
    std::array<std::uint32_t, most + Group> gathered;
    std::size_t count = 0;
    const auto gather = [&](std::size_t first, std::size_t n) {
        for (std::size_t i = first; i < first + n; ++i) {
            gathered[count] = static_cast<std::uint32_t>(i);
            count += points.mask[i] != 0;
        }
        if (count < most) return;
        addScattered(values, std::span(gathered).first(count), numbers);
        count = 0;
    };
    for (; end - begin >= Group; begin += Group) {
        const Entries entries = entriesOf(&points.mask[begin]);
        if (entries == Entries::All) addNeighbours(values, begin, numbers);
        if (entries == Entries::Some) gather(begin, Group);
    }
    gather(begin, end - begin);
    addScattered(values, std::span(gathered).first(count), numbers);
}

template <class T>
template <class Numbers>
inline void ClassStatistics<T>::addPoint(T value, std::size_t lane, Numbers numbers, std::size_t i) {
    Bin& own = bin(value, lane);
    const double number = numbers(i);
    if constexpr (Numbers::Any)
        own.merge(Pair{number, -number}, Pair{number, 1});
    else
        own.sums[1] += 1;
}

template <class T>
template <class Numbers>
void ClassStatistics<T>::addScattered(const T* values, std::span<const std::uint32_t> indices, Numbers numbers) {
    for (std::size_t k = 0; k < indices.size(); ++k) addPoint(values[indices[k]], k, numbers, indices[k]);
}

/// A group of points in a row. Where a number is none, each is looked at by itself: it must not hide the others.
template <class T>
template <class Numbers>
inline void ClassStatistics<T>::addNeighbours(const T* values, std::size_t first, Numbers numbers) {
    if (uniform(values + first)) {
        const double sum = combined(numbers, first, [](double a, double b) { return a + b; });
        if (!std::isnan(sum)) {
            const double minimum = combined(numbers, first, [](double a, double b) { return a < b ? a : b; });
            const double maximum = combined(numbers, first, [](double a, double b) { return a > b ? a : b; });
            Bin& own = bin(values[first], 0);
            if constexpr (Numbers::Any)
                own.merge(Pair{minimum, -maximum}, Pair{sum, Group});
            else
                own.sums[1] += Group;
            return;
        }
    }
    for (std::size_t j = 0; j < Group; ++j) addPoint(values[first + j], j, numbers, first + j);
}

/// What was added, which is forgotten.
template <class T>
auto ClassStatistics<T>::take() -> Summary {
    Summary summary;
    for (std::size_t value = 0; value < BinsOf<T>; ++value) {
        Bin whole;
        for (Bin& lane : std::span(bins_).subspan(value * Lanes, Lanes)) {
            whole.merge(lane.extremes, lane.sums);
            lane = Bin();
        }
        if (whole.sums[1] > 0) summary.emplace_back(static_cast<T>(value), whole);
    }
    return summary;
}

template <class T>
auto ClassStatistics<T>::result(const std::string& quantityName) const -> typename FieldHistogram<T>::Ptr {
    const auto histogram = Holdfast::create<FieldHistogram<T>>();
    std::vector<Bin> merged(BinsOf<T>);
    for (std::size_t i = 0; i < bins_.size(); ++i) merged[i / Lanes].merge(bins_[i].extremes, bins_[i].sums);
    for (std::size_t i = 0; i < merged.size(); ++i)
        histogram->counts->values[i] = static_cast<std::uint64_t>(merged[i].sums[1]);
    if (quantityName.empty()) return histogram;
    histogram->secondary = quantityName;
    for (const Bin& bin : merged) {
        histogram->minimum.push_back(bin.extremes[0]);
        histogram->maximum.push_back(-bin.extremes[1]);
        histogram->sum.push_back(bin.sums[0]);
    }
    return histogram;
}

template class ClassStatistics<unsigned char>;
template class ClassStatistics<unsigned short>;

} // namespace Fiber
