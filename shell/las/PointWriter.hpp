// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/OutputFile.hpp"
#include "base/Watch.hpp"
#include "las/LasFile.hpp"
#include "las/LookupChange.hpp"
#include "las/PointEdits.hpp"

namespace corvane {

/// The way from edited points to a new file: the file as it was opened with what changed in it, and all else the same
/// bit for bit. What no edit touches is copied by the kernel.
class PointWriter {
public:
    /// All must outlive it.
    PointWriter(const LasFile& las, OutputFile& output, const Watch& watch);

    /// Writes the whole file. Throws Failure, also when the file that was opened is not what it was.
    void write(const PointEdits& edits, const FileChange& change = {});

private:
    void copyBytes(std::uint64_t begin, std::uint64_t end);
    void copyPoints(std::uint64_t first, std::uint64_t end);
    void writePoints(const PointReader& edited, const PointRange& range);
    void tell(std::uint64_t done) const { watch_(done, las_.file->size(), work_); }

    const LasFile& las_;
    OutputFile& output_;
    const Watch& watch_;
    std::string work_;
};

} // namespace corvane
