// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/FileRuns.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <span>
#include <string>

namespace corvane {

/// A file opened for reading. Reads are positioned, so that several threads may share one.
///
/// The file is read, never mapped: one that shrinks while it is open ends in a sentence and not in a signal. While it
/// is open no program of ours writes into it (InPlaceFile), where the file system knows locks.
class InputFile {
public:
    /// Throws Failure when there is no such file, it is not a regular file, it cannot be read, or it is being written
    /// in place and that does not end in a moment. With an `overlay` it reads as if those bytes were in it.
    explicit InputFile(std::string path, std::shared_ptr<const FileRuns> overlay = nullptr);
    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    const std::string& path() const { return path_; }

    /// Bytes in the file when it was opened.
    std::uint64_t size() const { return size_; }

    /// The descriptor, for system calls that copy between files; stays ours. What it gives has no overlay.
    int descriptor() const { return descriptor_; }
    bool hasOverlay() const { return overlay_ != nullptr; }

    /// Throws Failure when the file is another than it was when it was opened: by its size, by the time of its last
    /// change, or because its name belongs to another file.
    void checkUnchanged() const;

    /// Whether other bytes were written into it, or another file has its name. What was only removed is as it was.
    bool isAnother() const;

    /// From now on this process may write into the file.
    void letBeWritten() const;

    /// From now on the name may belong to another file: this process put one in its place.
    void expectReplaced() const { replaced_ = true; }

    /// Fills `bytes` from `offset`. Throws Failure when the file ends before that, or cannot be read.
    void read(std::uint64_t offset, std::span<std::byte> bytes) const;

private:
    void openAndLock();
    bool isAsItWas() const;
    bool isNamed() const;

    std::string path_;
    std::shared_ptr<const FileRuns> overlay_; // null: there is none
    std::uint64_t size_ = 0;
    struct timespec changed_ {}; // when it was opened
    int descriptor_ = -1;
    mutable std::atomic<bool> replaced_ = false;
};

/// All of a file or of what comes out of a pipe, as text; "-" is standard input. Throws Failure when it has more than
/// `largest` bytes, or cannot be read.
std::string readTextFile(const std::string& path, std::uint64_t largest = std::uint64_t{64} << 20);

} // namespace corvane
