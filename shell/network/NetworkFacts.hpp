// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <typeinfo>
#include <vector>

namespace corvane {

/// A parameter, input or output of an object: what is known of it, and what it holds. Texts that do not apply are
/// empty.
struct SlotFacts {
    std::string name;
    std::string kind;  ///< of its values, in plain words: "integer", "choice", "action"
    std::string value; ///< as text, as it can be set
    std::string help, tooltip, info, icon, shortcut;
    std::string group;                ///< of inputs that belong together
    std::vector<std::string> choices; ///< of a choice
    std::optional<int> minimum, maximum;
    std::optional<int> wrap;     ///< choices that stand in a row
    int expertLevel = 0;         ///< 0: for everybody
    bool inEditingTools = false; ///< belongs among the tools that stay at hand while editing
    bool output = false;         ///< others may be connected to it
    std::string source;          ///< "object.slot" from where it takes its value; empty: its own
};

struct ObjectFacts {
    std::string name;
    std::string type; ///< as addObject takes it
    std::vector<SlotFacts> slots;
};

/// The kind of a type of values, in plain words.
std::string kindOfValues(const std::type_info& type);

} // namespace corvane
