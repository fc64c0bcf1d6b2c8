// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "MemoryFile.hpp"
#include "las/PointWriter.hpp"

#include <filesystem>
#include <vector>

namespace corvane::fuzz {

/// A name for what is saved, of a file that goes with this.
class SavedFile {
public:
    /// The extension says how it is packed.
    explicit SavedFile(const char* extension)
        : path_(std::filesystem::temp_directory_path() / fmt::format("corvane_fuzz.{}{}", getpid(), extension)) {}
    ~SavedFile() {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    SavedFile(const SavedFile&) = delete;
    SavedFile& operator=(const SavedFile&) = delete;

    /// Saves the survey with these edits and opens what came about. Throws Failure.
    LasFile save(const LasFile& las, const PointEdits& edits) const {
        OutputFile output(path_, true);
        PointWriter(las, output, {}).write(edits, {}, Packing::forName(path_, las));
        output.commit();
        return LasFile::open(path_);
    }

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

inline std::vector<std::byte> allRecords(const LasFile& las) {
    std::vector<std::byte> records(las.points->count() * las.points->recordLength());
    if (!records.empty()) las.points->read(0, records);
    return records;
}

} // namespace corvane::fuzz
