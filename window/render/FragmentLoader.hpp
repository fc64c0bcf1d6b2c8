// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "picture/DrawnFragment.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace corvane {

/// What is to be made of a fragment's values.
struct LoadJob {
    using Array = Holdfast::StrongPtr<Fiber::CreativeArrayBase>;

    std::uint32_t number = 0;
    Array positions;                                   ///< empty: the points stay as they are in `before`
    std::map<std::string, std::vector<Array>> columns; ///< to be made; of no arrays: there are no values
    std::size_t keep = 0;                              ///< points, where they are packed
    std::size_t most = 0;                              ///< that it may ever have
    Sextant::PhysicalSpace::point unit{0};
    std::shared_ptr<const DrawnFragment> before; ///< whose other columns stay where the points do; may be null
};

/// Loads the values and packs them; they may leave memory afterwards. Throws what loading throws, and Failure when
/// values are not those of such a fragment.
std::shared_ptr<const DrawnFragment> loadFragment(const LoadJob& job);

/// The same fragment with fewer points.
std::shared_ptr<const DrawnFragment> shortened(const DrawnFragment& fragment, std::size_t count);

/// Points that belong to no fragment, in as few parts as are drawn fast, each an even sample of them: positions, of
/// which those that are no numbers are left out, and as many classes or none.
DrawnFragments sampleFragments(std::span<const Sextant::PhysicalSpace::point> positions,
                               std::span<const std::uint16_t> classes, const Sextant::PhysicalSpace::point& unit);

} // namespace corvane
