// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/VObject.hpp"

#include <algorithm>
#include <fmt/format.h>

namespace Kesh {

VObject::VObject(std::string name, const ParameterTable& parameters) : VObject(std::move(name)) {
    for (const ParameterIntroduction& parameter : parameters) {
        const auto slot = Holdfast::create<VSlot>(*this, parameter);
        addSlot(slot);
        if (parameter.isOutput) registerOutput(slot);
    }
}

bool VObject::update(const VRequest& request, double precision) {
    const ValuePool& pool = *request.pool;
    const bool sourcesReady = updateSources(request, precision);
    const auto failure = failed_.find(pool.identifier());
    const bool waited = failure != failed_.end() && failure->second;
    if (sourcesReady && !waited && !must_update(request, precision)) return failure == failed_.end();
    VRequest ours = request;
    ours.time = Holdfast::Ageable::nextTime();
    if (sourcesReady) clearStatus(pool);
    const bool succeeded = sourcesReady && work(ours, precision);
    raiseAge(pool, ours.time);
    if (succeeded)
        failed_.erase(pool.identifier());
    else
        failed_[pool.identifier()] = !sourcesReady;
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
    for (const auto& slot : allSlots()) slot->takeOver(*request.pool);
    return true;
}

bool VObject::must_update(const VRequest& request, double) {
    const ValuePool& pool = *request.pool;
    if (!wasUpdated(pool) || connectionAge() > age(pool)) return true;
    return std::any_of(allSlots().begin(), allSlots().end(), [&](const auto& slot) { return hasChanged(*slot, pool); });
}

bool VObject::work(VRequest& request, double precision) {
    try {
        return unsychronized_update(request, precision);
    } catch (const std::exception& problem) {
        setStatusError(*request.pool, problem.what());
    } catch (...) {
        setStatusError(*request.pool, "The module failed without saying why.");
    }
    return false;
}

} // namespace Kesh
