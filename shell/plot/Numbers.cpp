// SPDX-License-Identifier: Apache-2.0
#include "plot/Numbers.hpp"

#include <fmt/format.h>

namespace corvane {

std::string withThousands(std::uint64_t number) {
    std::string text;
    for (; number >= 1000; number /= 1000) text = fmt::format(",{:03}", number % 1000) + text;
    return std::to_string(number) + text;
}

std::string plural(std::uint64_t number, const std::string& noun, const std::string& ending) {
    return withThousands(number) + " " + noun + (number == 1 ? "" : ending);
}

} // namespace corvane
