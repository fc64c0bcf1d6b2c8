// SPDX-License-Identifier: Apache-2.0
// Numbers as pictures say them.
#pragma once

#include <cstdint>
#include <string>

namespace corvane {

/// "12,345"
std::string withThousands(std::uint64_t number);

/// "1 point", "12,345 points"
std::string plural(std::uint64_t number, const std::string& noun, const std::string& ending = "s");

} // namespace corvane
