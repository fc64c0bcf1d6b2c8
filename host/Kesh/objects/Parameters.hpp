// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VObject.hpp"

#include <initializer_list>

namespace Kesh {

/// How a module introduces a parameter: everything that is known of it before it has a value. A null text is none.
struct ActionParameter {
    const char* name;
    const char* help = nullptr;
    const char* shortcut = nullptr; ///< key that presses it
    const char* icon = nullptr;     ///< resource
    const char* tooltip = nullptr;
    unsigned flags = 0; ///< of VParameter
    int expertLevel = 0;

    TypedSlot<Holdfast::StrongPtr<VAction>> addTo(VObject& owner) const {
        TypedSlot<Holdfast::StrongPtr<VAction>> slot(owner, name, Holdfast::create<VAction>(), expertLevel);
        if (help) slot->parameter()->setHelp(help);
        if (shortcut) slot->parameter()->setProperty("shortcut", std::string(shortcut));
        if (icon) slot->parameter()->setProperty("icon", std::string(icon));
        if (tooltip) slot->parameter()->setProperty("tooltip", std::string(tooltip));
        slot->parameter()->addFlag(flags);
        return slot;
    }
};

struct IntParameter {
    const char* name;
    const char* help = nullptr;
    int initial = 0;
    int minimum = 0; ///< bounds for people and files; a module itself may meet others
    int maximum = 255;
    bool bounded = true;
    int expertLevel = 0;

    TypedSlot<int> addTo(VObject& owner) const {
        TypedSlot<int> slot(owner, name, initial, expertLevel);
        if (help) slot->parameter()->setHelp(help);
        if (bounded) slot->parameter()->setProperty("min", minimum);
        if (bounded) slot->parameter()->setProperty("max", maximum);
        return slot;
    }
};

struct EnumParameter {
    const char* name;
    const char* help = nullptr;
    std::initializer_list<const char*> cases;
    int initial = 0;    ///< number of a case
    int wrap = 0;       ///< how many cases are shown in a row; 0: as the shell likes
    unsigned flags = 0; ///< of VParameter
    int expertLevel = 0;

    TypedSlot<Enum> addTo(VObject& owner) const {
        Enum selection(cases);
        selection.select(initial);
        TypedSlot<Enum> slot(owner, name, selection, expertLevel);
        if (help) slot->parameter()->setHelp(help);
        if (wrap > 0) slot->parameter()->setProperty("wrap", wrap);
        slot->parameter()->addFlag(flags);
        return slot;
    }
};

} // namespace Kesh
