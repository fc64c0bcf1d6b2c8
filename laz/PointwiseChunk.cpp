// SPDX-License-Identifier: Apache-2.0
#include "laz/PointwiseChunk.hpp"

#include "laz/Colour.hpp"
#include "laz/DecoderStream.hpp"
#include "laz/ExtraBytes.hpp"
#include "laz/GpsTime.hpp"
#include "laz/Point10.hpp"
#include "laz/WavePacket.hpp"

#include <optional>

namespace laz {
namespace {

template <class Coder>
struct Version1 {
    using Point = Point10Version1<Coder>;
    using Time = GpsTimeVersion1<Coder>;
    using Colour = ColourVersion1<Coder>;
    using Extra = ExtraBytesVersion1<Coder>;
};

template <class Coder>
struct Version2 {
    using Point = Point10<Coder>;
    using Time = GpsTimeItem<Coder>;
    using Colour = ColourItem<Coder>;
    using Extra = ExtraBytes<Coder>;
};

/// The items of a record, made from the first one.
template <class Coder, class Version>
class Items {
public:
    Items(const Layout& layout, const std::byte* first) : point_(first) {
        std::size_t place = 0;
        for (const Item& item : layout.items) {
            const std::byte* at = first + place;
            if (item.kind == ItemKind::GpsTime) time_.emplace(at);
            if (item.kind == ItemKind::Colour) colour_.emplace(at);
            if (item.kind == ItemKind::WavePacket) wave_.emplace(at);
            if (item.kind == ItemKind::ExtraBytes) extra_.emplace(at, item.size);
            place += item.size;
        }
    }

    void code(Coder& coder, typename Coder::Byte* record) {
        point_.code(coder, record);
        record += Version::Point::Size;
        if (time_) {
            time_->code(coder, record);
            record += Version::Time::Size;
        }
        if (colour_) {
            colour_->code(coder, record);
            record += Version::Colour::Size;
        }
        if (wave_) {
            wave_->code(coder, record);
            record += WavePacketItem<Coder>::Size;
        }
        if (extra_) extra_->code(coder, record);
    }

private:
    typename Version::Point point_;
    std::optional<typename Version::Time> time_;
    std::optional<typename Version::Colour> colour_;
    std::optional<WavePacketItem<Coder>> wave_;
    std::optional<typename Version::Extra> extra_;
};

template <class Version>
class PointwiseDecoder : public ChunkDecoder {
public:
    PointwiseDecoder(const Layout& layout, ReadBytes read, std::uint64_t bytes)
        : layout_(layout), stride_(layout.recordLength()), first_(stride_), stream_(begin(read, bytes)) {}

    std::size_t decode(std::span<std::byte> records) override {
        std::size_t sound = 0;
        if (!items_ && !records.empty()) {
            items_ = std::make_unique<Items<Decoder, Version>>(layout_, first_.data());
            std::ranges::copy(first_, records.begin());
            sound = 1;
        }
        const std::size_t count = records.size() / stride_;
        while (sound < count && !stream_.decoder().damaged()) {
            const std::size_t piece = std::min(count - sound, PieceBytes / mostBytesOfPoint() + 1);
            sound += decodePiece(records.subspan(sound * stride_, piece * stride_));
        }
        return sound;
    }

    bool usedUp() const override { return stream_.usedUp() && !stream_.decoder().damaged(); }
    std::uint64_t used() const { return stream_.position(); }

private:
    static constexpr std::size_t PieceBytes = std::size_t{1} << 17;

    /// Reads the first record, behind which the stream begins.
    DecoderStream begin(const ReadBytes& read, std::uint64_t bytes) {
        read(0, first_);
        return {read, stride_, bytes};
    }

    /// More bytes than any point takes: a symbol takes at most two, an integer two symbols and three bytes of noise.
    std::size_t mostBytesOfPoint() const { return 128 + 4 * stride_; }

    std::size_t decodePiece(std::span<std::byte> records) {
        Decoder& decoder = stream_.withBytes(PieceBytes + mostBytesOfPoint());
        Decoder local = decoder;
        std::size_t sound = 0;
        for (std::byte* record = records.data(); record != records.data() + records.size(); record += stride_) {
            items_->code(local, record);
            if (local.damaged()) [[unlikely]]
                break;
            ++sound;
        }
        decoder = local;
        return sound;
    }

    Layout layout_;
    std::size_t stride_;
    std::vector<std::byte> first_;
    DecoderStream stream_;
    std::unique_ptr<Items<Decoder, Version>> items_;
};

template <class Version>
class PointwiseEncoder : public ChunkEncoder {
public:
    explicit PointwiseEncoder(const Layout& layout) : layout_(layout), stride_(layout.recordLength()) {}

    void encode(std::span<const std::byte> records) override {
        if (!items_ && !records.empty()) {
            const auto first = records.first(stride_);
            bytes_.assign(first.begin(), first.end());
            items_ = std::make_unique<Items<Encoder, Version>>(layout_, first.data());
            encoder_.emplace(bytes_);
            records = records.subspan(stride_);
        }
        for (; !records.empty(); records = records.subspan(stride_)) items_->code(*encoder_, records.data());
    }

    std::vector<std::byte> finish() override {
        encoder_->finish();
        return std::move(bytes_);
    }

private:
    Layout layout_;
    std::size_t stride_;
    std::vector<std::byte> bytes_;
    std::optional<Encoder> encoder_;
    std::unique_ptr<Items<Encoder, Version>> items_;
};

template <class Version>
ChunkSize measure(const Layout& layout, const ReadBytes& read, const ChunkSize& most) {
    PointwiseDecoder<Version> decoder(layout, read, most.bytes);
    const std::size_t stride = layout.recordLength();
    std::vector<std::byte> records(std::min<std::uint64_t>(most.points, 1024) * stride);
    for (std::uint64_t done = 0; done < most.points; done += records.size() / stride) {
        records.resize(std::min<std::uint64_t>(records.size(), (most.points - done) * stride));
        if (decoder.decode(records) < records.size() / stride) throw Error("found a chunk that is cut off or damaged");
    }
    return {most.points, decoder.used()};
}

bool isVersion1(const Layout& layout) { return layout.items.front().version == 1; }

} // namespace

std::unique_ptr<ChunkDecoder> decodePointwise(const Layout& layout, ReadBytes read, std::uint64_t bytes) {
    if (isVersion1(layout))
        return std::make_unique<PointwiseDecoder<Version1<Decoder>>>(layout, std::move(read), bytes);
    return std::make_unique<PointwiseDecoder<Version2<Decoder>>>(layout, std::move(read), bytes);
}

ChunkSize measurePointwise(const Layout& layout, const ReadBytes& read, const ChunkSize& most) {
    return isVersion1(layout) ? measure<Version1<Decoder>>(layout, read, most)
                              : measure<Version2<Decoder>>(layout, read, most);
}

std::unique_ptr<ChunkEncoder> encodePointwise(const Layout& layout) {
    if (isVersion1(layout)) return std::make_unique<PointwiseEncoder<Version1<Encoder>>>(layout);
    return std::make_unique<PointwiseEncoder<Version2<Encoder>>>(layout);
}

} // namespace laz
