// SPDX-License-Identifier: Apache-2.0
// Stands before the functions of the system: what a thread that must not wait does with them is noted.
#include "WaitingCalls.hpp"

#include <atomic>
#include <cstdlib>
#include <dlfcn.h>
#include <pthread.h>
#include <sys/types.h>
#include <unistd.h>

#include <utility>

namespace corvane::test {
namespace {

std::atomic<int> changes = 0;
thread_local bool watched = false;
thread_local std::vector<std::string> calls;

void note(const char* call) {
    if (!watched) return;
    watched = false; // what it takes to note it is not meant
    calls.emplace_back(call);
    watched = true;
}

template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

void watchThisThread() {
    watched = true;
    calls.clear();
}

std::vector<std::string> takeWaitingCalls() { return std::exchange(calls, {}); }

int environmentChanges() { return changes; }

} // namespace corvane::test

using corvane::test::next;
using corvane::test::note;

extern "C" {

int setenv(const char* name, const char* value, int overwrite) noexcept {
    static auto* const real = next<decltype(setenv)>("setenv");
    if (gettid() != getpid()) ++corvane::test::changes;
    return real(name, value, overwrite);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    static auto* const real = next<decltype(pthread_cond_wait)>("pthread_cond_wait");
    note("pthread_cond_wait");
    return real(condition, mutex);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock, const timespec* until) {
    static auto* const real = next<decltype(pthread_cond_clockwait)>("pthread_cond_clockwait");
    note("pthread_cond_clockwait");
    return real(condition, mutex, clock, until);
}

int pthread_join(pthread_t thread, void** result) {
    static auto* const real = next<decltype(pthread_join)>("pthread_join");
    note("pthread_join");
    return real(thread, result);
}

ssize_t pread64(int file, void* bytes, size_t count, off64_t offset) {
    static auto* const real = next<decltype(pread64)>("pread64");
    note("pread64");
    return real(file, bytes, count, offset);
}

ssize_t pread(int file, void* bytes, size_t count, off_t offset) {
    static auto* const real = next<decltype(pread)>("pread");
    note("pread");
    return real(file, bytes, count, offset);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
    static auto* const real = next<decltype(pwrite64)>("pwrite64");
    note("pwrite64");
    return real(file, bytes, count, offset);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t offset) {
    static auto* const real = next<decltype(pwrite)>("pwrite");
    note("pwrite");
    return real(file, bytes, count, offset);
}

int fsync(int file) {
    static auto* const real = next<decltype(fsync)>("fsync");
    note("fsync");
    return real(file);
}

int fdatasync(int file) {
    static auto* const real = next<decltype(fdatasync)>("fdatasync");
    note("fdatasync");
    return real(file);
}
}
