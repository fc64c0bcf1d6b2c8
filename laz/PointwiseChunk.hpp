// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "laz/Chunk.hpp"

namespace laz {

/// A chunk, or the one stream, of point formats 0 to 5: first record, then the stream of all others.
std::unique_ptr<ChunkDecoder> decodePointwise(const Layout& layout, ReadBytes read, std::uint64_t bytes);
ChunkSize measurePointwise(const Layout& layout, const ReadBytes& read, const ChunkSize& most);
std::unique_ptr<ChunkEncoder> encodePointwise(const Layout& layout);

} // namespace laz
