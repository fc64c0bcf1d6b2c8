// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/VValue.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace Kesh {

/// The values that parameters have in one context, e.g. one view of the same network.
class ValuePool : public Holdfast::Managed {
public:
    /// Tells pools apart, also from those that are gone.
    std::uint64_t identifier() const { return identifier_; }

    /// To be kept by others.
    Holdfast::WeakPtr<ValuePool> pointer() { return self<ValuePool>(); }

    /// Puts a value in under the name, in the place of one that may be there.
    void createVariable(const std::string& name, const Holdfast::StrongPtr<VValueBase>& value);

    /// Empty when there is none of that name.
    Holdfast::StrongPtr<VValueBase> retrieveValue(const std::string& name) const;

    void removeVariable(const std::string& name);

private:
    std::uint64_t identifier_ = nextIdentifier();
    static std::uint64_t nextIdentifier();
    std::map<std::string, Holdfast::StrongPtr<VValueBase>> variables_;
};

/// Properties of a parameter: name to number or text.
class ValueMap {
public:
    using Value = std::variant<int, double, std::string>;

    ValueMap() = default;
    ValueMap(std::initializer_list<std::pair<const std::string, Value>> values) : values_(values) {}

    std::map<std::string, Value>::const_iterator begin() const { return values_.begin(); }
    std::map<std::string, Value>::const_iterator end() const { return values_.end(); }

    void setValue(const std::string& name, Value value) { values_[name] = std::move(value); }

    /// The value when it is there and a T, else null.
    template <class T>
    const T* getValue(const std::string& name) const {
        const auto found = values_.find(name);
        return found == values_.end() ? nullptr : std::get_if<T>(&found->second);
    }

private:
    std::map<std::string, Value> values_;
};

} // namespace Kesh
