// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/BufferPool.hpp"

#include <map>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <vector>

namespace Holdfast {
namespace {

constexpr std::size_t SmallestPooled = std::size_t{64} << 10; // below, the C library is quicker
constexpr std::size_t HugePage = std::size_t{2} << 20;

std::size_t roundedUp(std::size_t bytes) { return (bytes + SmallestPooled - 1) / SmallestPooled * SmallestPooled; }

struct Kept {
    std::mutex mutex;
    std::map<std::size_t, std::vector<void*>> buffers; // by size
    std::size_t bytes = 0;
};

/// Never destroyed: arrays of static duration in other libraries may be released after us.
Kept& kept() {
    static Kept* instance = std::make_unique<Kept>().release();
    return *instance;
}

std::align_val_t alignmentOf(std::size_t bytes) { return std::align_val_t(bytes >= HugePage ? HugePage : 4096); }

void* fresh(std::size_t bytes) {
    void* buffer = ::operator new(bytes, alignmentOf(bytes));
    if (bytes >= HugePage) madvise(buffer, bytes, MADV_HUGEPAGE);
    return buffer;
}

} // namespace

void* BufferPool::acquire(std::size_t bytes) {
    if (bytes < SmallestPooled) return ::operator new(bytes);
    const std::size_t size = roundedUp(bytes);
    {
        const std::lock_guard lock(kept().mutex);
        auto& free = kept().buffers[size];
        if (!free.empty()) {
            void* buffer = free.back();
            free.pop_back();
            kept().bytes -= size;
            return buffer;
        }
    }
    return fresh(size);
}

void BufferPool::release(void* buffer, std::size_t bytes) noexcept {
    if (bytes < SmallestPooled) return ::operator delete(buffer);
    const std::size_t size = roundedUp(bytes);
    const std::lock_guard lock(kept().mutex);
    if (kept().bytes + size > KeptBytes) return ::operator delete(buffer, alignmentOf(size));
    kept().buffers[size].push_back(buffer);
    kept().bytes += size;
}

} // namespace Holdfast
