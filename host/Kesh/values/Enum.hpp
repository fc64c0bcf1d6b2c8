// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <initializer_list>
#include <string>
#include <vector>

namespace Kesh {

/// A number out of an ordered list of names.
class VEnumSelection {
public:
    /// Numbers beyond the list are ignored.
    void select(int number);
    int selectedNumber() const { return selected_; }

    /// The name of case n; empty beyond the list.
    const std::string& operator[](int n) const;

    const std::vector<std::string>& cases() const { return cases_; }

    bool operator==(const VEnumSelection&) const = default;

protected:
    std::vector<std::string> cases_;
    int selected_ = 0;
};

/// An ordered list of case names with one selected.
class Enum : public VEnumSelection {
public:
    Enum() = default;
    Enum(std::initializer_list<const char*> cases, int selected = 0)
        : Enum(std::vector<std::string>(cases.begin(), cases.end())) {
        select(selected);
    }
    explicit Enum(std::vector<std::string> cases) { cases_ = std::move(cases); }

    void addCase(const std::string& name) { cases_.push_back(name); }

    /// The name that is selected; empty when there are no cases.
    const std::string& selectedCase() const { return (*this)[selected_]; }

    /// The position of the selected case among the given names, -1 when it is not among them.
    template <std::convertible_to<std::string>... Names>
    int Case(const Names&... names) const {
        static_assert(sizeof...(Names) <= 11);
        int position = -1, index = 0;
        ((position < 0 && selectedCase() == names ? position = index : 0, ++index), ...);
        return position;
    }
};

} // namespace Kesh
