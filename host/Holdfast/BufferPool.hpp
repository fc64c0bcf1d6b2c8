// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>

namespace Holdfast {

/// Memory for the values of fragments. The first touch of fresh memory costs more than anything that is done with it
/// later, so large buffers are kept for the next fragment when they are given back (at most `KeptBytes` of them), and
/// those of 2 MiB and more are aligned for huge pages. Thread safe. Contents are not initialised.
class BufferPool {
public:
    static constexpr std::size_t KeptBytes = std::size_t{64} << 20;

    static void* acquire(std::size_t bytes);
    static void release(void* buffer, std::size_t bytes) noexcept;
};

/// Gives a std::vector its memory from the pool and leaves new elements of trivial types uninitialised.
template <class T>
struct PoolAllocator : std::allocator<T> {
    PoolAllocator() = default;
    template <class U>
    PoolAllocator(const PoolAllocator<U>&) {}
    template <class U>
    struct rebind {
        using other = PoolAllocator<U>;
    };

    T* allocate(std::size_t n) { return static_cast<T*>(BufferPool::acquire(n * sizeof(T))); }
    void deallocate(T* buffer, std::size_t n) noexcept { BufferPool::release(buffer, n * sizeof(T)); }

    template <class U>
    void construct(U* element) {
        ::new (static_cast<void*>(element)) U;
    }
    template <class U, class... Arguments>
    void construct(U* element, Arguments&&... arguments) {
        ::new (static_cast<void*>(element)) U(std::forward<Arguments>(arguments)...);
    }
};

} // namespace Holdfast
