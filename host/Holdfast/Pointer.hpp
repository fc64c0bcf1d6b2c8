// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace Holdfast {

/// The last identifier given to a pointer. Serves diagnostics only: it tells copies of a pointer apart.
extern std::atomic<std::uint64_t> PointerID;

/// Draws a fresh identifier for every pointer, also for a copy of one.
class PointerIdentity {
public:
    PointerIdentity() = default;
    PointerIdentity(const PointerIdentity&) : PointerIdentity() {}
    PointerIdentity& operator=(const PointerIdentity&) {
        value_ = next();
        return *this;
    }
    std::uint64_t value() const { return value_; }

private:
    static std::uint64_t next() { return PointerID.fetch_add(1, std::memory_order_relaxed) + 1; }
    std::uint64_t value_ = next();
};

template <class T>
class WeakPtr;

/// Shares ownership of a counted object. Empty, or the object's count is at least one.
template <class T>
class StrongPtr {
public:
    StrongPtr() = default;
    StrongPtr(std::nullptr_t) {}
    StrongPtr(std::shared_ptr<T> object) : object_(std::move(object)) {}
    template <class U>
    requires std::convertible_to<U*, T*> StrongPtr(const StrongPtr<U>& other) : object_(other.shared()) {}

    T* get() const { return object_.get(); }
    T* operator->() const { return object_.get(); }
    T& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }
    bool operator==(const StrongPtr& other) const { return object_ == other.object_; }
    bool operator==(std::nullptr_t) const { return object_ == nullptr; }

    void reset() { object_.reset(); }
    void swap(StrongPtr& other) noexcept { object_.swap(other.object_); }
    long useCount() const { return object_.use_count(); }
    std::uint64_t pointerID() const { return identity_.value(); }
    const std::shared_ptr<T>& shared() const { return object_; }

private:
    std::shared_ptr<T> object_;
    PointerIdentity identity_;
};

template <class T>
using RefPtr = StrongPtr<T>;

/// Refers to a counted object without keeping it.
template <class T>
class WeakPtr {
public:
    WeakPtr() = default;
    template <class U>
    requires std::convertible_to<U*, T*> WeakPtr(const StrongPtr<U>& object) : object_(object.shared()) {}

    /// The object, or empty when it is gone.
    StrongPtr<T> lock() const { return object_.lock(); }

private:
    std::weak_ptr<T> object_;
    PointerIdentity identity_;
};

/// The object as a `To`, or empty when it is none.
template <class To, class From>
StrongPtr<To> cast(const StrongPtr<From>& object) {
    return std::dynamic_pointer_cast<To>(object.shared());
}

/// Base of everything that is shared and can be asked what it is.
class Managed : public std::enable_shared_from_this<Managed> {
public:
    Managed() = default;
    Managed(const Managed&) = delete;
    Managed& operator=(const Managed&) = delete;
    virtual ~Managed() = default;

protected:
    /// A counted pointer to this object as a `Self`, its own class or a base. Not in a constructor.
    template <class Self>
    StrongPtr<Self> self() {
        return std::dynamic_pointer_cast<Self>(shared_from_this());
    }
};

/// Starts to count the object. Compiled into this library, so that what weak pointers refer to outlives the library
/// that made the object.
std::shared_ptr<Managed> counted(std::unique_ptr<Managed> object);

/// Makes a counted object.
template <class T, class... Arguments>
StrongPtr<T> create(Arguments&&... arguments) {
    auto object = std::make_unique<T>(std::forward<Arguments>(arguments)...);
    T* const made = object.get();
    return std::shared_ptr<T>(counted(std::move(object)), made);
}

} // namespace Holdfast
