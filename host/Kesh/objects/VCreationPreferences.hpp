// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VSlot.hpp"

#include <map>
#include <mutex>
#include <string>

namespace Kesh {

/// How new objects are to be made: the providers that the shell offers to their inputs, by name (e.g. "Brush"). Thread
/// safe; what it offers belongs to whoever offers it.
class VCreationPreferences : public Holdfast::Managed {
public:
    VCreationPreferences() = default;

    /// Both together; where both offer a provider of one name, the second counts.
    VCreationPreferences(const VCreationPreferences* first, const VCreationPreferences* second);

    /// The shell's set of that name, the same for all who ask, and empty at first.
    static Holdfast::StrongPtr<VCreationPreferences> named(const std::string& name);

    void offerProvider(const std::string& name, const Holdfast::WeakPtr<VSlot>& output);

    /// Empty when none is offered, or it is gone.
    Holdfast::StrongPtr<VSlot> provider(const std::string& name) const;

private:
    mutable std::mutex mutex_;
    std::map<std::string, Holdfast::WeakPtr<VSlot>> providers_;
};

} // namespace Kesh
