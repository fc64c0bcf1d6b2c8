// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "check/Contract.hpp"
#include "check/PointFacts.hpp"
#include "check/PointTally.hpp"
#include "las/CoordinateText.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace corvane {

/// One point of those that a finding is about.
struct Example {
    std::uint64_t index = 0; ///< in the file, from 0
    std::array<double, 3> position{};
    int value = 0; ///< its class
};

/// Something that is wrong, or may be: the text says "may" where it is a guess.
struct Finding {
    std::string name;               ///< of the rule
    std::string text;               ///< whole sentences
    std::uint64_t count = 0;        ///< points that it is about; 0: it is about none
    std::optional<Example> example; ///< the first of them, where it is known which they are
    PointTest test = nullptr;       ///< holds for them; null where it is not known which they are
};

struct LintReport {
    std::vector<Finding> findings;
    std::vector<std::string> notes; ///< what is as it may be, and worth knowing
    std::uint64_t points = 0;       ///< that were checked
};

/// Of lint and of contracts.
std::vector<RuleName> lintRules();

/// What else is asked of a survey, and what is not.
struct LintOptions {
    Contract contract;
    std::set<std::string> ignored; ///< rules that find nothing
    Kesh::LimitPtr limit; ///< which points are looked at; null: all. With one, rules about all points find nothing
};

/// Checks a survey by all rules. `names`: what its Classification Lookup says, if it has one; a class that it names, or
/// that the contract allows, is not a reserved one. Reads the points once, and once more for some rules. Takes the same
/// memory for any number of points. What tests of findings stand on is the survey, which must outlive them.
LintReport lint(const LasFile& las, const std::optional<Kesh::LabelSet>& names, const Watch& watch,
                const LintOptions& options = {});

} // namespace corvane
