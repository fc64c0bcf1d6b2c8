// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace Fiber {

/// Adds to `counts`, which has one counter per possible value, how often each value occurs. On the calling thread.
void countValues(std::span<const unsigned char> values, std::span<std::uint64_t> counts);
void countValues(std::span<const unsigned short> values, std::span<std::uint64_t> counts);

} // namespace Fiber
