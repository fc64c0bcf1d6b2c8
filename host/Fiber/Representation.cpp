// SPDX-License-Identifier: Apache-2.0
#include "Fiber/Representation.hpp"

namespace Fiber {

using Holdfast::StrongPtr;

StrongPtr<FieldID> Representation::findFieldID(const std::string& name) const {
    const auto found = fields_.find(name);
    return found == fields_.end() ? nullptr : found->second.id;
}

StrongPtr<Field> Representation::findField(const StrongPtr<FieldID>& id) const {
    if (!id) return Field::NullPtrField();
    const auto found = fields_.find(id->name());
    return found == fields_.end() ? Field::NullPtrField() : found->second.field;
}

StrongPtr<Field> Representation::findField(const std::string& name) const { return findField(findFieldID(name)); }

StrongPtr<FieldID> Representation::makeFieldID(const std::string& name) {
    const auto existing = findFieldID(name);
    return existing ? existing : Holdfast::create<FieldID>(name);
}

void Representation::makeField(const StrongPtr<FieldID>& id, const StrongPtr<Field>& data) {
    const bool isStep = data && placeOf(*data);
    const bool isNewName = !isStep && names_.insert(id->name()).second;
    try {
        const auto [place, isNew] = fields_.try_emplace(id->name());
        try {
            histories_.add(id, data);
        } catch (...) {
            if (isNew) fields_.erase(place);
            throw;
        }
        histories_.remove(place->second.field);
        place->second = {id, data};
    } catch (...) {
        if (isNewName) names_.erase(id->name());
        throw;
    }
    if (isStep) names_.erase(id->name());
    setAge(nextTime());
}

void Representation::removeField(const std::string& name) {
    const auto found = fields_.find(name);
    if (found == fields_.end()) return;
    names_.erase(name);
    histories_.remove(found->second.field);
    fields_.erase(found); // by now `name` may be gone with its step
    setAge(nextTime());
}

} // namespace Fiber
