// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Cache.hpp"
#include "Holdfast/Chunk.hpp"

#include <algorithm>
#include <span>
#include <typeinfo>
#include <utility>

namespace Fiber {

/// The values of one fragment in memory. Whoever holds a pointer to them keeps them resident.
class MemBase : public Holdfast::Managed, public Holdfast::Cacheable {
public:
    virtual const std::type_info& elementType() const = 0;
    virtual std::size_t size() const = 0;

    /// A copy of its own for whoever means to write.
    virtual Holdfast::StrongPtr<MemBase> copy() const = 0;
};

/// Values of type T, as a chunk.
template <class T>
class MemArray : public MemBase {
public:
    explicit MemArray(std::size_t size) : chunk(size) {}
    MemArray(std::size_t size, const T& value) : chunk(size, value) {}
    explicit MemArray(typename Holdfast::Chunk<T>::Values values) { chunk.values = std::move(values); }

    const std::type_info& elementType() const override { return typeid(T); }
    std::size_t size() const override { return chunk.size(); }
    std::size_t bytes() const override { return chunk.size() * sizeof(T); }
    Holdfast::StrongPtr<MemBase> copy() const override {
        const auto copied = Holdfast::create<MemArray<T>>(size()); // not initialised, then copied in one go
        std::copy(chunk.values.begin(), chunk.values.end(), copied->chunk.values.begin());
        return copied;
    }

    std::span<const T> values() const { return chunk.values; }
    std::span<T> writableValues() { return chunk.values; }

    Holdfast::Chunk<T> chunk;
};

/// The values when they are there and of type T, else an empty pointer.
template <class T>
Holdfast::StrongPtr<const MemArray<T>> arrayOf(const Holdfast::StrongPtr<const MemBase>& data) {
    return Holdfast::cast<const MemArray<T>>(data);
}

/// Calls the function with the array as a MemArray of what it is, when that is one of the types, tried in their order.
/// False when it is none of them.
template <class... Types, class Function>
bool visitArray(const MemBase& data, Function function) {
    const auto isOne = [&]<class T>(const T*) {
        const auto* array = dynamic_cast<const MemArray<T>*>(&data);
        if (array) function(*array);
        return array != nullptr;
    };
    return (isOne(static_cast<const Types*>(nullptr)) || ...);
}

template <class... Types, class Function>
bool visitArray(MemBase& data, Function function) {
    return visitArray<Types...>(std::as_const(data), [&]<class T>(const MemArray<T>& array) {
        function(const_cast<MemArray<T>&>(array)); // the caller's is not constant
    });
}

} // namespace Fiber
