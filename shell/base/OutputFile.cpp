// SPDX-License-Identifier: Apache-2.0
#include "base/OutputFile.hpp"

#include "base/Failure.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {
namespace {

std::string followLink(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error)) return path;
    const auto target = std::filesystem::weakly_canonical(path, error);
    return error ? path : target.string();
}

std::string folderOf(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

/// The permissions that a new file would have, or those of the file that is replaced. Throws Failure when the name
/// belongs to something that a file must not replace: a folder, a pipe, a device.
mode_t modeFor(const std::string& path) {
    struct stat existing {};
    if (stat(path.c_str(), &existing) == 0) {
        if (S_ISREG(existing.st_mode)) return existing.st_mode & 07777;
        throw Failure(fmt::format("{}: cannot be written, since it is {}; give another name.", path,
                                  S_ISDIR(existing.st_mode) ? "a folder" : "not a regular file"));
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

OutputFile::OutputFile(const std::string& path)
    : path_(followLink(path)), temporaryPath_(folderOf(path_) + "/.corvane.XXXXXX") {
    const mode_t mode = modeFor(path_);
    descriptor_ = mkostemp(temporaryPath_.data(), O_CLOEXEC);
    if (descriptor_ < 0)
        throw Failure(
            fmt::format("{}: cannot be written: {}. Check that the folder {} exists and that you may write there.",
                        path_, std::strerror(errno), folderOf(path_)));
    if (fchmod(descriptor_, mode) != 0) fail("setting its permissions failed");
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (!temporaryPath_.empty()) unlink(temporaryPath_.c_str());
}

void OutputFile::write(std::span<const std::byte> bytes) {
    writeAt(size_, bytes);
    size_ += bytes.size();
}

void OutputFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail("writing failed");
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void OutputFile::commit() {
    if (fsync(descriptor_) != 0) fail("syncing failed");
    if (rename(temporaryPath_.c_str(), path_.c_str()) != 0) fail("renaming failed");
    temporaryPath_.clear();
    const int folder = open(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) fail("opening its folder for syncing failed");
    const int synced = fsync(folder);
    close(folder);
    if (synced != 0) fail("syncing its folder failed");
}

void OutputFile::fail(const char* what) const {
    throw Failure(fmt::format(
        "{}: cannot be written: {}: {}. What stood under this name before is unchanged unless the rename was done.",
        path_, what, std::strerror(errno)));
}

} // namespace corvane
