// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace corvane {

/// How a file changes outside its points.
struct FileChange {
    struct Patch {
        std::uint64_t offset; ///< in the file as it was
        std::vector<std::byte> bytes;
    };

    std::vector<Patch> patches;
    std::uint64_t insertAt = 0;      ///< in the file as it was
    std::vector<std::byte> inserted; ///< in front of what is there
};

/// The Classification Lookup records of the file (user id LASF_Spec, record id 0), VLRs first.
std::vector<LasRecord> classLookupRecords(const LasFile& las);

/// What gives the file this Classification Lookup and changes nothing else. A record of the same length gets the
/// payload; otherwise a VLR is added behind the others, which moves the points and what follows them. Records that the
/// new one replaces are marked as superseded (record id 7), since readers take the first that they find. Throws Failure
/// when the points would begin beyond what the header can say.
FileChange changeClassLookup(const LasFile& las, std::vector<std::byte> payload);

} // namespace corvane
