// SPDX-License-Identifier: Apache-2.0
#include "laz/LayerKinds.hpp"
#include "laz/LayeredChunk.hpp"

#include <fmt/format.h>
#include <numeric>

namespace laz {
namespace {

class LayeredDecoder : public ChunkDecoder {
public:
    LayeredDecoder(const Layout& layout, const ReadBytes& read, const LayeredHead& head, const LayerSet& wanted)
        : stride_(layout.recordLength()), first_(head.firstRecord), firstLayer_(first_.data()) {
        const auto layers = layout.layers();
        const auto open = [&](std::size_t i) {
            const std::uint64_t begin = head.begin(i);
            streams_.push_back(std::make_unique<DecoderStream>(read, begin, begin + head.layerBytes[i]));
            return streams_.back().get();
        };
        if (head.points > 1) open(0);
        for (std::size_t i = 1; i < layers.size() && head.points > 1; ++i)
            if (wanted.empty() || wanted[i])
                layers_.push_back(makeLayer<Decoder, LayerDecoder>(layers[i].kind, layers[i], first_.data(),
                                                                   head.layerBytes[i] > 0 ? open(i) : nullptr));
    }

    std::size_t decode(std::span<std::byte> records) override {
        std::size_t sound = 0;
        const std::size_t count = records.size() / stride_;
        if (atFirst_ && count > 0) {
            std::ranges::copy(first_, records.begin());
            atFirst_ = false;
            sound = 1;
        }
        while (sound < count && !damaged_) {
            const std::size_t piece = std::min(count - sound, PiecePoints);
            const std::size_t pieceSound = decodePiece(records.subspan(sound * stride_, piece * stride_));
            damaged_ = pieceSound < piece;
            sound += pieceSound;
        }
        return sound;
    }

    bool usedUp() const override {
        return !damaged_ && std::ranges::all_of(streams_, [](const auto& stream) { return stream->onlyZerosLeft(); });
    }

private:
    std::size_t decodePiece(std::span<std::byte> records) {
        const std::size_t count = records.size() / stride_;
        std::size_t sound = decodeFirst(records);
        for (const auto& layer : layers_)
            sound = std::min(sound, layer->code(std::span(notes_).first(count), records.data(), stride_));
        return sound;
    }

    std::size_t decodeFirst(std::span<std::byte> records) {
        constexpr std::size_t mostBytesOfPoint = 32;
        Decoder& decoder = streams_.front()->withBytes(PiecePoints * mostBytesOfPoint);
        Decoder local = decoder;
        std::size_t sound = 0;
        for (std::byte* record = records.data(); record != records.data() + records.size(); record += stride_) {
            notes_[sound] = firstLayer_.code(local, record);
            if (local.damaged()) [[unlikely]]
                break;
            ++sound;
        }
        decoder = local;
        std::fill(notes_.begin() + static_cast<std::ptrdiff_t>(sound), notes_.end(), PointNote{});
        return sound;
    }

    std::size_t stride_;
    std::vector<std::byte> first_;
    bool atFirst_ = true, damaged_ = false;
    FirstLayer<Decoder> firstLayer_;
    std::vector<std::unique_ptr<DecoderStream>> streams_; // that of the first layer, then those of others
    std::vector<std::unique_ptr<LayerCoder<Decoder>>> layers_;
    std::array<PointNote, PiecePoints> notes_;
};

void checkHead(const LayeredHead& head, std::uint64_t bytes, std::uint64_t points) {
    if (head.points != points)
        throw Error(fmt::format("found a chunk that says it has {} points, expected {}", head.points, points));
    if (head.size() != bytes)
        throw Error(fmt::format("found layers that make a chunk of {} bytes, expected {}", head.size(), bytes));
    if (head.points > 1 && head.layerBytes.front() == 0)
        throw Error("found a chunk without its first layer, expected one with it");
    for (const std::uint32_t size : head.layerBytes)
        if (size > 0 && size < 4) throw Error(fmt::format("found a layer of {} bytes, expected none or 4", size));
}

} // namespace

std::uint64_t LayeredHead::begin(std::size_t layer) const {
    const std::uint64_t head = firstRecord.size() + 4 + 4 * layerBytes.size();
    return std::accumulate(layerBytes.begin(), layerBytes.begin() + static_cast<std::ptrdiff_t>(layer), head);
}

std::uint64_t LayeredHead::size() const { return begin(layerBytes.size()); }

std::size_t LayeredHead::sizeOf(const Layout& layout) { return layout.recordLength() + 4 + 4 * layout.layers().size(); }

LayeredHead LayeredHead::read(const Layout& layout, const ReadBytes& read) {
    std::vector<std::byte> bytes(sizeOf(layout));
    read(0, bytes);
    LayeredHead head;
    const auto [record, rest] =
        std::pair(std::span(bytes).first(layout.recordLength()), std::span(bytes).subspan(layout.recordLength()));
    head.firstRecord.assign(record.begin(), record.end());
    head.points = get<std::uint32_t>(rest.data());
    for (std::size_t at = 4; at < rest.size(); at += 4) head.layerBytes.push_back(get<std::uint32_t>(&rest[at]));
    return head;
}

ChunkSize measureLayered(const Layout& layout, const ReadBytes& read, const ChunkSize& most) {
    if (most.bytes < LayeredHead::sizeOf(layout))
        throw Error(
            fmt::format("found {} bytes, expected the head of a chunk, {}", most.bytes, LayeredHead::sizeOf(layout)));
    const auto head = LayeredHead::read(layout, read);
    return {head.points, head.size()};
}

std::unique_ptr<ChunkDecoder> decodeLayered(const Layout& layout, ReadBytes read, std::uint64_t bytes,
                                            std::uint64_t points, const LayerSet& wanted) {
    if (bytes < LayeredHead::sizeOf(layout))
        throw Error(fmt::format("found a chunk of {} bytes, expected at least {}", bytes, LayeredHead::sizeOf(layout)));
    const auto head = LayeredHead::read(layout, read);
    checkHead(head, bytes, points);
    return std::make_unique<LayeredDecoder>(layout, read, head, wanted);
}

} // namespace laz
