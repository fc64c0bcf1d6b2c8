// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "las/LasFile.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

// The Classification Lookup record of a LAS file, which names classes: user id LASF_Spec, record id 0. Its payload is
// 256 entries of a class number (a byte) and a description (15 bytes, padded with nulls).

/// Bytes of a payload as the format has it.
constexpr std::size_t ClassLookupBytes = 4096;

/// The labels that the first record of the file gives, with colours of our own; none when it has no record. Reads what
/// other writers made: any number of entries in any order, described or not. What is odd gives a sentence in
/// `warnings`, without the path. Short forms of standard names read as the names; bytes that are not UTF-8 are taken as
/// Latin-1.
std::optional<Kesh::LabelSet> readClassLookup(const LasFile& las, std::vector<std::string>& warnings);

/// The labels as a payload. What would not read back the same, names of more than 15 bytes and values other than 0 to
/// 255, is shortened or left out, with a sentence in `warnings`.
std::vector<std::byte> encodeClassLookup(const Kesh::LabelSet& labels, std::uint8_t pointFormat,
                                         std::vector<std::string>& warnings);

} // namespace corvane
