// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VCreationPreferences.hpp"

#include "Kesh/objects/VObject.hpp"

namespace Kesh {

using Holdfast::StrongPtr;

VCreationPreferences::VCreationPreferences(const VCreationPreferences* first, const VCreationPreferences* second) {
    for (const VCreationPreferences* preferences : {second, first}) {
        if (!preferences) continue;
        const std::lock_guard lock(preferences->mutex_);
        providers_.insert(preferences->providers_.begin(), preferences->providers_.end());
    }
}

StrongPtr<VCreationPreferences> VCreationPreferences::named(const std::string& name) {
    static std::mutex mutex;
    static std::map<std::string, StrongPtr<VCreationPreferences>> sets;
    const std::lock_guard lock(mutex);
    auto& set = sets[name];
    if (!set) set = Holdfast::create<VCreationPreferences>();
    return set;
}

void VCreationPreferences::offerProvider(const std::string& name, const Holdfast::WeakPtr<VSlot>& output) {
    const std::lock_guard lock(mutex_);
    providers_[name] = output;
}

StrongPtr<VSlot> VCreationPreferences::provider(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = providers_.find(name);
    return found == providers_.end() ? nullptr : found->second.lock();
}

void Brush::connectBrushAsInput(VObject& object, VSlot& slot, const std::string& providerName,
                                const StrongPtr<VCreationPreferences>& preferences) {
    if (const auto provider = preferences ? preferences->provider(providerName) : nullptr)
        object.connectSlots(slot, provider);
}

} // namespace Kesh
