// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Bundle.hpp"
#include "Holdfast/StringList.hpp"

#include <optional>
#include <string>
#include <typeindex>
#include <vector>

namespace Fiber {

/// What may be required of a grid. `Anything` is met by every grid that exists.
enum class BundleProperty { Anything };

/// Names a grid: bundle, time and name.
struct GridSelector {
    Holdfast::StrongPtr<Bundle> bundle;
    double time = 0;
    std::string gridName;

    /// The grid, empty when it does not exist.
    Holdfast::StrongPtr<Grid> grid() const;

    bool operator==(const GridSelector&) const = default;
};

bool hasProperty(const GridSelector& selector, BundleProperty property);

/// A choice among the fields of a grid.
struct FieldSelection {
    std::string name;
    std::type_index elementType = typeid(void);

    bool requiresType(const std::type_info& type) const { return elementType == type; }
};

/// Names a field: a grid, the fields on its vertices that are on offer, and the one that is selected.
class FieldSelector : public GridSelector {
public:
    FieldSelector() = default;

    /// Offers all fields of the grid and selects the one of that name.
    FieldSelector(GridSelector grid, std::string fieldName);

    std::size_t NumberOfAvailableFields() const;

    /// Name and element type of the selected field; the type is void when the grid has no such field.
    FieldSelection Selection() const;

    const std::string& getFieldName() const { return fieldName_; }

    /// The representation that the field belongs to; empty when there is no grid.
    Holdfast::StrongPtr<Representation> representation() const;

    /// The field, null when there is none.
    Holdfast::StrongPtr<Field> field() const;

    bool operator==(const FieldSelector&) const = default;

private:
    std::string fieldName_;
};

/// Types, as the input rules of modules list them.
class TypeList {
public:
    template <class... Types>
    static TypeList of() {
        TypeList list;
        (list.types_.push_back(&typeid(Types)), ...);
        return list;
    }

    const std::vector<const std::type_info*>& types() const { return types_; }

    /// The names of the types.
    Holdfast::StringList asText() const;

private:
    std::vector<const std::type_info*> types_;
};

} // namespace Fiber
