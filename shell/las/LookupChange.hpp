// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/FileChange.hpp"
#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

/// The Classification Lookup records of the file (user id LASF_Spec, record id 0), VLRs first.
std::vector<LasRecord> classLookupRecords(const LasFile& las);

/// What gives the file this Classification Lookup and changes nothing else. A record of the same length gets the
/// payload; otherwise a VLR is added behind the others, which moves the points and what follows them. Records that the
/// new one replaces are marked as superseded (record id 7), since readers take the first that they find.
FileChange changeClassLookup(const LasFile& las, std::vector<std::byte> payload);

} // namespace corvane
