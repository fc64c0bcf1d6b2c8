// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"

#include <cstdint>
#include <fmt/format.h>
#include <string>

namespace corvane {

/// The sentence of every file that cannot be read for what stands in it.
inline Failure damage(const std::string& path, std::uint64_t offset, const std::string& found,
                      const std::string& expected) {
    return Failure(
        fmt::format("{}: at offset {} found {}, expected {}; the file is damaged or not whole, so get it again "
                    "from where it came, or repair it.",
                    path, offset, found, expected));
}

} // namespace corvane
