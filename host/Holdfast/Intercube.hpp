// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Pointer.hpp"

#include <atomic>
#include <map>
#include <mutex>
#include <typeindex>
#include <typeinfo>

namespace Holdfast {

/// Objects that travel with a data object, one of each type: what somebody found out about the data and others may use.
/// Attaching one does not change the age of the data. Thread safe.
class Intercube {
public:
    Intercube() = default;
    ~Intercube();
    Intercube(const Intercube&) = delete;
    Intercube& operator=(const Intercube&) = delete;

    /// Attaches the object under its own type, in the place of one that may be there.
    void addInterface(const StrongPtr<Managed>& object);

    /// Empty when there is none of that type.
    StrongPtr<Managed> findInterface(const std::type_info& type) const;

    template <class T>
    StrongPtr<T> findInterface() const {
        return cast<T>(findInterface(typeid(T)));
    }

    /// Detaches this object, if it is attached.
    void removeInterface(const StrongPtr<Managed>& object);

    /// Detaches the objects of the type from all data. A library calls it before it is unloaded with their code.
    static void removeEverywhere(const std::type_info& type);

private:
    mutable std::mutex mutex_;
    std::map<std::type_index, StrongPtr<Managed>> interfaces_;
    std::atomic<bool> registered_ = false; // among those that `removeEverywhere` looks at
};

} // namespace Holdfast
