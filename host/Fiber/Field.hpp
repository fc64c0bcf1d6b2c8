// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "Fiber/FragmentID.hpp"
#include "Holdfast/Ageable.hpp"
#include "Holdfast/Attributes.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <typeinfo>

namespace Fiber {

/// One quantity on the vertices of a grid, in fragments. The elements have the type that the field says; a fragment of
/// another type, or without data, may be there and is nobody's to use. A field has an age from the start; the age is
/// that of its values, which loading and dropping do not change. Attributes have an age of their own.
class Field : public Holdfast::Managed, public Holdfast::Ageable {
public:
    struct Fragment {
        Holdfast::StrongPtr<FragmentID> id;
        Holdfast::StrongPtr<CreativeArrayBase> array; // empty: the fragment has no data
    };
    using Fragments = std::map<std::uint32_t, Fragment>; // by fragment number

    explicit Field(const std::type_info& elementType) : elementType_(elementType) { setAge(nextTime()); }

    /// The empty field.
    static Holdfast::StrongPtr<Field> NullPtrField() { return nullptr; }

    const std::type_info& getElementType() const { return elementType_; }
    const Fragments& fragments() const { return fragments_; }

    /// Elements of all fragments together.
    std::uint64_t size() const;

    /// Calls the function with each fragment, in order of number, until it returns false. The array is not loaded. The
    /// function may change the field: it walks over the fragments as they were.
    using Visitor =
        std::function<bool(const Holdfast::StrongPtr<FragmentID>&, const Holdfast::StrongPtr<CreativeArrayBase>&)>;
    void iterate(const Visitor& visit) const;

    /// The array of a fragment, without loading it; empty when the field has no such fragment.
    Holdfast::StrongPtr<CreativeArrayBase> getCreator(const Holdfast::StrongPtr<FragmentID>& fragment) const;

    /// The fragment behind this one that has data, for reading ahead; null behind the last.
    const Fragment* fragmentAfter(const FragmentID& fragment) const;

    /// The values of a fragment, loaded if need be and the budget allows; empty when there are none.
    Holdfast::StrongPtr<const MemBase> getData(const Holdfast::StrongPtr<FragmentID>& fragment,
                                               const Holdfast::TimeBudget& budget = {}) const;

    /// Puts the array in the place of the fragment's present one.
    void setPersistentData(const Holdfast::StrongPtr<CreativeArrayBase>& array,
                           const Holdfast::StrongPtr<FragmentID>& fragment);

    /// The youngest of the fragments' ages.
    Age getMostRecentCreatorAge() const;

    /// Another field with the same arrays, attributes left behind: a place to try an edit in.
    Holdfast::StrongPtr<Field> sharingCopy() const;

    /// Exchanges the arrays of the fragments that `other` has with this field's; what comes in is raised to the age.
    /// Nothing is copied, nothing can fail.
    void exchange(Field& other, Age age = Ooooold) noexcept;

    /// Whether it has every fragment that `other` has, with as many elements, and of the same type.
    bool matches(const Field& other) const;

    Holdfast::Attributes& attributes() { return attributes_; }
    Age attributeAge() const { return attributeAge_; }
    void updateAttributeAge(Age age) { attributeAge_ = age; }

    /// What is attached to the field as a whole.
    Holdfast::Intercube& interfaces() { return interfaces_; }

private:
    const std::type_info& elementType_;
    Fragments fragments_;
    Holdfast::Attributes attributes_;
    Age attributeAge_ = Ooooold;
    Holdfast::Intercube interfaces_;
};

} // namespace Fiber
