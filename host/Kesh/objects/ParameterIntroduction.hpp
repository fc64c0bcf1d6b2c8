// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/ValuePool.hpp"

#include <iterator>
#include <string>
#include <vector>

namespace Kesh {

/// The value that a parameter has at first. An action is a fresh one in every object.
class InitialValue {
public:
    template <class T>
    InitialValue(T value) : value_(Holdfast::create<VValue<T>>(std::move(value))) {}
    InitialValue(const char* text) : InitialValue(std::string(text)) {}

    const std::type_info& type() const { return value_->type(); }

    /// What it says before anybody sets it.
    const VValueBase& operator*() const { return *value_; }

    Holdfast::StrongPtr<VValueBase> make() const {
        if (type() != typeid(Action)) return value_->copy();
        return Holdfast::create<VValue<Action>>(Holdfast::create<VAction>());
    }

private:
    Holdfast::StrongPtr<VValueBase> value_;
};

/// Everything that is known of a parameter before there is an object that has it.
struct ParameterIntroduction {
    /// Flags for the presentation.
    static constexpr unsigned InEditingTools = 64; ///< belongs among the tools that stay at hand while editing

    std::string name;
    InitialValue initial; ///< of the parameter's type
    std::string help = {};
    int expertLevel = 0; ///< 0: for everybody
    unsigned flags = 0;

    /// "tooltip", "icon", "info", "shortcut", "wrap" (cases shown in a row), "min" and "max" (bounds for people and
    /// files; a module itself may meet others).
    ValueMap properties = {};

    std::string group = {}; ///< of inputs that the shell presents together; empty: none
    bool isOutput = false;  ///< others may be connected to it
};

/// The parameters of a module in their order.
using ParameterTable = std::vector<ParameterIntroduction>;

/// Tables one after the other.
template <class... More>
ParameterTable joined(ParameterTable table, const More&... more) {
    (std::copy(more.begin(), more.end(), std::back_inserter(table)), ...);
    return table;
}

} // namespace Kesh
