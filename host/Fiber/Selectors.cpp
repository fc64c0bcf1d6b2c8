// SPDX-License-Identifier: Apache-2.0
#include "Fiber/Selectors.hpp"

#include "Holdfast/Typename.hpp"

namespace Fiber {

using Holdfast::StrongPtr;

StrongPtr<Grid> GridSelector::grid() const {
    const auto slice = bundle ? bundle->find(time) : nullptr;
    return slice ? slice->find(gridName) : nullptr;
}

bool hasProperty(const GridSelector& selector, BundleProperty property) {
    return property == BundleProperty::Anything && selector.grid();
}

FieldSelector::FieldSelector(GridSelector grid, std::string fieldName)
    : GridSelector(std::move(grid)), fieldName_(std::move(fieldName)) {}

std::size_t FieldSelector::NumberOfAvailableFields() const {
    const auto fields = representation();
    return fields ? fields->numberOfFields() : 0;
}

FieldSelection FieldSelector::Selection() const {
    const auto selected = field();
    return {fieldName_, selected ? std::type_index(selected->getElementType()) : typeid(void)};
}

StrongPtr<Representation> FieldSelector::representation() const {
    const auto selected = grid();
    return selected ? selected->verticesPtr() : nullptr;
}

StrongPtr<Field> FieldSelector::field() const {
    const auto fields = representation();
    return fields ? fields->findField(fieldName_) : Field::NullPtrField();
}

Holdfast::StringList TypeList::asText() const {
    Holdfast::StringList names;
    for (const std::type_info* type : types_) names.push_back(Holdfast::Typename(*type));
    return names;
}

} // namespace Fiber
