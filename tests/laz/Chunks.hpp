// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/ChunkTable.hpp"
#include "laz/Record.hpp"

#include <algorithm>
#include <random>
#include <string_view>

namespace laz::test {

using Bytes = std::vector<std::byte>;

/// Bytes written as hexadecimal digits; blanks between them mean nothing.
inline Bytes hex(std::string_view text) {
    Bytes bytes;
    int pending = -1;
    for (const char digit : text) {
        if (digit == ' ') continue;
        const int value = digit <= '9' ? digit - '0' : digit - 'a' + 10;
        if (pending >= 0) bytes.push_back(std::byte(pending * 16 + value));
        pending = pending >= 0 ? -1 : value;
    }
    return bytes;
}

inline ReadBytes from(std::span<const std::byte> bytes) {
    return [bytes](std::uint64_t offset, std::span<std::byte> wanted) {
        if (offset + wanted.size() > bytes.size()) throw Error("read beyond the end");
        std::ranges::copy(bytes.subspan(offset, wanted.size()), wanted.begin());
    };
}

inline Bytes encoded(const Layout& layout, std::span<const std::byte> records) {
    const auto encoder = encodeChunk(layout);
    encoder->encode(records);
    return encoder->finish();
}

struct Decoded {
    Bytes records;
    std::size_t sound = 0;
    bool usedUp = false;
};

/// Decodes in pieces of so many points, into records whose bytes were all 0xEE.
inline Decoded decoded(const Layout& layout, std::span<const std::byte> chunk, std::size_t points,
                       const LayerSet& wanted = {}, std::size_t piecePoints = 700) {
    const std::size_t stride = layout.recordLength();
    Decoded result{Bytes(points * stride, std::byte{0xEE})};
    const auto decoder = decodeChunk(layout, from(chunk), chunk.size(), points, wanted);
    for (std::size_t first = 0; first < points; first += piecePoints) {
        const std::size_t count = std::min(piecePoints, points - first);
        result.sound += decoder->decode(std::span(result.records).subspan(first * stride, count * stride));
    }
    result.usedUp = decoder->usedUp();
    return result;
}

/// Records that use whatever a format has: several channels, all returns, times that jump, repeat and run backwards,
/// colours grey and not, waveforms one behind the other, bytes that stay and bytes that change.
inline Bytes inventedRecords(std::uint8_t format, std::size_t recordLength, std::size_t points, unsigned seed) {
    std::mt19937_64 random(seed);
    const bool layered = format >= 6;
    const auto often = [&](unsigned percent) { return random() % 100 < percent; };
    Bytes records;
    Bytes record(recordLength);
    std::int64_t time = 0x4100000000000000;
    for (std::size_t i = 0; i < points; ++i) {
        for (const std::size_t axis : {0, 4, 8}) {
            const auto step = static_cast<std::int32_t>(random() >> (often(95) ? 54 : random() % 64));
            put(record.data() + axis, plus(get<std::int32_t>(record.data() + axis), step));
        }
        for (std::size_t at = 12; at < recordLength; ++at)
            if (often(at % 5 == 0 ? 1 : 12)) record[at] = std::byte(random());
        if (often(3)) time = static_cast<std::int64_t>(random());
        if (often(70)) time += static_cast<std::int64_t>(random() % 600) - 20;
        const std::size_t timePlace = layered ? 22 : 20;
        if (layered || format == 1 || format >= 3) put(record.data() + timePlace, time);
        if (!often(30)) {
            const std::size_t colour = layered ? 30 : format == 2 ? 20 : 28;
            const bool coloured =
                format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
            if (coloured) std::copy_n(record.data() + colour, 2, record.data() + colour + 2);
            if (coloured) std::copy_n(record.data() + colour, 2, record.data() + colour + 4);
        }
        records.insert(records.end(), record.begin(), record.end());
    }
    return records;
}

} // namespace laz::test
