// SPDX-License-Identifier: Apache-2.0
// Points of format 6 to 10 can be stored for programs that know LAS 1.3 at most: as format 1 (for 6), 3 (for 7 and 8),
// 4 (for 9) or 5 (for 10), with what these have no room for in extra bytes, and with a VLR that says so. A record of
// the one stands for one of the other:
//  - the class is in the five bits up to 31 and in an extra byte above; the other of the two is 0, so they add up;
//  - return number and number of returns are what three bits hold, and what is missing to four is in an extra byte;
//  - the scan angle is a rank of whole degrees, and what is missing to steps of 0.006 degrees is in two extra bytes;
//  - the overlap flag and the scanner channel share an extra byte, near infrared has two;
//  - everything else is the same in both.
#pragma once

#include "base/InputFile.hpp"
#include "las/LasHeader.hpp"
#include "las/LasRecords.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

/// The VLR that says of a file that it is in this form.
bool isCompatibilityRecord(const LasRecord& record);

/// How the points of one file are stored in this form.
class CompatibilityForm {
public:
    /// How the record of the compression says that points are in this form, among its options.
    static constexpr std::uint32_t CompressionOption = 1;

    /// Where the extra bytes of the form stand in a stored record.
    struct Places {
        std::size_t angle, returns, classes, flags;
        std::optional<std::size_t> infrared;
    };

    /// The form of a file whose points are stored as `header` says, with these descriptors of extra bytes; null when it
    /// is in none. One that has only a part of what makes the form gives a sentence in `warnings`.
    static std::shared_ptr<const CompatibilityForm> find(const LasHeader& header, const std::vector<LasRecord>& vlrs,
                                                         std::span<const std::byte> extraBytes,
                                                         std::vector<std::string>& warnings);

    /// Of records of format 1, 3, 4 or 5, which have these places. Near infrared is for formats with colour.
    CompatibilityForm(const LasHeader& header, const Places& places, std::uint64_t countsOffset);

    std::uint8_t storedFormat() const { return storedFormat_; }
    std::size_t storedLength() const { return storedLength_; } ///< bytes of a record
    std::uint8_t pointFormat() const;                          ///< that it stands for
    std::size_t recordLength() const;                          ///< bytes of a record of that

    /// Where the file says how many points there are, and then how many of returns 1 to 15; each has 8 bytes.
    std::uint64_t countsOffset() const { return countsOffset_; }

    /// The first of these.
    std::uint64_t statedCount(const InputFile& file) const;

    /// What must stand there for this header.
    static std::vector<std::byte> countsOf(const LasHeader& header);

    /// The header of what the file stands for.
    LasHeader restored(const InputFile& file, LasHeader header) const;

    /// The payload of an Extra Bytes record without the descriptors that belong to the form.
    std::vector<std::byte> withoutOwn(std::span<const std::byte> extraBytes) const;

    /// What the records stand for; there must be as many.
    void restore(std::span<const std::byte> stored, std::span<std::byte> restored) const;

    /// Lets `change(restored, first)` change what the records stand for, a piece at a time, `first` being the record
    /// that it begins with. In the stored records only the fields change that it changed, in all their places.
    using Change = std::function<void(std::span<std::byte> restored, std::size_t first)>;
    void edit(std::span<std::byte> stored, const Change& change) const;

private:
    /// Bytes that are the same in both.
    struct Shared {
        std::size_t stored, restored, bytes;
    };

    bool isOwn(std::size_t byte) const;
    void share(std::size_t stored, std::size_t restored, std::size_t bytes);
    void store(std::span<const std::byte> before, std::span<const std::byte> after, std::span<std::byte> stored) const;
    void storeRecord(const std::byte* before, const std::byte* after, std::byte* record) const;

    std::uint8_t storedFormat_;
    std::size_t storedLength_;
    Places places_;
    std::uint64_t countsOffset_;
    std::vector<Shared> shared_;
};

} // namespace corvane
