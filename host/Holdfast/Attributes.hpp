// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Holdfast/Chunk.hpp"

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Holdfast {

/// Named arrays that travel with a data object. Setting one does not change the age of the data. Thread safe.
class Attributes {
public:
    /// Empty when there is no attribute of that name.
    StrongPtr<ChunkBase> getAttribute(const std::string& name) const;

    /// The attribute when it holds elements of T, else empty.
    template <class T>
    StrongPtr<Chunk<T>> getAttribute(const std::string& name) const {
        return cast<Chunk<T>>(getAttribute(name));
    }

    /// Replaces an attribute of the same name.
    void setAttribute(const std::string& name, const StrongPtr<ChunkBase>& chunk);

    /// Removes the attribute of that name if it is this one.
    void removeAttribute(const std::string& name, const StrongPtr<ChunkBase>& chunk);

    /// The names of all attributes, in ascending order.
    std::vector<std::string> names() const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, StrongPtr<ChunkBase>> chunks_;
};

} // namespace Holdfast
