// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace corvane {

/// A file that is there whole or not at all: bytes go to a temporary file in the same folder, which `commit` syncs and
/// renames to its name, syncing the folder too. What was not committed is removed. Every operation throws Failure.
class OutputFile {
public:
    /// A symbolic link at `path` is followed: the file that it names will be replaced, not the link.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Appends.
    void write(std::span<const std::byte> bytes);

    /// Overwrites bytes that have been written already.
    void writeAt(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Gives the file its name; the last call.
    void commit();

    int descriptor() const { return descriptor_; }

private:
    [[noreturn]] void fail(const char* what) const;

    std::string path_;
    std::string temporaryPath_;
    std::uint64_t size_ = 0;
    int descriptor_ = -1;
};

} // namespace corvane
