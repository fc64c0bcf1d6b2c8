// SPDX-License-Identifier: Apache-2.0
#include "las/ChunkPacker.hpp"

#include "base/Failure.hpp"
#include "laz/LayeredChunk.hpp"

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>

namespace corvane {
namespace {

laz::ReadBytes readFrom(std::span<const std::byte> bytes) {
    return [bytes](std::uint64_t offset, std::span<std::byte> wanted) {
        std::ranges::copy(bytes.subspan(offset, wanted.size()), wanted.begin());
    };
}

/// Whether any record differs in these bits.
bool differ(std::span<const std::byte> a, std::span<const std::byte> b, std::size_t stride,
            const laz::RecordBytes& place) {
    for (std::size_t record = 0; record < a.size(); record += stride)
        for (std::size_t at = record + place.begin; at < record + place.end; ++at)
            if (((a[at] ^ b[at]) & std::byte(place.bits)) != std::byte{0}) return true;
    return false;
}

bool has(const laz::Layout& layout, const laz::LayerSet& layers, laz::LayerKind kind) {
    const auto kinds = layout.layers();
    for (std::size_t i = 0; i < kinds.size(); ++i)
        if (layers[i] && kinds[i].kind == kind) return true;
    return false;
}

} // namespace

std::vector<std::byte> ChunkPacker::pack(std::span<const std::byte> records) const {
    const auto encoder = laz::encodeChunk(layout_);
    encoder->encode(records);
    auto chunk = encoder->finish();
    check(chunk, records, {});
    return chunk;
}

ChunkPacker::Edited ChunkPacker::edit(const InputFile& file, const LazChunk& chunk, const PointEdits& edits) const {
    const std::size_t stride = layout_.recordLength();
    Edited edited;
    edited.places = edits.places({chunk.first, static_cast<std::size_t>(chunk.points)});
    if (edited.places.empty()) return edited;
    edited.bytes.resize(chunk.bytes);
    file.read(chunk.offset, edited.bytes);
    if (layout_.layered()) edited.read = layersToDecode(laz::layersOf(layout_, edited.places));
    edited.before = decoded(edited.bytes, chunk.points, edited.read);
    edited.after = edited.before;
    edits.apply(edited.after, stride, chunk.first);
    std::erase_if(edited.places,
                  [&](const auto& place) { return !differ(edited.before, edited.after, stride, place); });
    return edited;
}

std::optional<std::vector<std::byte>> ChunkPacker::repack(const InputFile& file, const LazChunk& chunk,
                                                          const PointEdits& edits) const {
    const Edited edited = edit(file, chunk, edits);
    if (edited.places.empty()) return std::nullopt;
    if (!layout_.layered() || mustBePacked(laz::layersOf(layout_, edited.places))) return pack(edited.after);
    auto repacked = laz::replaceLayers(layout_, edited.bytes, edited.after, layersToReplace(edited.places));
    check(repacked, edited.after, edited.read);
    return repacked;
}

ChunkPacker::InPlace ChunkPacker::repackInPlace(const InputFile& file, const LazChunk& chunk,
                                                const PointEdits& edits) const {
    Edited edited = edit(file, chunk, edits);
    if (edited.places.empty()) return {};
    if (!layout_.layered() || mustBePacked(laz::layersOf(layout_, edited.places))) return {false, {}, {}};
    auto repacked = laz::replaceLayersInPlace(layout_, edited.bytes, edited.after, layersToReplace(edited.places));
    if (!repacked) return {false, {}, {}};
    check(*repacked, edited.after, edited.read);
    return {true, std::move(edited.bytes), std::move(*repacked)};
}

/// Whether other layers depend on these.
bool ChunkPacker::mustBePacked(const laz::LayerSet& changed) const {
    return has(layout_, changed, laz::LayerKind::First) || has(layout_, changed, laz::LayerKind::Time);
}

/// The first layer says of which points angle and source differ from the point before.
laz::LayerSet ChunkPacker::layersToReplace(const WantedBytes& places) const {
    using enum laz::LayerKind;
    auto changed = laz::layersOf(layout_, places);
    changed.front() = has(layout_, changed, Angle) || has(layout_, changed, Source);
    return changed;
}

/// Those that are needed for encoding the changed ones anew; all when the first one is among them.
laz::LayerSet ChunkPacker::layersToDecode(const laz::LayerSet& changed) const {
    using enum laz::LayerKind;
    if (mustBePacked(changed)) return {};
    laz::LayerSet layers = changed;
    if (!has(layout_, changed, Angle) && !has(layout_, changed, Source)) return layers;
    const auto kinds = layout_.layers();
    for (std::size_t i = 0; i < kinds.size(); ++i)
        layers[i] = layers[i] || kinds[i].kind == Angle || kinds[i].kind == Source || kinds[i].kind == Time;
    return layers;
}

std::vector<std::byte> ChunkPacker::decoded(std::span<const std::byte> chunk, std::uint64_t points,
                                            const laz::LayerSet& layers) const {
    constexpr std::uint64_t piece = 1 << 16; // points; memory grows with what is there, their number is only a claim
    const std::size_t stride = layout_.recordLength();
    const auto decoder = laz::decodeChunk(layout_, readFrom(chunk), chunk.size(), points, layers);
    std::vector<std::byte> records;
    for (std::uint64_t done = 0; done < points;) {
        const std::uint64_t count = std::min(piece, points - done);
        records.resize((done + count) * stride);
        if (decoder->decode(std::span(records).subspan(done * stride)) < count)
            throw laz::Error("found a damaged chunk, expected a whole one");
        done += count;
    }
    if (layout_.chunked() && !decoder->usedUp()) throw laz::Error("found bytes that no point needs, expected none");
    return records;
}

void ChunkPacker::check(std::span<const std::byte> chunk, std::span<const std::byte> records,
                        const laz::LayerSet& layers) const {
    const auto again = decoded(chunk, records.size() / layout_.recordLength(), layers);
    if (std::memcmp(again.data(), records.data(), records.size()) != 0)
        throw std::logic_error("a chunk of points does not give back what was put into it");
}

} // namespace corvane
