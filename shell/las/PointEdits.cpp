// SPDX-License-Identifier: Apache-2.0
#include "las/PointEdits.hpp"

#include "las/PointCodec.hpp"

namespace corvane {
namespace {

/// The edit's values for the points from `begin` to `end`, into their records.
void encode(const PointEdit& edit, std::span<std::byte> records, std::size_t stride, std::uint64_t begin,
            std::uint64_t end) {
    withStored(edit.dimension.storage, [&](auto stored) {
        using Stored = decltype(stored);
        const std::span values(reinterpret_cast<const Stored*>(edit.values.data()) + (begin - edit.first), end - begin);
        if constexpr (std::same_as<Stored, std::uint8_t>)
            if (edit.dimension.packed()) return encodeBits(records, stride, edit.dimension, values);
        encodeValues(records, stride, edit.dimension, values);
    });
}

} // namespace

PointEdits::PointEdits(std::vector<PointEdit> edits, std::shared_ptr<const void> owner)
    : edits_(std::move(edits)), owner_(std::move(owner)) {
    std::erase_if(edits_, [](const PointEdit& edit) { return edit.values.empty(); });
    std::ranges::stable_sort(edits_, {}, &PointEdit::first);
}

PointEdits PointEdits::storedIn(std::shared_ptr<const CompatibilityForm> form) const {
    PointEdits edits = *this;
    edits.form_ = std::move(form);
    return edits;
}

void PointEdits::apply(std::span<std::byte> records, std::size_t stride, std::uint64_t first) const {
    if (!form_) return write(records, stride, first);
    if (within(first, first + records.size() / stride).empty()) return;
    form_->edit(records, [&](std::span<std::byte> restored, std::size_t record) {
        write(restored, form_->recordLength(), first + record);
    });
}

void PointEdits::write(std::span<std::byte> records, std::size_t stride, std::uint64_t first) const {
    const std::uint64_t last = first + records.size() / stride;
    for (const PointEdit& edit : within(first, last)) {
        const std::uint64_t begin = std::max(first, edit.first), end = std::min(last, edit.end());
        encode(edit, records.subspan((begin - first) * stride), stride, begin, end);
    }
}

std::span<const PointEdit> PointEdits::within(std::uint64_t first, std::uint64_t last) const {
    const auto begin = std::ranges::partition_point(edits_, [&](const PointEdit& one) { return one.end() <= first; });
    const auto end = std::ranges::partition_point(edits_, [&](const PointEdit& one) { return one.first < last; });
    return {begin, std::max(begin, end)};
}

WantedBytes PointEdits::places(const PointRange& range) const {
    const auto edits = within(range.first, range.first + range.count);
    if (form_ && !edits.empty()) return {{0, form_->storedLength()}}; // one dimension, places all over the record
    std::vector<Dimension> dimensions;
    for (const PointEdit& edit : edits)
        if (std::ranges::find(dimensions, edit.dimension) == dimensions.end()) dimensions.push_back(edit.dimension);
    WantedBytes places;
    for (const Dimension& dimension : dimensions) places.push_back(dimension.place());
    return places;
}

std::vector<PointRange> PointEdits::stretches() const {
    std::vector<PointRange> stretches;
    std::uint64_t end = 0; // of the last one
    for (const PointEdit& edit : edits_) {
        if (stretches.empty() || edit.first > end) stretches.push_back({edit.first, 0});
        end = std::max(end, edit.end());
        stretches.back().count = end - stretches.back().first;
    }
    return stretches;
}

} // namespace corvane
