// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/ProjectBlock.hpp"

namespace corvane {

/// What a processor offers. The results are the same to the bit.
enum class Instructions { Plain, Avx2, Avx512 };

bool processorHas(Instructions instructions);

/// projectBlock for a kind of view, with these instructions, which the processor must have.
using Projector = void (*)(const std::uint64_t* points, std::size_t count, const ToPixels& to, std::int32_t* pixels,
                           std::uint32_t* depths);
Projector projector(bool affine, Instructions instructions);

/// With the best ones that it has.
Projector projector(bool affine);

} // namespace corvane
