// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/FileRuns.hpp"
#include "base/InputFile.hpp"

#include <string>

namespace corvane {

/// A file whose bytes are overwritten where it stands; it keeps its length. Whatever fails is not tried again. Every
/// operation throws Failure.
class InPlaceFile {
public:
    /// Opens it for writing, and writes nothing. As long as it lives nobody else opens the file as an InputFile; who
    /// has it open keeps this from being made, unless they gave their lock up.
    explicit InPlaceFile(const std::string& path);
    ~InPlaceFile();
    InPlaceFile(const InPlaceFile&) = delete;
    InPlaceFile& operator=(const InPlaceFile&) = delete;

    /// Bytes in the file when it was opened.
    std::uint64_t size() const { return size_; }

    /// Throws when it is not the file that is open there.
    void checkSame(const InputFile& file) const;

    /// Writes the runs in their order. Those that lie near each other are written together, with the bytes between them
    /// as the file has them.
    void write(const FileRuns& runs);

    /// Everything that was written is on the disc when this returns.
    void sync();

private:
    void read(std::uint64_t offset, std::span<std::byte> bytes);
    void write(std::uint64_t offset, std::span<const std::byte> bytes);
    [[noreturn]] void fail(const char* what) const;

    std::string path_;
    std::uint64_t size_ = 0;
    int descriptor_ = -1;
    std::vector<std::byte> buffer_;
};

} // namespace corvane
