// SPDX-License-Identifier: Apache-2.0
#include "Fiber/Field.hpp"

#include <algorithm>
#include <cassert>

namespace Fiber {

using Holdfast::StrongPtr;

std::uint64_t Field::size() const {
    std::uint64_t size = 0;
    for (const auto& [number, fragment] : fragments_) size += fragment.array->size();
    return size;
}

void Field::iterate(const Visitor& visit) const {
    const Fragments fragments = fragments_;
    for (const auto& [number, fragment] : fragments)
        if (!visit(fragment.id, fragment.array)) return;
}

StrongPtr<CreativeArrayBase> Field::getCreator(const StrongPtr<FragmentID>& fragment) const {
    const auto found = fragments_.find(fragment->number());
    return found == fragments_.end() ? nullptr : found->second.array;
}

StrongPtr<const MemBase> Field::getData(const StrongPtr<FragmentID>& fragment,
                                        const Holdfast::TimeBudget& budget) const {
    const auto array = getCreator(fragment);
    return array ? array->getData(budget) : nullptr;
}

void Field::setPersistentData(const StrongPtr<CreativeArrayBase>& array, const StrongPtr<FragmentID>& fragment) {
    assert(array->getFiberType() == elementType_);
    fragments_[fragment->number()] = {fragment, array};
}

Field::Age Field::getMostRecentCreatorAge() const {
    Age youngest = Ooooold;
    for (const auto& [number, fragment] : fragments_) youngest = std::max(youngest, fragment.array->age());
    return youngest;
}

StrongPtr<Field> Field::sharingCopy() const {
    auto copy = Holdfast::create<Field>(elementType_);
    copy->fragments_ = fragments_;
    return copy;
}

void Field::exchange(Field& other) noexcept {
    for (auto& [number, fragment] : other.fragments_)
        if (const auto ours = fragments_.find(number); ours != fragments_.end())
            ours->second.array.swap(fragment.array);
}

} // namespace Fiber
