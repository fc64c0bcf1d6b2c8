// SPDX-License-Identifier: Apache-2.0
#include "store/WriterLock.hpp"

#include "base/FileLock.hpp"
#include "base/Text.hpp"
#include "store/EditStore.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

namespace corvane {
namespace {

bool isNamed(int descriptor, const std::string& path) {
    struct stat opened {
    }, named{};
    return fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

Failure cannotLock(const std::string& store, const std::string& path) {
    return Failure(
        fmt::format("{}: cannot be written, since its lock {} cannot be had: {}. Check that you may write to "
                    "the folder, or keep the store in another one.",
                    store, path, std::strerror(errno)));
}

} // namespace

WriterLock::WriterLock(const std::string& store) : path_(store + "-lock") {
    try {
        // Whoever had it may have removed the file between our opening and our locking it; then it is nobody's lock.
        while (!tryLock(store)) close(descriptor_);
    } catch (...) {
        if (descriptor_ >= 0) close(descriptor_);
        throw;
    }
    sayWho();
}

WriterLock::~WriterLock() {
    unlink(path_.c_str());
    close(descriptor_);
}

/// False: what was locked is not what has the name now.
bool WriterLock::tryLock(const std::string& store) {
    descriptor_ = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (descriptor_ < 0) throw cannotLock(store, path_);
    const Locked locked = lockFile(descriptor_, LockKind::Exclusive);
    if (locked == Locked::Yes) return isNamed(descriptor_, path_);
    if (locked == Locked::No) throw cannotLock(store, path_);
    throw StoreHeld(fmt::format("{}: is being edited by {}; end that first, or wait for it.", store, holder()));
}

void WriterLock::sayWho() const {
    std::array<char, 256> host{};
    if (gethostname(host.data(), host.size() - 1) != 0) host[0] = '\0';
    const std::string who = fmt::format("process {} ({}) on {}", getpid(), program_invocation_short_name, host.data());
    // Who it is, is for people; the lock holds without it.
    if (ftruncate(descriptor_, 0) == 0) (void)!pwrite(descriptor_, who.data(), who.size(), 0);
}

std::string WriterLock::holder() const {
    std::array<char, 512> text{};
    const ssize_t length = pread(descriptor_, text.data(), text.size(), 0);
    return length > 0 ? escaped({text.data(), static_cast<std::size_t>(length)}) : "another program";
}

} // namespace corvane
