// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdlib>
#include <fmt/format.h>
#include <span>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace corvane::fuzz {

/// Ends the process as a finding unless it holds.
inline void require(bool holds) {
    if (!holds) std::abort();
}

/// A file in memory, with a path, rewritten for every input.
struct MemoryFile {
    int descriptor = memfd_create("input.las", MFD_CLOEXEC);
    std::string path = fmt::format("/proc/self/fd/{}", descriptor);

    void hold(std::span<const std::byte> bytes) const {
        require(ftruncate(descriptor, 0) == 0 &&
                pwrite(descriptor, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }
};

} // namespace corvane::fuzz
