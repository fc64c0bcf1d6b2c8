// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Chunk.hpp"
#include "laz/EntropyCoder.hpp"

namespace laz {

/// An arithmetic stream within a chunk, read a window at a time.
class DecoderStream {
public:
    /// The bytes from `begin` to `end` of the chunk.
    DecoderStream(ReadBytes read, std::uint64_t begin, std::uint64_t end)
        : read_(std::move(read)), next_(begin), end_(end) {
        decoder_.start(window(Largest));
    }
    DecoderStream(DecoderStream&&) = default;
    DecoderStream& operator=(DecoderStream&&) = default;

    /// The decoder, with so many bytes before it unless the stream has fewer. Who works on a copy puts it back.
    Decoder& withBytes(std::size_t count) {
        if (decoder_.left() < count && next_ < end_) decoder_.setWindow(window(std::max(count, Largest)));
        return decoder_;
    }
    const Decoder& decoder() const { return decoder_; }

    /// Whether nothing is left but zeros: a layer that was written in the place of a longer one ends with such.
    bool onlyZerosLeft() const {
        const auto zeros = [](std::span<const std::byte> bytes) {
            return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
        };
        bool only = zeros(std::span(bytes_).last(decoder_.left()));
        std::vector<std::byte> further; // that no point asked for
        for (std::uint64_t at = next_; only && at < end_; at += further.size()) {
            further.resize(static_cast<std::size_t>(std::min<std::uint64_t>(end_ - at, Largest)));
            read_(at, further);
            only = zeros(further);
        }
        return only;
    }
    bool usedUp() const { return position() == end_; }

    /// Where the first byte is that was not used, in the chunk.
    std::uint64_t position() const { return next_ - decoder_.left(); }

private:
    static constexpr std::size_t Largest = std::size_t{1} << 18;

    /// What is left of the window, and more behind it.
    std::span<const std::byte> window(std::size_t size) {
        const std::size_t kept = decoder_.left();
        const auto more = static_cast<std::size_t>(std::min<std::uint64_t>(end_ - next_, size - std::min(size, kept)));
        std::ranges::copy(std::span(bytes_).last(kept), bytes_.begin());
        bytes_.resize(kept + more);
        read_(next_, std::span(bytes_).subspan(kept));
        next_ += more;
        return bytes_;
    }

    ReadBytes read_;
    std::uint64_t next_, end_;
    std::vector<std::byte> bytes_;
    Decoder decoder_;
};

} // namespace laz
