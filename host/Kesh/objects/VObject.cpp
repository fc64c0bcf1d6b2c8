// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VObject.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <new>

namespace Kesh {

VObject::VObject(std::string name, const ParameterTable& parameters) : VObject(std::move(name)) {
    for (const ParameterIntroduction& parameter : parameters) {
        const auto slot = Holdfast::create<VSlot>(*this, parameter);
        addSlot(slot);
        if (parameter.isOutput) registerOutput(slot);
    }
}

bool VObject::update(const VRequest& request, double precision) noexcept {
    std::map<const VObject*, bool> visited;
    VRequest ours = request;
    if (!ours.visited_) ours.visited_ = &visited;
    if (const auto known = ours.visited_->find(this); known != ours.visited_->end()) return known->second;
    try {
        const bool succeeded = bringUpToDate(ours, precision);
        ours.visited_->emplace(this, succeeded);
        return succeeded;
    } catch (const std::bad_alloc&) {
        fail(*request.pool, "There is not enough memory.");
    } catch (const std::exception& problem) {
        fail(*request.pool, problem.what());
    } catch (...) {
        fail(*request.pool, "The module failed without saying why.");
    }
    return false;
}

bool VObject::bringUpToDate(const VRequest& request, double precision) {
    const ValuePool& pool = *request.pool;
    const bool sourcesReady = updateSources(request, precision);
    if (sourcesReady)
        for (const auto& slot : allSlots()) slot->takeOver(*request.pool);
    const auto failure = failed_.find(pool.identifier());
    const bool hadFailed = failure != failed_.end(), waited = hadFailed && failure->second;
    if (sourcesReady && !waited && !must_update(request, precision)) return !hadFailed;
    failed_[pool.identifier()] = !sourcesReady; // until it went well
    VRequest ours = request;
    ours.visited_ = nullptr;
    ours.time = Holdfast::Ageable::nextTime();
    if (sourcesReady) {
        if (hadFailed) clearStatus(pool);
        for (const auto& slot : allSlots()) slot->noteSource(pool);
    }
    bool succeeded = false;
    try {
        succeeded = sourcesReady && unsychronized_update(ours, precision);
    } catch (...) {
        raiseAge(pool, ours.time);
        throw;
    }
    raiseAge(pool, ours.time);
    if (succeeded) failed_.erase(pool.identifier());
    return succeeded;
}

bool VObject::updateSources(const VRequest& request, double precision) {
    for (const auto& slot : allSlots()) {
        const auto source = slot->source();
        if (!source || source->owner().update(request, precision)) continue;
        setStatusError(*request.pool, fmt::format("The input \"{}\" could not be brought up to date: {}", slot->name(),
                                                  source->owner().status(*request.pool).text));
        return false;
    }
    return true;
}

bool VObject::must_update(const VRequest& request, double) {
    const ValuePool& pool = *request.pool;
    if (!wasUpdated(pool)) return true;
    return std::any_of(allSlots().begin(), allSlots().end(), [&](const auto& slot) {
        return !isIgnored(*slot) && (slot->hasOtherSource(pool) || hasChanged(*slot, pool));
    });
}

/// Where there is no memory even for this, the object has failed without a status.
void VObject::fail(const ValuePool& pool, const std::string& why) noexcept {
    try {
        failed_[pool.identifier()] = false;
        setStatusError(pool, why);
    } catch (...) {
    }
}

std::string VObject::createChildname(const std::string& name,
                                     const std::function<bool(const std::string& name)>& isTaken) {
    std::string candidate = name;
    for (int number = 2; isTaken(candidate); ++number) candidate = name + std::to_string(number);
    return candidate;
}

} // namespace Kesh
