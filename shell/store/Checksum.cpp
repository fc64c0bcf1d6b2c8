// SPDX-License-Identifier: Apache-2.0
#include "store/Checksum.hpp"

#include <zlib.h>

namespace corvane {

std::uint32_t crc32Of(std::span<const std::byte> bytes, std::uint32_t before) {
    if (bytes.empty()) return before; // zlib takes no bytes for a wish to begin anew
    return static_cast<std::uint32_t>(crc32_z(before, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
}

} // namespace corvane
