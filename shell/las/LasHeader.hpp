// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// A field of the header as it stands in a file.
struct HeaderField {
    std::string name;
    std::string text; ///< the value, for people
    std::vector<std::byte> bytes;
    std::size_t offset = 0; ///< in the file
};

/// What a LAS version may and shall hold.
struct VersionFacts {
    std::string_view name;
    std::uint8_t minor;
    std::size_t headerSize;                            ///< bytes
    std::uint8_t firstFormat, lastFormat, usualFormat; ///< point formats
};
constexpr std::array<VersionFacts, 6> LasVersions{{{"1.0", 0, 227, 0, 1, 1},
                                                   {"1.1", 1, 227, 0, 1, 1},
                                                   {"1.2", 2, 227, 0, 3, 3},
                                                   {"1.3", 3, 235, 0, 5, 3},
                                                   {"1.4", 4, 375, 0, 10, 6},
                                                   {"1.5", 5, 393, 6, 10, 6}}};

/// The public header block of a LAS file, versions 1.0 to 1.5 (ASPRS LAS 1.4 R16 and 1.5 R00; offsets in
/// LasHeader.cpp). Counts are those that hold: of the 1.4 place where the version has it, of the legacy place else.
struct LasHeader {
    static constexpr std::size_t SmallestSize = 227; ///< bytes, versions 1.0 to 1.2
    static constexpr std::size_t LargestSize = 393;  ///< bytes, version 1.5

    std::uint8_t versionMajor = 1;
    std::uint8_t versionMinor = 4;
    std::uint16_t fileSourceId = 0;
    std::uint16_t globalEncoding = 0; ///< bit 0 GPS time type, bit 4 WKT
    std::array<std::uint8_t, 16> projectId{};
    std::string systemIdentifier;
    std::string generatingSoftware;
    std::uint16_t creationDay = 0;
    std::uint16_t creationYear = 0;
    std::uint16_t headerSize = 375; ///< bytes, as the file says
    std::uint32_t offsetToPoints = 375;
    std::uint32_t vlrCount = 0;
    std::uint8_t pointFormat = 6; ///< 0 to 10
    bool compressed = false;      ///< bit 7 of the format's byte; records are then those that were compressed
    std::uint16_t recordLength = 30;
    std::uint64_t pointCount = 0;
    std::size_t countPlace = 0;                   ///< where the count stands that holds, in the file
    std::uint64_t waveformStart = 0;              ///< 1.3 and later, else 0
    std::uint64_t evlrStart = 0;                  ///< 1.4 and later, else 0
    std::uint32_t evlrCount = 0;                  ///< 1.4 and later, else 0
    std::array<std::uint64_t, 15> returnCounts{}; ///< points by return; the first five in versions before 1.4
    std::array<double, 3> scale{0.01, 0.01, 0.01};
    std::array<double, 3> offset{0, 0, 0};
    std::array<double, 3> minimum{}; ///< bounds as the header says
    std::array<double, 3> maximum{};

    /// "1.4"
    std::string version() const;

    /// The size that this version's header has by the format.
    std::size_t standardSize() const;

    /// The fields as they stand, nothing checked, and counts of the 1.4 place only; at least SmallestSize bytes.
    static LasHeader decode(std::span<const std::byte> bytes);

    /// The same fields with their names, those with a place of their own for what is counted twice included.
    static std::vector<HeaderField> fieldsIn(std::span<const std::byte> bytes);

    /// Reads the header from the first bytes of a file (all there are, at most LargestSize). `path` and `fileSize`
    /// serve the messages and the checks of offsets. Checks everything that reading the points relies on, but for
    /// whether the file has as many; throws Failure with offset, found and expected. Adds a sentence to `warnings` for
    /// what is odd and harmless.
    static LasHeader parse(std::span<const std::byte> bytes, const std::string& path, std::uint64_t fileSize,
                           std::vector<std::string>& warnings);

    /// The header as bytes, `headerSize` of them, those behind the fields above zero. Legacy counts are filled where
    /// the version and the point format have them. Throws Failure for more points than a version before 1.4 can count.
    std::vector<std::byte> encode() const;
};

} // namespace corvane
