// SPDX-License-Identifier: Apache-2.0
#include "base/InputFile.hpp"

#include "base/Failure.hpp"
#include "base/FileLock.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace corvane {

InputFile::InputFile(std::string path, std::shared_ptr<const FileRuns> overlay)
    : path_(std::move(path)), overlay_(std::move(overlay)) {
    try { // the destructor of what was never constructed does not run
        openAndLock();
        // Before the lock was ours another file may have taken the place of this one.
        if (struct stat named{}; !isNamed() && stat(path_.c_str(), &named) == 0) {
            close(std::exchange(descriptor_, -1));
            openAndLock();
        }
    } catch (...) {
        if (descriptor_ >= 0) close(descriptor_);
        throw;
    }
    struct stat status {};
    fstat(descriptor_, &status);
    size_ = static_cast<std::uint64_t>(status.st_size);
    changed_ = status.st_mtim;
}

void InputFile::openAndLock() {
    constexpr std::chrono::seconds Patience{2}; // in which most savings end
    // Non-blocking, since opening a pipe for reading would wait for its writer. Regular files do not care.
    descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0)
        throw Failure(fmt::format("{}: cannot be opened: {}. Check the name and that you may read it.", path_,
                                  std::strerror(errno)));
    struct stat status {};
    if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(fmt::format("{}: is not a regular file; name a file, not a folder, pipe or device.", path_));
    if (lockFile(descriptor_, LockKind::Shared, Patience) == Locked::Held)
        throw Failure(fmt::format("{}: is being saved in place by another program just now. Do it again when that has "
                                  "ended.",
                                  path_));
}

bool InputFile::isNamed() const {
    struct stat own {
    }, named{};
    return fstat(descriptor_, &own) == 0 && stat(path_.c_str(), &named) == 0 && named.st_dev == own.st_dev &&
           named.st_ino == own.st_ino;
}

void InputFile::letBeWritten() const { unlockFile(descriptor_); }

InputFile::~InputFile() { close(descriptor_); }

bool InputFile::isAsItWas() const {
    struct stat now {};
    return fstat(descriptor_, &now) == 0 && static_cast<std::uint64_t>(now.st_size) == size_ &&
           now.st_mtim.tv_sec == changed_.tv_sec && now.st_mtim.tv_nsec == changed_.tv_nsec;
}

bool InputFile::isAnother() const {
    struct stat named {};
    return !isAsItWas() || (!replaced_ && stat(path_.c_str(), &named) == 0 && !isNamed());
}

void InputFile::checkUnchanged() const {
    const bool itself = replaced_ || isNamed();
    if (isAsItWas() && itself) return;
    throw Failure(fmt::format("{}: {} while it was read, so what was read of it may not belong together; nothing was "
                              "written. Try again when no other program writes to it.",
                              path_, itself ? "was changed" : "was replaced by another file or removed"));
}

void InputFile::read(std::uint64_t offset, std::span<std::byte> bytes) const {
    if (offset > size_ || bytes.size() > size_ - offset)
        throw Failure(
            fmt::format("{}: {} bytes were asked for at offset {}, but the file ends at {}; it is damaged or not "
                        "whole, so get it again from where it came.",
                        path_, bytes.size(), offset, size_));
    const std::uint64_t begin = offset;
    const std::span<std::byte> all = bytes;
    while (!bytes.empty()) {
        const ssize_t got = pread(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0)
            throw Failure(fmt::format("{}: reading {} bytes at offset {} failed: {}. Check the disc or the network.",
                                      path_, bytes.size(), offset, std::strerror(errno)));
        if (got == 0)
            throw Failure(
                fmt::format("{}: the file shrank while it was open: it ends before offset {}, and had {} bytes "
                            "when it was opened. Open it again when no other program writes to it.",
                            path_, offset + bytes.size(), size_));
        offset += static_cast<std::uint64_t>(got);
        bytes = bytes.subspan(static_cast<std::size_t>(got));
    }
    if (overlay_) overlay_->applyTo(begin, all);
}

namespace {

/// What comes out of a pipe, up to one byte more than `largest`.
std::string contentOfStream(int stream, const std::string& name, std::uint64_t largest) {
    constexpr std::size_t Step = 1 << 16; // bytes
    std::string text;
    while (text.size() <= largest) {
        const std::size_t before = text.size();
        text.resize(before + Step);
        const ssize_t got = ::read(stream, text.data() + before, Step);
        text.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
        if (got == 0) break;
        if (got < 0 && errno != EINTR)
            throw Failure(
                fmt::format("{}: cannot be read: {}. Check what writes into it.", name, std::strerror(errno)));
    }
    return text;
}

/// Standard input is not closed.
struct Stream {
    explicit Stream(const std::string& path)
        : descriptor(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~Stream() {
        if (descriptor > STDIN_FILENO) close(descriptor);
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    const int descriptor;
};

std::string contentOfPipe(const std::string& path, std::uint64_t largest) {
    const std::string name = path == "-" ? "standard input" : path;
    const Stream stream(path);
    if (stream.descriptor < 0)
        throw Failure(fmt::format("{}: cannot be opened: {}. Check the name and that you may read it.", name,
                                  std::strerror(errno)));
    std::string text = contentOfStream(stream.descriptor, name, largest);
    if (text.size() > largest)
        throw Failure(
            fmt::format("{}: has more than the {} bytes that a text may have here; give less.", name, largest));
    return text;
}

bool isPipe(const std::string& path) {
    struct stat status {};
    return path == "-" || (stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode));
}

} // namespace

std::string readTextFile(const std::string& path, std::uint64_t largest) {
    if (isPipe(path)) return contentOfPipe(path, largest);
    const InputFile file(path);
    if (file.size() > largest)
        throw Failure(fmt::format("{}: has {} bytes where a text of at most {} is expected; name another file.", path,
                                  file.size(), largest));
    std::string text(file.size(), '\0');
    file.read(0, std::as_writable_bytes(std::span(text)));
    return text;
}

} // namespace corvane
