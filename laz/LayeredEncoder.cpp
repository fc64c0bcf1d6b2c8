// SPDX-License-Identifier: Apache-2.0
#include "laz/LayerKinds.hpp"
#include "laz/LayeredChunk.hpp"

#include <optional>

namespace laz {
namespace {

/// The bytes of one layer as they come about.
struct LayerBytes {
    std::vector<std::byte> bytes;
    Encoder encoder{bytes};
    bool told = false;
    std::unique_ptr<LayerCoder<Encoder>> coder; // null for the first one

    void open(const Layer& layer, const std::byte* first) {
        coder = makeLayer<Encoder, LayerEncoder>(layer.kind, layer, first, encoder, told);
    }

    void finish(bool kept) {
        if (kept)
            encoder.finish();
        else
            bytes.clear();
    }
};

constexpr std::size_t AlwaysKept = 2; // X, Y and returns; Z

void append(std::vector<std::byte>& to, std::span<const std::byte> bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

std::vector<std::byte> assemble(std::span<const std::byte> firstRecord, std::uint32_t points,
                                std::span<const std::span<const std::byte>> layers) {
    std::vector<std::byte> chunk;
    const auto appendNumber = [&](std::size_t number) {
        const auto stored = static_cast<std::uint32_t>(number);
        append(chunk, std::as_bytes(std::span(&stored, 1)));
    };
    append(chunk, firstRecord);
    appendNumber(points);
    for (const auto& layer : layers) appendNumber(layer.size());
    for (const auto& layer : layers) append(chunk, layer);
    return chunk;
}

class LayeredEncoder : public ChunkEncoder {
public:
    explicit LayeredEncoder(const Layout& layout) : stride_(layout.recordLength()), kinds_(layout.layers()) {}

    void encode(std::span<const std::byte> records) override {
        if (!firstLayer_ && !records.empty()) {
            begin(records.first(stride_));
            records = records.subspan(stride_);
        }
        while (!records.empty()) {
            const auto piece = records.first(std::min(records.size(), PiecePoints * stride_));
            encodePiece(piece);
            records = records.subspan(piece.size());
        }
    }

    std::vector<std::byte> finish() override {
        std::vector<std::span<const std::byte>> layers;
        for (LayerBytes& layer : layers_) {
            layer.finish(layers.size() < AlwaysKept || layer.told);
            layers.push_back(layer.bytes);
        }
        return assemble(first_, points_, layers);
    }

private:
    void begin(std::span<const std::byte> first) {
        first_.assign(first.begin(), first.end());
        firstLayer_.emplace(first_.data());
        points_ = 1;
        layers_ = std::vector<LayerBytes>(kinds_.size());
        for (std::size_t i = 1; i < kinds_.size(); ++i) layers_[i].open(kinds_[i], first_.data());
    }

    void encodePiece(std::span<const std::byte> records) {
        const std::size_t count = records.size() / stride_;
        for (std::size_t i = 0; i < count; ++i)
            notes_[i] = firstLayer_->code(layers_.front().encoder, records.data() + i * stride_);
        for (LayerBytes& layer : std::span(layers_).subspan(1))
            layer.coder->code(std::span(notes_).first(count), records.data(), stride_);
        points_ += static_cast<std::uint32_t>(count);
    }

    std::size_t stride_;
    std::vector<Layer> kinds_;
    std::vector<std::byte> first_;
    std::uint32_t points_ = 0;
    std::optional<FirstLayer<Encoder>> firstLayer_;
    std::vector<LayerBytes> layers_;
    std::array<PointNote, PiecePoints> notes_;
};

/// What the layers must know of each point of a chunk: decoded from its first layer, or encoded anew when that changes.
class Notes {
public:
    Notes(const std::byte* first, DecoderStream* old, Encoder& encoder)
        : old_(old), decoder_(first), again_(first), encoder_(&encoder) {}

    /// Those of the next points, at most PiecePoints.
    std::span<const PointNote> of(std::span<const std::byte> records, std::size_t stride) {
        const std::size_t count = records.size() / stride;
        std::array<std::byte, point14::Size> scratch;
        for (std::size_t i = 0; i < count; ++i)
            notes_[i] = old_ ? decoder_.code(old_->withBytes(MostBytesOfPoint), scratch.data())
                             : again_.code(*encoder_, records.data() + i * stride);
        return std::span(notes_).first(count);
    }

private:
    static constexpr std::size_t MostBytesOfPoint = 32;

    DecoderStream* old_; // null when the layer is encoded anew
    FirstLayer<Decoder> decoder_;
    FirstLayer<Encoder> again_;
    Encoder* encoder_;
    std::array<PointNote, PiecePoints> notes_;
};

LayeredHead headOf(const Layout& layout, std::span<const std::byte> chunk) {
    return LayeredHead::read(layout, [chunk](std::uint64_t offset, std::span<std::byte> bytes) {
        std::ranges::copy(chunk.subspan(offset, bytes.size()), bytes.begin());
    });
}

/// The changed layers of a chunk, encoded anew and not finished.
std::vector<LayerBytes> freshLayers(const Layout& layout, std::span<const std::byte> chunk, const LayeredHead& head,
                                    std::span<const std::byte> records, const LayerSet& changed) {
    const auto read = [chunk](std::uint64_t offset, std::span<std::byte> bytes) {
        std::ranges::copy(chunk.subspan(offset, bytes.size()), bytes.begin());
    };
    const auto kinds = layout.layers();
    const std::size_t stride = layout.recordLength();
    const auto first = records.first(stride);
    std::vector<LayerBytes> fresh(kinds.size());
    for (std::size_t i = 1; i < kinds.size(); ++i)
        if (changed[i]) fresh[i].open(kinds[i], first.data());

    std::optional<DecoderStream> old;
    if (!changed.front() && head.points > 1) old.emplace(read, head.begin(0), head.begin(1));
    Notes notes(first.data(), old ? &*old : nullptr, fresh.front().encoder);
    for (auto left = records.subspan(stride); !left.empty();) {
        const auto piece = left.first(std::min(left.size(), PiecePoints * stride));
        const auto ofPiece = notes.of(piece, stride);
        for (LayerBytes& layer : fresh)
            if (layer.coder) layer.coder->code(ofPiece, piece.data(), stride);
        left = left.subspan(piece.size());
    }
    return fresh;
}

/// The chunk with these layers in place of the changed ones.
std::vector<std::byte> withLayers(std::span<const std::byte> chunk, const LayeredHead& head,
                                  std::span<const std::byte> first, const LayerSet& changed,
                                  std::span<const LayerBytes> fresh) {
    std::vector<std::span<const std::byte>> layers;
    for (std::size_t i = 0; i < fresh.size(); ++i)
        layers.push_back(changed[i] ? std::span<const std::byte>(fresh[i].bytes)
                                    : chunk.subspan(head.begin(i), head.layerBytes[i]));
    return assemble(first, head.points, layers);
}

} // namespace

std::vector<std::byte> replaceLayers(const Layout& layout, std::span<const std::byte> chunk,
                                     std::span<const std::byte> records, const LayerSet& changed) {
    const auto head = headOf(layout, chunk);
    auto fresh = freshLayers(layout, chunk, head, records, changed);
    for (std::size_t i = 0; i < fresh.size(); ++i)
        if (changed[i]) fresh[i].finish(i < AlwaysKept || fresh[i].told);
    return withLayers(chunk, head, records.first(layout.recordLength()), changed, fresh);
}

std::optional<std::vector<std::byte>> replaceLayersInPlace(const Layout& layout, std::span<const std::byte> chunk,
                                                           std::span<const std::byte> records,
                                                           const LayerSet& changed) {
    const auto head = headOf(layout, chunk);
    auto fresh = freshLayers(layout, chunk, head, records, changed);
    for (std::size_t i = 0; i < fresh.size(); ++i) {
        if (!changed[i]) continue;
        const std::size_t room = head.layerBytes[i];
        // A layer that has room must be a whole stream, even when it has nothing to tell.
        fresh[i].finish(room > 0 || fresh[i].told);
        if (fresh[i].bytes.size() > room) return std::nullopt;
        fresh[i].bytes.resize(room);
    }
    return withLayers(chunk, head, records.first(layout.recordLength()), changed, fresh);
}

std::unique_ptr<ChunkEncoder> encodeLayered(const Layout& layout) { return std::make_unique<LayeredEncoder>(layout); }

} // namespace laz
