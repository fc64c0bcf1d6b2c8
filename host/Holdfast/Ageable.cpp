// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Ageable.hpp"
#include "Holdfast/Pointer.hpp"

namespace Holdfast {

std::atomic<Ageable::Age> Ageable::GlobalTime{Ageable::Ooooold};
std::atomic<std::uint64_t> PointerID{0};

} // namespace Holdfast
