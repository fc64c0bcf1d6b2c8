// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace corvane {

/// A file without a name, for what does not fit into memory. It is gone with the object, and with the process however
/// that ends. Reads and writes are positioned, so that several threads may share one. Every operation throws Failure.
class ScratchFile {
public:
    /// In this folder, whose file system must have room for it.
    explicit ScratchFile(std::string folder);
    ~ScratchFile();
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    void write(std::uint64_t offset, std::span<const std::byte> bytes);

    /// Fills `bytes` with what was written there.
    void read(std::uint64_t offset, std::span<std::byte> bytes) const;

private:
    [[noreturn]] void fail(const char* what, const char* why) const;

    std::string folder_;
    int descriptor_ = -1;
};

} // namespace corvane
