// SPDX-License-Identifier: Apache-2.0
#include "Kesh/catalogue/VInput.hpp"

#include "Holdfast/StringList.hpp"
#include "Kesh/objects/VActionNotifier.hpp"
#include "Kesh/objects/Vprintf.hpp"

#include <algorithm>
#include <mutex>
#include <optional>
#include <typeindex>

namespace Kesh {

using Holdfast::StrongPtr;
using Holdfast::Typename;
using Holdfast::WeakPtr;

namespace {

struct Offer {
    std::type_index provided;
    WeakPtr<VInputCreatorBase> inputCreator;
};

struct Registry {
    std::mutex mutex;
    std::vector<Offer> offers;
};

Registry& registry() {
    static Registry instance;
    return instance;
}

/// What is offered now; those who offer are not asked anything under the lock.
std::vector<Offer> offers() {
    const std::lock_guard lock(registry().mutex);
    return registry().offers;
}

struct Candidate {
    StrongPtr<VInputCreatorBase> inputCreator;
    VAcceptList acceptance;
};

std::vector<Candidate> candidatesFor(const std::type_info& provided, const VSlot& output, const ValuePool& pool) {
    std::vector<Candidate> candidates;
    for (const Offer& offer : offers())
        if (const auto inputCreator = offer.inputCreator.lock(); inputCreator && offer.provided == provided)
            candidates.push_back({inputCreator, inputCreator->accept(output, pool)});
    std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate& a, const Candidate& b) {
        return a.acceptance.weight() > b.acceptance.weight();
    });
    return candidates;
}

} // namespace

bool registerVInput(const std::type_info& provided, const WeakPtr<VInputCreatorBase>& inputCreator) {
    const auto creator = inputCreator.lock();
    const std::lock_guard lock(registry().mutex);
    auto& offers = registry().offers;
    const bool known = std::any_of(offers.begin(), offers.end(), [&](const Offer& offer) {
        return offer.provided == provided && offer.inputCreator.lock() == creator;
    });
    if (!creator || known) return false;
    offers.push_back({provided, inputCreator});
    return true;
}

void unregisterVInput(const std::type_info& provided, const WeakPtr<VInputCreatorBase>& inputCreator) {
    const auto creator = inputCreator.lock();
    const std::lock_guard lock(registry().mutex);
    std::erase_if(registry().offers, [&](const Offer& offer) {
        const auto offered = offer.inputCreator.lock();
        return offer.provided == provided && (!offered || offered == creator);
    });
}

void registerInputOrWarn(const std::type_info& provided, const StrongPtr<VInputCreatorBase>& inputCreator,
                         const std::type_info& creator) {
    if (registerVInput(provided, inputCreator)) return;
    const VInputCreatorBase& made = *inputCreator;
    const std::string inputCreatorName = Typename(typeid(made)), providedName = Typename(provided);
    Vprintf(0, "WARNING: Could not register %s as input creator for type %s!\n", inputCreatorName.c_str(),
            providedName.c_str());
    VActionNotifier::Warning("Could not register " + Typename(creator) + " as input creator for type " + providedName);
}

std::optional<VAcceptList> VObject::accept(const VSlot& candidate, const ValuePool& pool) const {
    const auto ours = creator();
    for (const Offer& offer : offers())
        if (const auto inputCreator = offer.inputCreator.lock(); ours && inputCreator && inputCreator->owner() == ours)
            return inputCreator->accept(candidate, pool);
    return std::nullopt;
}

InputConnection connectFromAnything(VObject& object, VSlot& input, const StrongPtr<VSlot>& candidate,
                                    const std::type_info& provided, const ValuePool& pool, const IsTaken& isTaken) {
    InputConnection result;
    if (object.connectSlots(input, candidate)) {
        result.connected = true;
        return result;
    }
    Holdfast::StringList refusals;
    for (const auto& [inputCreator, acceptance] : candidatesFor(provided, *candidate, pool)) {
        const auto module = inputCreator->owner();
        const std::string name = module ? module->name() : "";
        if (!acceptance) {
            refusals.push_back(name + ": " + acceptance.refusalText());
            continue;
        }
        result.provider = inputCreator->createOn(candidate, VObject::createChildname(name, isTaken));
        if (result.provider)
            result.provider->iterateOutputs(
                [&](const auto& output) { return !(result.connected = object.connectSlots(input, output)); });
        if (result.connected) return result;
        refusals.push_back(name + ": It cannot be connected in between.");
        if (result.provider) VCreatorBase::deleteInstance(result.provider);
        result.provider.reset();
    }
    if (refusals.empty()) refusals.push_back("No module makes a " + Typename(provided) + " from it.");
    result.refusals = refusals.collapse("\n");
    return result;
}

} // namespace Kesh
