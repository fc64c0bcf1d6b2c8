// SPDX-License-Identifier: Apache-2.0
#include "session/FieldSnapshot.hpp"

#include <set>

namespace corvane {

FieldSnapshot::FieldSnapshot(Fiber::Representation& points, std::string name)
    : points_(points), name_(std::move(name)), field_(points_.findField(name_)) {
    if (field_) arrays_ = field_->sharingCopy();
    if (const auto* steps = points_.histories().find(name_)) steps_ = *steps;
}

void FieldSnapshot::restore() {
    if (!field_)
        points_.removeField(name_);
    else if (!(points_.findField(name_) == field_))
        points_.makeField(points_.makeFieldID(name_), field_);
    if (field_)
        for (const auto& [number, fragment] : arrays_->fragments())
            if (!(field_->getCreator(fragment.id) == fragment.array))
                field_->setPersistentData(fragment.array, fragment.id);

    std::set<const Fiber::Field*> present, wanted;
    for (const auto& step : steps_.all) wanted.insert(&*step.field);
    if (const auto* now = points_.histories().find(name_)) {
        const Fiber::HistoryIndex::Steps before = *now; // removing changes it
        for (const auto& step : before.all)
            wanted.contains(&*step.field) ? void(present.insert(&*step.field)) : points_.removeField(step.name());
    }
    for (const auto& step : steps_.all)
        if (!present.contains(&*step.field)) points_.makeField(points_.makeFieldID(step.name()), step.field);
}

} // namespace corvane
