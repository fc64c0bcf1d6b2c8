// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace corvane {

/// The CRC-32 of zlib and PNG, going on from that of the bytes before. It finds every damage of up to 32 bits in a row,
/// and each language can compute it without further libraries.
std::uint32_t crc32Of(std::span<const std::byte> bytes, std::uint32_t before = 0);

} // namespace corvane
