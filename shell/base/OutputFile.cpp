// SPDX-License-Identifier: Apache-2.0
#include "base/OutputFile.hpp"

#include "base/Failure.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace corvane {
namespace {

std::string followLinks(const std::string& path) {
    std::error_code error;
    if (!std::filesystem::is_symlink(path, error)) return path;
    const auto target = std::filesystem::canonical(path, error);
    if (!error) return target.string();
    throw UsageError(fmt::format("{}: is a link to {}, which is not there; name a file, or mend the link.", path,
                                 std::filesystem::read_symlink(path, error).string()));
}

std::string folderOf(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

Failure cannotWrite(const std::string& path, const std::string& folder) {
    return Failure(
        fmt::format("{}: cannot be written: {}. Check that the folder {} exists and that you may write there.", path,
                    std::strerror(errno), folder));
}

Failure alreadyThere(const std::string& path) {
    return Failure(fmt::format("{}: exists already and was left as it is; add --overwrite (or \"overwrite\": true in a "
                               "network) to replace it.",
                               path));
}

/// The file that will be replaced, if there is one and it may be.
std::optional<struct stat> replaceable(const std::string& path, const std::string& target, bool overwrite) {
    struct stat status {};
    if (stat(target.c_str(), &status) != 0) return std::nullopt;
    if (!S_ISREG(status.st_mode))
        throw Failure(fmt::format("{}: cannot be written, since it is {}; give another name.", path,
                                  S_ISDIR(status.st_mode) ? "a folder" : "not a regular file"));
    if (!overwrite) throw alreadyThere(path);
    if (faccessat(AT_FDCWD, target.c_str(), W_OK, AT_EACCESS) != 0)
        throw Failure(fmt::format("{}: is not replaced, since you may not write it: {}. Change its permissions, or "
                                  "give another name.",
                                  path, std::strerror(errno)));
    return status;
}

/// Copies in the kernel what it can, from `begin` on; returns how many bytes.
std::uint64_t copyInKernel(const InputFile& from, std::uint64_t begin, std::uint64_t end, int to, std::uint64_t place) {
    auto source = static_cast<off_t>(begin);
    auto target = static_cast<off_t>(place);
    while (static_cast<std::uint64_t>(source) < end) {
        const auto length = static_cast<std::size_t>(end - static_cast<std::uint64_t>(source));
        const ssize_t copied = copy_file_range(from.descriptor(), &source, to, &target, length, 0);
        if (copied < 0 && errno == EINTR) continue;
        if (copied <= 0) break; // reading and writing will do it, or tell why not
    }
    return static_cast<std::uint64_t>(source) - begin;
}

/// A text per extended attribute that the file at `from` has and `to` could not be given.
std::vector<std::string> copyAttributes(const std::string& from, int to) {
    std::vector<std::string> lost;
    const ssize_t length = listxattr(from.c_str(), nullptr, 0);
    std::string names(static_cast<std::size_t>(std::max<ssize_t>(length, 0)), '\0');
    names.resize(static_cast<std::size_t>(std::max<ssize_t>(listxattr(from.c_str(), names.data(), names.size()), 0)));
    for (std::size_t at = 0; at < names.size(); at += std::strlen(&names[at]) + 1) {
        const char* name = &names[at];
        const ssize_t size = getxattr(from.c_str(), name, nullptr, 0);
        std::string value(static_cast<std::size_t>(std::max<ssize_t>(size, 0)), '\0');
        const ssize_t got = getxattr(from.c_str(), name, value.data(), value.size());
        if (got < 0 || fsetxattr(to, name, value.data(), static_cast<std::size_t>(got), 0) != 0)
            lost.emplace_back(name);
    }
    return lost;
}

} // namespace

void checkMayWrite(const std::string& path, bool overwrite) {
    if (path == "-")
        throw UsageError(
            "-: would be a file of that name, since results are written as files only; name one that ends in "
            ".las or .laz.");
    const std::string target = followLinks(path), folder = folderOf(target);
    if (replaceable(path, target, overwrite)) return;
    const int opened = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    const bool may = opened >= 0 && faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
    const int error = errno;
    if (opened >= 0) close(opened);
    errno = error;
    if (!may) throw cannotWrite(path, folder);
}

OutputFile::OutputFile(const std::string& path, bool overwrite)
    : path_(path),
      target_(followLinks(path)),
      folder_(folderOf(target_)),
      overwrite_(overwrite),
      replaced_(replaceable(path_, target_, overwrite)) {
    removeLeftTemporaries(folder_);
    open();
}

/// What replaces a file is for nobody else to see before it has that one's permissions.
void OutputFile::open() {
    const mode_t mode = replaced_ ? 0600 : 0666;
    // The system gives such a file its name by its place there.
    const bool nameless = access("/proc/self/fd", X_OK) == 0;
    if (nameless) descriptor_ = ::open(folder_.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode);
    const bool unknown = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOENT;
    if (!nameless || (descriptor_ < 0 && unknown)) {
        temporary_ = std::make_unique<Temporary>(folder_);
        descriptor_ = ::open(temporary_->path().c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, mode);
    }
    if (descriptor_ >= 0)
        flock(descriptor_, LOCK_EX | LOCK_NB); // says that its process lives
    else
        throw cannotWrite(path_, folder_);
}

OutputFile::~OutputFile() {
    if (descriptor_ >= 0) close(descriptor_);
}

void OutputFile::write(std::span<const std::byte> bytes) {
    writeAt(size_, bytes);
    size_ += bytes.size();
}

void OutputFile::copy(const InputFile& from, std::uint64_t begin, std::uint64_t end) {
    const std::uint64_t copied = from.hasOverlay() ? 0 : copyInKernel(from, begin, end, descriptor_, size_);
    size_ += copied;
    begin += copied;
    constexpr std::uint64_t piece = std::uint64_t{1} << 20;
    for (std::vector<std::byte> buffer; begin < end; begin += buffer.size()) {
        buffer.resize(std::min(piece, end - begin));
        from.read(begin, buffer);
        write(buffer);
    }
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

std::string OutputFile::readablePath() const {
    return temporary_ ? temporary_->path() : fmt::format("/proc/self/fd/{}", descriptor_);
}

std::vector<std::string> OutputFile::commit() {
    std::vector<std::string> losses;
    if (replaced_) keepAttributes(losses);
    if (fsync(descriptor_) != 0) fail("syncing failed");
    giveName();
    syncFolder();
    return losses;
}

void OutputFile::keepAttributes(std::vector<std::string>& losses) const {
    const struct stat& old = *replaced_;
    if (old.st_nlink > 1)
        losses.push_back(fmt::format("The file that was replaced has {} other name{} (hard links), which keep what it "
                                     "held.",
                                     old.st_nlink - 1, old.st_nlink > 2 ? "s" : ""));
    struct stat now {};
    if (fstat(descriptor_, &now) != 0) fail("looking at its owner failed");
    const bool sameGroup = now.st_gid == old.st_gid || fchown(descriptor_, uid_t(-1), old.st_gid) == 0;
    const bool sameOwner = now.st_uid == old.st_uid || fchown(descriptor_, old.st_uid, gid_t(-1)) == 0;
    if (!sameGroup || !sameOwner)
        losses.push_back(fmt::format("The file that was replaced belonged to user {} and group {}; the new one does "
                                     "not, since you may not give files away.",
                                     old.st_uid, old.st_gid));
    // Bits that let a program run as its owner are for that owner's eyes only.
    const mode_t kept = sameGroup && sameOwner ? 07777 : 0777;
    if (fchmod(descriptor_, old.st_mode & kept) != 0) fail("setting its permissions failed");
    if (const auto lost = copyAttributes(target_, descriptor_); !lost.empty())
        losses.push_back(fmt::format("The extended attributes {} of the file that was replaced could not be kept.",
                                     fmt::join(lost, ", ")));
}

void OutputFile::giveName() {
    if (!temporary_) {
        const std::string nameless = fmt::format("/proc/self/fd/{}", descriptor_);
        const auto link = [&](const std::string& name) {
            return linkat(AT_FDCWD, nameless.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
        };
        if (link(target_)) return;
        if (errno == EEXIST && !overwrite_) throw alreadyThere(path_);
        if (errno != EEXIST) fail("naming it failed");
        temporary_ = std::make_unique<Temporary>(folder_); // no call gives a name that is taken
        if (!link(temporary_->path())) fail("naming it failed");
    }
    const char *from = temporary_->path().c_str(), *to = target_.c_str();
    if (overwrite_) {
        if (rename(from, to) != 0) fail("renaming failed");
    } else if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST) throw alreadyThere(path_);
        if (errno != EINVAL && errno != ENOSYS) fail("renaming failed");
        // The file system does not know that call. A second name is refused, too, where there is one already.
        if (link(from, to) == 0) return temporary_->remove();
        if (errno == EEXIST || access(to, F_OK) == 0) throw alreadyThere(path_);
        if (rename(from, to) != 0) fail("renaming failed");
    }
    temporary_->release();
}

void OutputFile::syncFolder() const {
    const int folder = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = folder >= 0 && fsync(folder) == 0;
    const int error = errno;
    if (folder >= 0) close(folder);
    if (synced) return;
    throw Failure(fmt::format("{}: is new and whole, but syncing its folder failed: {}. After a power cut the name may "
                              "be what it was before.",
                              path_, std::strerror(error)));
}

void OutputFile::fail(const char* what) const {
    throw Failure(fmt::format("{}: cannot be written: {}: {}. What stood under this name before is unchanged.", path_,
                              what, std::strerror(errno)));
}

} // namespace corvane
