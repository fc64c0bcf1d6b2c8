// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace corvane {

/// The numbers from 0 to count - 1 in an order of which each beginning is an even sample: of every stretch of
/// consecutive numbers it holds as many as are its share, give or take a few, and which ones is random. The same on
/// every machine and in every run; the tables of sizes that were asked for lately are shared. From any thread.
std::shared_ptr<const std::vector<std::uint32_t>> drawOrder(std::size_t count);

} // namespace corvane
