// SPDX-License-Identifier: Apache-2.0
#include "base/ScratchFile.hpp"

#include "base/Failure.hpp"
#include "base/Temporaries.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

namespace corvane {

ScratchFile::ScratchFile(std::string folder) : folder_(std::move(folder)) {
    constexpr mode_t mode = 0600;
    descriptor_ = ::open(folder_.c_str(), O_TMPFILE | O_EXCL | O_RDWR | O_CLOEXEC, mode);
    if (descriptor_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
        const Temporary name(folder_); // which is gone as soon as the file is open
        descriptor_ = ::open(name.path().c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
    }
    if (descriptor_ < 0) fail("making", std::strerror(errno));
}

ScratchFile::~ScratchFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

void ScratchFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail("writing", std::strerror(errno));
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void ScratchFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
    while (!bytes.empty()) {
        const ssize_t got = pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) fail("reading", got == 0 ? "it ends too soon" : std::strerror(errno));
        offset += static_cast<std::uint64_t>(got);
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
}

void ScratchFile::fail(const char* what, const char* why) const {
    throw Failure(fmt::format("{}: {} a temporary file in this folder failed: {}. It takes as much room as the points "
                              "without compression; nothing is left of it.",
                              folder_, what, why));
}

} // namespace corvane
