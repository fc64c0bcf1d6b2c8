// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/OutputFile.hpp"
#include "base/Watch.hpp"
#include "las/FileChange.hpp"
#include "las/LasFile.hpp"
#include "las/PointEdits.hpp"

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class ChunkPacker;

/// How points are to be stored.
struct Packing {
    bool compressed = false;
    std::optional<std::uint32_t> chunkPoints = {};   ///< none: chunks stay as they are, or have the usual size
    std::shared_ptr<const PointReader> records = {}; ///< other records of the same points, in another format
    std::uint8_t pointFormat = 0;                    ///< of those

    /// Whether a file of this name is a compressed one: it ends in .laz.
    static bool namesCompressed(const std::string& path);

    /// As the name of a file says, .las or .laz; as the points of this file are for any other.
    static Packing forName(const std::string& path, const LasFile& las);
};

/// The way from edited points to a new file: the file as it was opened with what changed in it, and all else the same
/// bit for bit. What no edit touches is copied by the kernel; of compressed points only the chunks that an edit changed
/// are packed anew.
class PointWriter {
public:
    /// All must outlive it.
    PointWriter(const LasFile& las, OutputFile& output, const Watch& watch);

    /// Writes the whole file. The edits are of the points as they are shown. Throws Failure, also when the file that
    /// was opened is not what it was.
    void write(const PointEdits& edits, FileChange change, const Packing& packing);

private:
    bool keepsChunks(const Packing& packing) const;
    void changePacking(FileChange& change, const Packing& packing);
    void copy(const FileChange& change, std::uint64_t begin, std::uint64_t end);
    void copyBytes(std::uint64_t begin, std::uint64_t end);

    void writeRecords(const PointEdits& edits);
    void expand(const PointReader& edited);
    void compress(const PointReader& edited);
    void rewriteChunks(const PointEdits& edits);
    std::optional<std::vector<std::byte>> repacked(const ChunkPacker& packer, const LazChunk& chunk,
                                                   const PointEdits& edits) const;
    void copyChunks(const LazBlock& block);
    void writeStretch(const PointReader& edited, const PointRange& range);
    void writeTable(std::uint64_t placeOffset);

    void settlePlaces(const FileChange& change, const Packing& packing);
    using Moved = std::function<std::uint64_t(std::uint64_t)>; // where a place of the old file is in the new one
    void settleCopc(const Moved& moved);
    template <class T>
    void put(std::uint64_t offset, T value);
    void tell(std::uint64_t done, std::uint64_t total) const { watch_(done, total, work_); }

    const LasFile& las_;
    OutputFile& output_;
    const Watch& watch_;
    std::string work_;
    std::size_t spliced_ = 0;      // splices that are written
    laz::Layout layout_;           // of the chunks that are written
    std::vector<LazChunk> chunks_; // as they are written
};

} // namespace corvane
