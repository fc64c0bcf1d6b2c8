// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Sextant/Geometry.hpp"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace json {
class Reader;
}

namespace Kesh {

/// What holds for the points of a box: none, some or all of them are selected.
enum class BoxPart { None, Some, All };

/// Points side by side: their positions, and for each field that is read beside them its values.
struct PointColumns {
    std::span<const Sextant::PhysicalSpace::point> positions;
    std::vector<std::span<const double>> fields; ///< in the order in which they were asked for; as long as positions

    /// Of points. Positions may be left out where nobody reads them.
    std::size_t size() const { return positions.empty() && !fields.empty() ? fields.front().size() : positions.size(); }
};

/// A condition that a point must meet to be selected. Immutable; brushes share it.
class Limit {
public:
    virtual ~Limit() = default;

    /// Names of the fields that it reads beside the positions.
    virtual std::vector<std::string> fields() const { return {}; }

    /// Whether it looks at positions; one that does not reads fields.
    virtual bool readsPositions() const { return true; }

    /// How many of the points in a box meet it; Some also where that is not known without looking at them.
    virtual BoxPart partOf(const Sextant::BoundingBox& box) const = 0;

    /// A box around all that meet it, infinite where nothing bounds it.
    virtual Sextant::BoundingBox bounds() const = 0;

    /// Whether point i meets it: the plain test, that the operations below agree with bit for bit.
    virtual bool holds(const PointColumns& points, std::size_t i) const = 0;

    /// Puts the indices of the points that meet it into `indices`, ascending, in place of what was there.
    virtual void select(const PointColumns& points, std::vector<std::uint32_t>& indices) const = 0;

    /// Takes out the indices of the points that do not meet it.
    virtual void narrow(const PointColumns& points, std::vector<std::uint32_t>& indices) const = 0;

    /// JSON. Two limits with the same text are the same.
    virtual std::string text() const = 0;

    /// Makes a limit from its text form again. Throws json::Error.
    using Maker = std::shared_ptr<const Limit> (*)(const json::Reader& text);

    /// Who implements limits says once how they are read; without anybody, none can be.
    static bool registerMaker(Maker maker);
    static std::shared_ptr<const Limit> read(const json::Reader& text);
};

using LimitPtr = std::shared_ptr<const Limit>;

} // namespace Kesh
