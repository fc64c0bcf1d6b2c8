// SPDX-License-Identifier: Apache-2.0
// One chunk of compressed points, in any layout, or a table of chunks.
//
// Input: point format, version of its items, number of extra bytes, what to do, number of points (2 bytes), which
// layers (2 bytes); then the chunk.
#include "MemoryFile.hpp"
#include "laz/ChunkTable.hpp"
#include "laz/LayeredChunk.hpp"
#include "laz/Record.hpp"

#include <algorithm>
#include <cstdint>

namespace {

using namespace laz;
using corvane::fuzz::require;
using Bytes = std::vector<std::byte>;

struct Input {
    static constexpr std::size_t HeadBytes = 8;
    enum Flag : std::uint8_t { Variable = 1, Table = 2, HeadAsItIs = 4 };

    explicit Input(std::span<const std::byte> bytes) : chunk(bytes.begin() + HeadBytes, bytes.end()) {
        const auto at = [&](std::size_t i) { return std::to_integer<unsigned>(bytes[i]); };
        const auto format = static_cast<std::uint8_t>(at(0) % 11);
        flags = static_cast<std::uint8_t>(at(3));
        constexpr std::size_t sizes[] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
        layout = Layout::standard(format, sizes[format] + at(2) % 20, flags & Variable ? Layout::Variable : 50);
        for (Item& item : layout.items)
            item.version = static_cast<std::uint16_t>(layout.layered() ? 2 + at(1) % 3 : 1 + at(1) % 2);
        points = 1 + (at(4) | at(5) << 8) % 400;
        for (std::size_t i = 0; i < layout.layers().size(); ++i)
            wanted.push_back((at(6 + i / 8 % 2) >> i % 8 & 1) != 0);
    }

    Layout layout;
    std::uint8_t flags;
    std::size_t points;
    LayerSet wanted;
    Bytes chunk;
};

/// Never gives a byte that is not there.
ReadBytes from(std::span<const std::byte> bytes) {
    return [bytes](std::uint64_t offset, std::span<std::byte> wanted) {
        require(offset <= bytes.size() && wanted.size() <= bytes.size() - offset);
        std::ranges::copy(bytes.subspan(offset, wanted.size()), wanted.begin());
    };
}

/// Makes the head of a layered chunk one of its points, whose layers fill it.
void mendHead(Input& input) {
    const std::size_t head = LayeredHead::sizeOf(input.layout), stride = input.layout.recordLength();
    if (input.chunk.size() < head) input.chunk.resize(head);
    put(input.chunk.data() + stride, static_cast<std::uint32_t>(input.points));
    std::size_t left = input.chunk.size() - head;
    for (std::size_t at = stride + 4; at < head; at += 4) {
        auto size = static_cast<std::uint32_t>(std::min<std::size_t>(get<std::uint32_t>(&input.chunk[at]), left));
        if (at + 4 == head) size = static_cast<std::uint32_t>(left);
        put(&input.chunk[at], size);
        left -= size;
    }
}

struct Result {
    Bytes records;
    std::size_t sound = 0;
    bool usedUp = false;
};

Result decode(const Layout& layout, std::span<const std::byte> chunk, std::size_t points, const LayerSet& wanted,
              std::size_t piece) {
    const std::size_t stride = layout.recordLength();
    Result result{Bytes(points * stride)};
    const auto decoder = decodeChunk(layout, from(chunk), chunk.size(), points, wanted);
    for (std::size_t first = 0; first < points && result.sound == first; first += piece) {
        const std::size_t count = std::min(piece, points - first);
        result.sound += decoder->decode(std::span(result.records).subspan(first * stride, count * stride));
    }
    result.usedUp = decoder->usedUp();
    return result;
}

/// Which bits of each byte of a record the layers hold.
Bytes bitsOf(const Layout& layout, const LayerSet& layers) {
    Bytes bits(layout.recordLength());
    const auto kinds = layout.layers();
    for (std::size_t i = 0; i < kinds.size(); ++i)
        for (std::size_t byte = 0; byte < bits.size() && (i == 0 || layers[i]); ++byte)
            for (unsigned bit = 1; bit < 256; bit <<= 1)
                if (kinds[i].holds(byte, static_cast<std::uint8_t>(bit))) bits[byte] |= std::byte(bit);
    return bits;
}

/// Single layers are those of the whole records, as far as these are sound.
void checkLayers(const Input& input, const Result& whole) {
    const auto some = decode(input.layout, input.chunk, input.points, input.wanted, 99);
    require(some.sound >= whole.sound);
    const auto bits = bitsOf(input.layout, input.wanted);
    for (std::size_t at = 0; at < whole.sound * bits.size(); ++at)
        require(((some.records[at] ^ whole.records[at]) & bits[at % bits.size()]) == std::byte{0});
}

/// Sound records encode to a chunk that gives them back and says how large it is, whatever follows it.
void checkRoundTrip(const Layout& layout, const Bytes& records) {
    const std::size_t points = records.size() / layout.recordLength();
    const auto encoder = encodeChunk(layout);
    encoder->encode(records);
    Bytes chunk = encoder->finish();
    const auto again = decode(layout, chunk, points, {}, 150);
    require(again.sound == points && again.usedUp && again.records == records);
    const std::size_t size = chunk.size();
    chunk.resize(size + 100, std::byte{0x5A});
    require(measureChunk(layout, from(chunk), {points, chunk.size()}) == ChunkSize{points, size});
}

void checkChunk(Input& input) {
    if (input.layout.layered() && (input.flags & Input::HeadAsItIs) == 0) mendHead(input);
    try {
        measureChunk(input.layout, from(input.chunk), {input.points, input.chunk.size()});
    } catch (const Error&) {
        // What is not a chunk of so many points ends so.
    }
    const auto whole = decode(input.layout, input.chunk, input.points, {}, input.points);
    const auto pieces = decode(input.layout, input.chunk, input.points, {}, 1 + input.flags);
    const std::size_t sound = whole.sound * input.layout.recordLength();
    require(pieces.sound == whole.sound && pieces.usedUp == whole.usedUp);
    require(std::equal(whole.records.begin(), whole.records.begin() + sound, pieces.records.begin()));
    if (input.layout.layered()) checkLayers(input, whole);
    if (whole.sound == input.points) checkRoundTrip(input.layout, whole.records);
}

void checkTable(const Input& input) {
    std::uint64_t chunkBytes = 0;
    if (input.chunk.size() < sizeof chunkBytes) return;
    chunkBytes = get<std::uint64_t>(input.chunk.data()) & 0xFFFFFF;
    const auto bytes = std::span(input.chunk).subspan(sizeof chunkBytes);
    const auto table = table::decode(input.layout, from(bytes), bytes.size(), input.points, chunkBytes);
    require(table.bytes <= bytes.size());
    const Bytes again = table::encode(input.layout, table.chunks);
    require(table::decode(input.layout, from(again), again.size(), input.points, chunkBytes).chunks == table.chunks);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < Input::HeadBytes) return 0;
    Input input(std::as_bytes(std::span(data, size)));
    try {
        if (input.flags & Input::Table)
            checkTable(input);
        else
            checkChunk(input);
    } catch (const Error&) {
        // A clause is how bad input ends.
    }
    return 0;
}
