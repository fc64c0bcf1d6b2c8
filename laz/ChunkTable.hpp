// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Chunk.hpp"

namespace laz {

/// What stands behind the last chunk: version, number of chunks, and their sizes as an arithmetic stream. Numbers of
/// points are stored for chunks of variable size only.
namespace table {

inline constexpr std::size_t HeadBytes = 8;

struct Decoded {
    std::vector<ChunkSize> chunks;
    std::uint64_t bytes; ///< that the table takes
};

/// The sizes of the chunks of a file of `points` points whose chunks take `chunkBytes` bytes together, from the table's
/// bytes, `bytes` long at most, at `read`. Throws Error unless everything adds up.
Decoded decode(const Layout& layout, const ReadBytes& read, std::uint64_t bytes, std::uint64_t points,
               std::uint64_t chunkBytes);

std::vector<std::byte> encode(const Layout& layout, std::span<const ChunkSize> chunks);

} // namespace table

} // namespace laz
