// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "las/LasFile.hpp"

#include <optional>
#include <string>

namespace corvane {

/// What a class of the survey is called: by `own`, what its file says, or else by the LAS format. "Reserved" and "User
/// Definable" are no names; there it is empty.
std::string classNameOf(int value, const LasFile& las, const std::optional<Kesh::LabelSet>& own);

/// "6 Building", or the number alone.
std::string classText(int value, const LasFile& las, const std::optional<Kesh::LabelSet>& own);

/// In percent, such as "12.3 %"; never "0 %" of something nor "100 %" of less than all.
std::string percentText(std::uint64_t part, std::uint64_t whole);

} // namespace corvane
