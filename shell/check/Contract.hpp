// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/PointFacts.hpp"
#include "check/PointTally.hpp"

#include <array>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace corvane {

/// What a rule is called in findings, and what it finds.
struct RuleName {
    const char* name;
    const char* meaning;
};

/// What was agreed about a survey. Nothing is asked of what is empty.
struct Contract {
    std::optional<std::set<int>> classes; ///< that may occur
    std::vector<std::string> versions;    ///< of LAS: "1.4"
    std::vector<int> pointFormats;
    std::string crs;                              ///< code: "EPSG:25832"
    std::optional<std::array<double, 2>> heights; ///< between which all points lie, infinite for open ends
    std::optional<std::array<double, 2>> density; ///< points per square unit, where there are points
    std::map<std::string, bool> flags;            ///< whether a flag may be set
    std::set<std::string> ignored;                ///< rules of lint

    /// Whether a class is asked for by its number, so that it means something to somebody.
    bool allowsByName(int value) const { return classes && classes->contains(value); }
};

/// Reads a contract from a file of JSON; docs/contract.md describes it. Throws Failure with the place of what is wrong.
Contract readContract(const std::string& path);

std::vector<RuleName> contractRules();

/// Where a survey does not hold to the contract.
struct Breach {
    const char* rule;
    std::string text;
    Occurrence points; ///< it is about; none for the file as a whole
    PointTest test = nullptr;
};

/// Reads the points, once, when heights, density or flags are asked for.
std::vector<Breach> breachesOf(const Contract& contract, const LasFile& las, const PointTally& tally,
                               const Kesh::LimitPtr& limit, const Watch& watch);

} // namespace corvane
