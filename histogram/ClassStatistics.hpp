// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "histogram/FieldHistogram.hpp"

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Fiber {

/// A number of every point of a fragment: lying apart, as one coordinate of positions does. None: a default one.
struct Quantity {
    const double* first = nullptr;
    std::size_t stride = 1; ///< in doubles

    explicit operator bool() const { return first != nullptr; }
    double operator[](std::size_t i) const { return first[i * stride]; }
};

// Which points of a fragment are counted. `size` is the number of elements that threads share.

struct AllPoints {
    std::size_t size;
};

/// Those with these indices, ascending.
struct IndexedPoints {
    std::span<const std::uint32_t> indices;
};

/// Those whose byte is not zero.
struct MaskedPoints {
    std::span<const std::uint8_t> mask;
};

/// Counts per class, and minimum, maximum and sum of a quantity per class, of selected points; fragment by fragment.
/// Nothing depends on the number of threads: sums are taken over pieces of fixed length, and added in their order.
template <class T>
class ClassStatistics {
public:
    /// `quantity` covers all values, or there is none: then the points are only counted. Large selections are shared
    /// among threads.
    void add(std::span<const T> values, AllPoints points, Quantity quantity);
    void add(std::span<const T> values, IndexedPoints points, Quantity quantity);
    void add(std::span<const T> values, MaskedPoints points, Quantity quantity);

    /// Everything that was added. With the name of a quantity also its statistics: those of a class of which no point
    /// had one are the largest finite number as minimum, the lowest as maximum, and zero as sum.
    typename FieldHistogram<T>::Ptr result(const std::string& quantityName) const;

private:
    using Pair = double __attribute__((vector_size(2 * sizeof(double))));

    /// Two instructions update all four numbers.
    struct Bin {
        Pair extremes{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()}; ///< minimum, -maximum
        Pair sums{0, 0}; ///< of the quantity, and the number of points, which is exact up to 2^53

        void merge(const Pair& otherExtremes, const Pair& otherSums);
    };

    template <class Points>
    void addShared(std::span<const T> values, Points points, std::size_t selected, std::size_t size, Quantity quantity);
    template <class Numbers>
    void addPart(const T* values, AllPoints, std::size_t begin, std::size_t end, Numbers numbers);
    template <class Numbers>
    void addPart(const T* values, IndexedPoints points, std::size_t begin, std::size_t end, Numbers numbers);
    template <class Numbers>
    void addPart(const T* values, MaskedPoints points, std::size_t begin, std::size_t end, Numbers numbers);
    template <class Numbers>
    void addPoint(T value, std::size_t lane, Numbers numbers, std::size_t i);
    template <class Numbers>
    void addNeighbours(const T* values, std::size_t first, Numbers numbers);
    template <class Numbers>
    void addScattered(const T* values, std::span<const std::uint32_t> indices, Numbers numbers);

    using Summary = std::vector<std::pair<T, Bin>>; // of the values that occur
    struct Summaries;
    Summary take();

    /// Elements of the points that are summed up together. Small enough for many threads.
    static constexpr std::size_t Piece = SerialLimit<T> / 4;

    /// Neighbours of one class are added to bins side by side, so that they do not wait for each other.
    static constexpr std::size_t Lanes = sizeof(T) == 1 ? 4 : 1; // more would not fit the cache
    Bin& bin(T value, std::size_t lane) { return bins_[value * Lanes + lane % Lanes]; }

    std::vector<Bin> bins_ = std::vector<Bin>(BinsOf<T> * Lanes);
};

extern template class ClassStatistics<unsigned char>;
extern template class ClassStatistics<unsigned short>;

} // namespace Fiber
