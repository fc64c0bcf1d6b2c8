// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/VCreator.hpp"

#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/Vprintf.hpp"

#include <algorithm>
#include <mutex>

namespace Kesh {

using Holdfast::StrongPtr;
using Holdfast::WeakPtr;

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<WeakPtr<VCreatorBase>> listed;
    struct Instance {
        const std::type_info* module;
        StrongPtr<VObject> object;
    };
    std::vector<Instance> instances;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

/// Objects are destroyed after they have left the registry, since they may come back to it.
template <class Predicate>
void deleteInstancesWhere(Predicate wanted) {
    std::vector<Registry::Instance> deleted;
    const std::lock_guard lock(registry().mutex);
    auto& instances = registry().instances;
    const auto kept = std::stable_partition(instances.begin(), instances.end(), [&](auto& i) { return !wanted(i); });
    deleted.assign(kept, instances.end());
    instances.erase(kept, instances.end());
}

} // namespace

std::string VObject::makeChildname(const VCreatorBase& creator, const std::string& requestedName) {
    return requestedName.empty() ? creator.name() : requestedName;
}

VCreatorBase::VCreatorBase(const std::type_info& module, VCreatorProperties properties, int integer,
                           StrongPtr<VCreationPreferences> preferences, bool, std::string interfaceVersion)
    : module_(module),
      properties_(std::move(properties)),
      integer_(integer),
      preferences_(std::move(preferences)),
      interfaceVersion_(std::move(interfaceVersion)) {}

VCreatorBase::~VCreatorBase() {
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().listed, [](const auto& creator) { return !creator.lock(); });
}

StrongPtr<VObject> VCreatorBase::create(const std::string& requestedName,
                                        const StrongPtr<VCreationPreferences>& preferences) {
    Vprintf(100, "VCreator::create(%s)\n", name().c_str());
    const auto merged = Holdfast::create<VCreationPreferences>(preferences_.get(), preferences.get());
    const auto object = Holdfast::cast<VObject>(construct(VObject::makeChildname(*this, requestedName), merged));
    if (!object) return nullptr;
    Vprintf(100, "VCreator::create(%s) got derived object\n", name().c_str());
    object->setCreator(self<VCreatorBase>());
    {
        const std::lock_guard lock(registry().mutex);
        registry().instances.push_back({&module_, object});
    }
    VActionNotifier::VObjectCreation(object->BaseName());
    return object;
}

void VCreatorBase::deleteInstance(const WeakPtr<VObject>& object) {
    const auto wanted = object.lock();
    deleteInstancesWhere([&](const auto& instance) { return instance.object == wanted; });
}

void VCreatorBase::deleteAllInstances(const std::type_info& module) {
    deleteInstancesWhere([&](const auto& instance) { return *instance.module == module; });
}

std::vector<StrongPtr<VCreatorBase>> VCreatorBase::catalogue() {
    std::vector<StrongPtr<VCreatorBase>> creators;
    const std::lock_guard lock(registry().mutex);
    for (const auto& listed : registry().listed)
        if (const auto creator = listed.lock()) creators.push_back(creator);
    return creators;
}

StrongPtr<VCreatorBase> VCreatorBase::find(const std::string& key) {
    const auto creators = catalogue();
    const auto found = std::ranges::find(creators, key, [](const auto& creator) { return creator->key(); });
    return found == creators.end() ? nullptr : *found;
}

void VCreatorBase::enlist(const StrongPtr<VCreatorBase>& creator) {
    const std::lock_guard lock(registry().mutex);
    registry().listed.push_back(creator);
}

} // namespace Kesh
