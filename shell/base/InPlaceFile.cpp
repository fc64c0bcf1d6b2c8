// SPDX-License-Identifier: Apache-2.0
#include "base/InPlaceFile.hpp"

#include "base/Failure.hpp"
#include "base/FileLock.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {

InPlaceFile::InPlaceFile(const std::string& path) : path_(path) {
    descriptor_ = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0)
        throw Failure(fmt::format("{}: cannot be written in place: {}. Check that you may write to it, or save to "
                                  "another file. Nothing was written.",
                                  path, std::strerror(errno)));
    size_ = static_cast<std::uint64_t>(status.st_size);
    constexpr std::chrono::seconds Patience{2}; // in which most who only look at it have ended
    if (lockFile(descriptor_, LockKind::Exclusive, Patience) != Locked::Held) return;
    close(descriptor_); // the destructor of what was never constructed does not run
    throw Failure(
        fmt::format("{}: is open in another program, which would read a part of the old and a part of the new. "
                    "Nothing was written. Save it in place when that has ended, or save to another file.",
                    path));
}

InPlaceFile::~InPlaceFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

void InPlaceFile::checkSame(const InputFile& file) const {
    struct stat own {
    }, other{};
    if (fstat(descriptor_, &own) == 0 && fstat(file.descriptor(), &other) == 0 && own.st_dev == other.st_dev &&
        own.st_ino == other.st_ino)
        return;
    throw Failure(fmt::format("{}: was replaced by another file while it was read. Nothing was written. Try again when "
                              "no other program writes to it.",
                              path_));
}

void InPlaceFile::write(const FileRuns& runs) {
    constexpr std::uint64_t NearBytes = 4096, LargestGroup = std::uint64_t{1} << 20;
    for (auto first = runs.begin(); first != runs.end();) {
        std::uint64_t end = first->end();
        auto last = std::next(first);
        for (; last != runs.end() && last->offset - end <= NearBytes && last->end() - first->offset <= LargestGroup;
             ++last)
            end = last->end();
        if (std::next(first) == last) {
            write(first->offset, first->bytes);
        } else {
            buffer_.resize(end - first->offset);
            read(first->offset, buffer_);
            for (auto run = first; run != last; ++run)
                std::ranges::copy(run->bytes, std::span(buffer_).subspan(run->offset - first->offset).begin());
            write(first->offset, buffer_);
        }
        first = last;
    }
}

void InPlaceFile::read(std::uint64_t offset, std::span<std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t got = pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got == 0) errno = EIO; // it became shorter
        if (got <= 0) fail("reading");
        offset += static_cast<std::uint64_t>(got);
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
}

void InPlaceFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail("writing");
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void InPlaceFile::sync() {
    if (fsync(descriptor_) != 0) fail("syncing");
}

void InPlaceFile::fail(const char* what) const {
    throw Failure(fmt::format("{}: {} it in place failed: {}.", path_, what, std::strerror(errno)));
}

} // namespace corvane
