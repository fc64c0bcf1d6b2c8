// SPDX-License-Identifier: Apache-2.0
#include "base/FileLock.hpp"

#include <cerrno>
#include <fcntl.h>
#include <thread>

namespace corvane {
namespace {

int setLock(int descriptor, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = off_t{1} << 40; // where no reading or writing meets it, on systems on which locks hinder them
    lock.l_len = 1;
    return fcntl(descriptor, F_OFD_SETLK, &lock);
}

} // namespace

Locked lockFile(int descriptor, LockKind kind, std::chrono::milliseconds patience) {
    using namespace std::chrono_literals;
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        if (setLock(descriptor, kind == LockKind::Shared ? F_RDLCK : F_WRLCK) == 0) return Locked::Yes;
        if (errno != EAGAIN && errno != EACCES && errno != EINTR) return Locked::No;
        if (std::chrono::steady_clock::now() >= end) return Locked::Held;
        std::this_thread::sleep_for(5ms);
    }
}

void unlockFile(int descriptor) { setLock(descriptor, F_UNLCK); }

} // namespace corvane
