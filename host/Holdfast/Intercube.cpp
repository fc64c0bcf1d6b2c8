// SPDX-License-Identifier: Apache-2.0
#include "Holdfast/Intercube.hpp"

#include <unordered_set>
#include <vector>

namespace Holdfast {
namespace {

/// All that carry something, or did.
struct Registry {
    std::mutex mutex;
    std::unordered_set<Intercube*> cubes;
};

/// Never destroyed: data may go after static objects did, on another thread.
Registry& registry() {
    static Registry* instance = std::make_unique<Registry>().release();
    return *instance;
}

} // namespace

Intercube::~Intercube() {
    if (!registered_) return;
    const std::lock_guard lock(registry().mutex);
    registry().cubes.erase(this);
}

void Intercube::addInterface(const StrongPtr<Managed>& object) {
    if (!registered_.exchange(true)) {
        const std::lock_guard lock(registry().mutex);
        registry().cubes.insert(this);
    }
    const Managed& managed = *object;
    const std::lock_guard lock(mutex_);
    interfaces_[typeid(managed)] = object;
}

StrongPtr<Managed> Intercube::findInterface(const std::type_info& type) const {
    const std::lock_guard lock(mutex_);
    const auto found = interfaces_.find(type);
    return found == interfaces_.end() ? nullptr : found->second;
}

void Intercube::removeInterface(const StrongPtr<Managed>& object) {
    const std::lock_guard lock(mutex_);
    std::erase_if(interfaces_, [&](const auto& entry) { return entry.second == object; });
}

void Intercube::removeEverywhere(const std::type_info& type) {
    std::vector<StrongPtr<Managed>> removed; // destroyed after the locks are released
    const std::lock_guard lock(registry().mutex);
    for (Intercube* cube : registry().cubes) {
        const std::lock_guard cubeLock(cube->mutex_);
        const auto node = cube->interfaces_.extract(type);
        if (node) removed.push_back(node.mapped());
    }
}

} // namespace Holdfast
