// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/VValue.hpp"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvane {

/// What becomes of the points of some classes.
struct ClassRule {
    std::optional<std::vector<int>> from; ///< classes, ascending, each once; none: whatever class
    std::map<std::string, bool> with;     ///< fields that must be 1 or 0: Withheld, KeyPoint, Synthetic, Overlap
    Kesh::LimitPtr limit;                 ///< what they must meet besides; may be null
    std::optional<int> to;                ///< the class that they get; none: the one that they have
    std::map<std::string, bool> flags;    ///< fields that become 1 or 0
};

/// Rules in order, of which the first that fits a point counts, on its values as they were.
struct ClassRules {
    std::vector<ClassRule> rules;
};

/// The fields that a bit of the point's flags holds, by their names.
extern const std::vector<std::string> FlagFields;

/// The class that a word means, or the classes. Throws UsageError.
struct ClassNaming {
    std::function<std::optional<std::vector<int>>(const std::string& words)> classes; ///< none: any class
    std::function<int(const std::string& word)> oneClass;
};

/// The rules of a table such as "3:5,5:3", "8:2+KeyPoint", "7:+Withheld", "2-Withheld:7": classes on the left, the new
/// one on the right, and flags on either side, a condition on the left and set or cleared on the right. Throws
/// UsageError for what cannot be understood, for a rule without effect, and for one that another hides.
ClassRules parseClassTable(std::string_view text, const ClassNaming& naming);

/// What an edit by rules did: of each rule, and of all together. Points.
struct ClassTally {
    struct Rule {
        std::uint64_t inside = 0;   ///< met its limit
        std::uint64_t edited = 0;   ///< fitted it, and no rule before it
        std::uint64_t changed = 0;  ///< of these, that are not as before
        std::uint64_t overlaps = 0; ///< fitted it, and a rule with a limit before it
    };
    struct Flag {
        std::uint64_t set = 0, cleared = 0;
    };
    std::vector<Rule> rules;
    std::map<std::string, Flag> flags; ///< of the fields that were written
    std::uint64_t changed = 0;

    bool operator==(const ClassTally& other) const { return changed == other.changed; }
};

} // namespace corvane

namespace Kesh {

/// A list of {"from": [2, 3], "with": {"Withheld": true}, "limit": …, "to": 7, "flags": {"KeyPoint": false}}, of which
/// "to" or "flags" must be there; or a table of numbers, as parseClassTable has it.
KESH_VALUE_TYPE(corvane::ClassRules)

/// {"changed": 9, "rules": [{"inside": 9, "edited": 9, "changed": 9, "overlaps": 0}], "flags": {"Withheld": {"set": 9,
/// "cleared": 0}}}
KESH_VALUE_TYPE(corvane::ClassTally)

} // namespace Kesh
