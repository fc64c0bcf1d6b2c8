// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/BufferPool.hpp"
#include "Holdfast/Pointer.hpp"

#include <cstddef>
#include <initializer_list>
#include <typeinfo>
#include <vector>

namespace Holdfast {

/// An array whose element type is known at run time only.
class ChunkBase : public Managed {
public:
    virtual const std::type_info& elementType() const = 0;
    virtual std::size_t size() const = 0;
};

/// An array of T. Elements of trivial types start uninitialised unless a value is given; `bool` is packed into bits.
template <class T>
class Chunk : public ChunkBase {
public:
    using Values = std::vector<T, PoolAllocator<T>>;

    Chunk() = default;
    explicit Chunk(std::size_t size) : values(size) {}
    Chunk(std::size_t size, const T& value) : values(size, value) {}
    Chunk(std::initializer_list<T> elements) : values(elements) {}

    const std::type_info& elementType() const override { return typeid(T); }
    std::size_t size() const override { return values.size(); }

    Values values;
};

} // namespace Holdfast
