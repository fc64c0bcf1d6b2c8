// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/DrawnFragment.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

/// The numbers that the points of several fragments have in a picture: those of a fragment follow each other, in the
/// order in which they are drawn. No two points have one number, and none has that of an empty pixel.
class PointNumbers {
public:
    /// Gives numbers to a fragment of so many points and returns how many of them got one: fewer when there are no more
    /// than that left. Fragments are counted from 0 on.
    std::size_t add(std::size_t points);

    std::size_t fragments() const { return first_.size() - 1; }
    std::uint32_t first(std::size_t fragment) const { return first_[fragment]; }
    std::size_t room(std::size_t fragment) const { return first_[fragment + 1] - first_[fragment]; }

    /// Whose number it is: the fragment, and the place in its order. The number must have been given.
    struct Place {
        std::size_t fragment = 0, point = 0;
    };
    Place find(std::uint32_t number) const {
        std::size_t fragment = start_[number / Stretch];
        while (number >= first_[fragment + 1]) ++fragment;
        return {fragment, number - first_[fragment]};
    }

private:
    static constexpr std::uint32_t Stretch = 8192; // numbers that are looked up together

    std::vector<std::uint32_t> first_{0}; // of each fragment, and the next to be given
    std::vector<std::uint32_t> start_;    // the fragment of the first number of each stretch
};

} // namespace corvane
