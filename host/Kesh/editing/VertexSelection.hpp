// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"
#include "Kesh/values/Brush.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace Kesh {

/// Finds the vertices of a fragment that are to be edited: all, or those under a brush. Loads positions, and the fields
/// that the brush's limit reads, only where the box of a fragment does not decide, or is not known yet.
class VertexSelection {
public:
    /// Whether the positions of the fragment behind the present one are loaded ahead, for whoever goes in their order.
    enum class Reading { Ahead, Present };

    /// Without a brush, every vertex. Brush and representation must outlive this. Throws std::runtime_error when
    /// something that the brush reads is not there.
    VertexSelection(const Fiber::Representation& representation, const Brush* brush, Reading reading = Reading::Ahead);

    /// Ascending indices, valid until the next call. Throws std::runtime_error when the fragment has not a position and
    /// a value of each field for every vertex.
    std::span<const std::uint32_t> of(const Holdfast::StrongPtr<Fiber::FragmentID>& fragment, std::size_t vertices);

private:
    using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;
    using DataPtr = Holdfast::StrongPtr<const Fiber::MemBase>;

    /// Without points where the brush does not read them.
    void select(const Holdfast::StrongPtr<Fiber::FragmentID>& fragment, const DataPtr& points, std::size_t vertices);
    void readAhead(const Fiber::FragmentID& present) const;
    std::span<const std::uint32_t> all(std::size_t vertices);

    FieldPtr positions_;
    std::vector<FieldPtr> fields_; // that the limit reads
    const Brush* brush_;
    Reading reading_;
    std::vector<std::uint32_t> selected_;
    std::vector<std::uint32_t> all_;
};

/// The values as doubles; empty when they are no numbers.
std::vector<double> numbersOf(const Fiber::MemBase& data);

} // namespace Kesh
