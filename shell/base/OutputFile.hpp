// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/InputFile.hpp"
#include "base/Temporaries.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace corvane {

/// Throws what stands against writing to this path, before any work is done for it: UsageError for a link to nothing,
/// Failure for a folder or device, a file that is to be kept, and one that the user may not write, replaced or not.
void checkMayWrite(const std::string& path, bool overwrite);

/// A file that is there whole or not at all: bytes go to a file without a name in the same folder, or where the file
/// system has no such thing to one of a temporary name. `commit` syncs it and gives it its name, and syncs the folder.
/// What was not committed is gone, also after a power cut or a kill. Every operation throws Failure.
class OutputFile {
public:
    /// A symbolic link at `path` is followed: the file that it names will be replaced, not the link. Throws as
    /// checkMayWrite does. Removes what earlier processes left in the folder.
    OutputFile(const std::string& path, bool overwrite);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// As it was given.
    const std::string& path() const { return path_; }

    /// Where it will lie.
    const std::string& folder() const { return folder_; }

    /// Bytes so far.
    std::uint64_t size() const { return size_; }

    /// Appends.
    void write(std::span<const std::byte> bytes);

    /// Appends the bytes of another file from `begin` to `end`, which stay in the kernel where it can.
    void copy(const InputFile& from, std::uint64_t begin, std::uint64_t end);

    /// Overwrites bytes that have been written already.
    void writeAt(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Where what was written can be read before it has its name.
    std::string readablePath() const;

    /// Gives the file its name, and the owner, group, permissions and extended attributes of the file that it replaces;
    /// the last call. Returns what could not be kept of those: finished sentences without the path. When somebody else
    /// made a file of this name meanwhile that is to be kept, it is, and this throws.
    std::vector<std::string> commit();

private:
    void open();
    void keepAttributes(std::vector<std::string>& losses) const;
    void giveName();
    void syncFolder() const;
    [[noreturn]] void fail(const char* what) const;

    std::string path_, target_, folder_; // the target is the path with links followed
    bool overwrite_;
    std::optional<struct stat> replaced_;
    std::unique_ptr<Temporary> temporary_; // none: the file has no name
    std::uint64_t size_ = 0;
    int descriptor_ = -1;
};

} // namespace corvane
