// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/DrawOrder.hpp"
#include "picture/PackedPoints.hpp"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace corvane {

/// A bit for each point.
struct BitColumn {
    std::vector<std::uint64_t> words;
    std::size_t count = 0;

    bool operator[](std::size_t i) const { return (words[i / 64] >> (i % 64) & 1) != 0; }
    std::size_t size() const { return count; }
};

/// One thing that is known of each drawn point, in the order in which they are drawn.
struct DrawnColumn {
    using Bytes = std::vector<std::uint8_t>;
    using Words = std::vector<std::uint16_t>;
    using Colours = std::vector<std::uint32_t>;
    using Numbers = std::vector<float>; ///< less the offset

    std::variant<Bytes, Words, Colours, Numbers, BitColumn> values;
    double offset = 0; ///< of the numbers

    std::size_t size() const;
    std::size_t bytes() const;
};

/// The points of a fragment as they are drawn: the first ones in the order of its size, which are an even sample of
/// all of them. Never changed once others can see it; what is replaced is shared with what it replaces as far as it
/// stays.
struct DrawnFragment {
    /// The number of what is a sample of a survey, and of none of its fragments.
    static constexpr std::uint32_t Sample = ~std::uint32_t{0};

    std::uint32_t number = Sample; ///< of the fragment
    std::size_t total = 0;         ///< points of the fragment, of which as many as are packed are here
    std::size_t most = 0;          ///< as many of them there will be here at most
    std::shared_ptr<const PackedPoints> packed;
    std::map<std::string, std::shared_ptr<const DrawnColumn>> columns; ///< each as long as the packed points, or longer
    std::shared_ptr<const std::vector<std::uint32_t>> order; ///< null: that of the size; else some are not drawn at all

    /// The column of that name; null when it is not there.
    const DrawnColumn* column(const std::string& name) const;

    /// The number in the fragment of a point, by its place in the order.
    std::size_t pointAt(std::size_t place) const;

    std::size_t drawable() const { return packed ? packed->points.size() : 0; }
    std::size_t bytes() const;
};

using DrawnFragments = std::vector<std::shared_ptr<const DrawnFragment>>;

} // namespace corvane
