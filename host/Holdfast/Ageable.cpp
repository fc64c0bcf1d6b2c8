// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Ageable.hpp"
#include "Holdfast/Pointer.hpp"

namespace Holdfast {

std::atomic<Ageable::Age> Ageable::GlobalTime{Ageable::Ooooold};
std::atomic<std::uint64_t> PointerID{0};

std::shared_ptr<Managed> counted(std::unique_ptr<Managed> object) { return object; }

} // namespace Holdfast
