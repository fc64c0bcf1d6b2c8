// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"
#include "Kesh/values/Brush.hpp"
#include "histogram/ClassStatistics.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <variant>

namespace Kesh {

/// Decides which points of a fragment are counted.
class CountRegion {
public:
    /// The region cannot be told, because something is missing.
    struct Unavailable {};
    struct NoPoints {};
    using Selection = std::variant<Unavailable, NoPoints, Fiber::AllPoints, Fiber::IndexedPoints, Fiber::MaskedPoints>;
    using FragmentPtr = Holdfast::StrongPtr<Fiber::FragmentID>;

    virtual ~CountRegion() = default;

    /// Valid until the next call. Each fragment has as many positions as points.
    virtual Selection select(const FragmentPtr& fragment, Fiber::CreativeArrayBase& positions) = 0;

    /// Whether counting in the fragment will read its positions, as far as that is known. `heights`: the second
    /// quantity is z.
    virtual bool readsPositions(const FragmentPtr& fragment, bool heights) const = 0;

    /// Whether values may be loaded.
    virtual bool loads() const { return true; }
};

/// Points in a box, faces included. Fragments whose known boxes do not meet it are not looked at.
std::unique_ptr<CountRegion> regionInBox(const Holdfast::StrongPtr<Fiber::Field>& positions,
                                         const Sextant::BoundingBox& box);

/// Points whose byte in the mask is not zero. Without a mask everything is unavailable.
std::unique_ptr<CountRegion> regionInMask(const Holdfast::StrongPtr<Fiber::Field>& mask);

/// Points under a brush whose volume lies in the box, as far as they are resident: nothing is loaded.
std::unique_ptr<CountRegion> regionUnderBrush(const Holdfast::StrongPtr<Fiber::Field>& positions, const Brush& brush,
                                              const Sextant::BoundingBox& box);

/// Whether the second quantity of this name is the height, which is read from the positions.
bool isHeight(const std::string& secondary);

/// What to count.
struct CountTask {
    Fiber::Representation& representation;
    Holdfast::StrongPtr<Fiber::Field> field, positions;
    CountRegion& region;
    std::string secondary; ///< the height, or the name of a field; empty for none

    /// Hears of the work before each fragment; false stops it.
    std::function<bool(std::uint64_t done, std::uint64_t total)> report;
};

struct ScopedCount {
    Holdfast::StrongPtr<Fiber::FieldHistogramBase> histogram; ///< null: the field's elements are not T
    bool complete = true;               ///< every fragment that may have points in the region was counted
    std::uint64_t fragments = 0;        ///< with points that were counted
    std::uint64_t withoutSecondary = 0; ///< those of them that had no second quantity
};

/// Counts the points of a region by the values of a field of T, and summarises the second quantity for each value.
/// Fragments that lack something are left out, and the count is not complete. Throws what loading throws.
template <class T>
ScopedCount countScope(const CountTask& task);

extern template ScopedCount countScope<unsigned char>(const CountTask&);
extern template ScopedCount countScope<unsigned short>(const CountTask&);

} // namespace Kesh
