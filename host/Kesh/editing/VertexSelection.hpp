// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"
#include "Kesh/values/Brush.hpp"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Kesh {

/// Finds the vertices of a fragment that are to be edited: all, or those under a brush. Loads positions, and the fields
/// that the brush's limit reads, only where the box of a fragment does not decide, or is not known yet.
class VertexSelection {
public:
    /// Whether the next fragment is looked at meanwhile, on the thread of the cache, for whoever goes in their order.
    enum class Reading { Ahead, Present };

    /// Without a brush, every vertex. Brush and representation must outlive this. Throws std::runtime_error when
    /// something that the brush reads is not there.
    VertexSelection(const Fiber::Representation& representation, const Brush* brush, Reading reading = Reading::Ahead);
    ~VertexSelection();
    VertexSelection(const VertexSelection&) = delete;
    VertexSelection& operator=(const VertexSelection&) = delete;

    /// Ascending indices, valid until the next call. Throws std::runtime_error when the fragment has not a position and
    /// a value of each field for every vertex.
    std::span<const std::uint32_t> of(const Holdfast::StrongPtr<Fiber::FragmentID>& fragment, std::size_t vertices);

private:
    using FieldPtr = Holdfast::StrongPtr<Fiber::Field>;
    using FragmentPtr = Holdfast::StrongPtr<Fiber::FragmentID>;
    using DataPtr = Holdfast::StrongPtr<const Fiber::MemBase>;
    struct Ahead;

    /// How much of the fragment is selected; the indices where it is some of it. Safe on any thread.
    BoxPart find(const FragmentPtr& fragment, std::size_t vertices, std::vector<std::uint32_t>& indices) const;

    /// Without points where the brush does not read them.
    void select(const FragmentPtr& fragment, const DataPtr& points, std::size_t vertices,
                std::vector<std::uint32_t>& indices) const;
    void lookAhead(const Fiber::FragmentID& present);
    BoxPart take(const FragmentPtr& fragment, std::size_t vertices);
    std::span<const std::uint32_t> all(std::size_t vertices);

    FieldPtr positions_;
    std::vector<FieldPtr> fields_; // that the limit reads
    const Brush* brush_;
    Reading reading_;
    std::shared_ptr<Ahead> ahead_; // null: nothing is looked at meanwhile
    std::vector<std::uint32_t> selected_;
    std::vector<std::uint32_t> all_;
};

/// The values as doubles; empty when they are no numbers.
std::vector<double> numbersOf(const Fiber::MemBase& data);

} // namespace Kesh
