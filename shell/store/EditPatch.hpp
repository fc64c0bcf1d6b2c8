// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "base/OutputFile.hpp"
#include "store/FragmentChange.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace corvane {

// A patch is a file with what edits changed of a survey, point by point: so it fits every file of the same points in
// the same order, whatever its format and fragments. Changes lie in blocks of 65,536 points, each a FragmentChange; see
// docs/edit-store.md.

/// Writes a patch, field by field and in each from the first point to the last, holding one block at a time.
class PatchWriter {
public:
    /// For a survey of so many points. Throws as OutputFile does.
    PatchWriter(const std::string& path, std::uint64_t points, bool overwrite);

    /// What follows belongs to this field; no field twice. Values have 1 or 2 bytes.
    void beginField(const std::string& name, int width);

    /// What changed of the points from `first` on; behind all that was added of this field. Changes of nothing may be
    /// left out.
    void add(std::uint64_t first, const FragmentChange& change);

    /// The last call: the file gets its name. Returns what OutputFile::commit does.
    std::vector<std::string> commit();

private:
    void flushBlock();
    void write(std::span<const std::byte> bytes);

    OutputFile file_;
    std::uint64_t points_;
    std::vector<std::string> names_;
    std::optional<FragmentChange> block_; // the points of block `number_` so far
    std::uint64_t number_ = 0;
    std::uint32_t checksum_ = 0;
};

/// A patch opened for reading. It has been read once as a whole: its structure and its checksum are right. Reading is
/// safe from several threads. Everything throws Failure.
class EditPatch {
public:
    /// Memory grows with the number of blocks, which the size of the file bounds.
    explicit EditPatch(const std::string& path);

    struct Field {
        std::string name;
        int width = 1;
        std::uint64_t changed = 0; ///< values
    };

    const std::string& path() const { return file_.path(); }
    std::uint64_t points() const { return points_; } ///< of the survey
    const std::vector<Field>& fields() const { return fields_; }

    /// What changed of `count` points from `first` on; none when nothing did. At most FragmentChange::MostPoints.
    std::optional<FragmentChange> change(std::size_t field, std::uint64_t first, std::uint32_t count) const;

private:
    struct Block {
        std::uint64_t number, offset;
        std::uint32_t length;
    };

    FragmentChange decoded(std::size_t field, std::uint64_t number, std::span<const std::byte> bytes) const;

    InputFile file_;
    std::uint64_t points_ = 0;
    std::vector<Field> fields_;
    std::vector<std::vector<Block>> blocks_; // by field, ascending
};

} // namespace corvane
