// SPDX-License-Identifier: Apache-2.0
#include "check/SurveyComparison.hpp"

#include <algorithm>
#include <array>
#include <fmt/format.h>

namespace corvane {
namespace {

constexpr unsigned FiveBits = 32; // values that a class has in point formats 0 to 5

/// Values above 31 that are their remainder now, when none is left above it.
std::string squeezed(const Transitions& transitions) {
    std::uint64_t large = 0, remainders = 0;
    std::string example;
    for (const auto& [values, count] : transitions.counts) {
        const auto [before, after] = values;
        if (after >= FiveBits) return "";
        if (before < FiveBits) continue;
        large += count;
        if (after != before % FiveBits) continue;
        remainders += count;
        if (example.empty()) example = fmt::format("{} became {}", before, after);
    }
    if (remainders == 0) return "";
    return fmt::format("Of {} points with a value above 31, {} have its remainder modulo 32 now ({}): values were "
                       "probably squeezed into the five bits of point formats 0 to 5.",
                       large, remainders, example);
}

std::string cleared(const SurveyComparison& comparison, const std::string& flag) {
    const bool lost = std::ranges::find(comparison.onlyBefore, flag) != comparison.onlyBefore.end();
    if (lost) return fmt::format("{} was set in some points; the point format has no such flag now.", flag);
    const auto difference = std::ranges::find(comparison.dimensions, flag, &DimensionDifference::name);
    return fmt::format("{} was cleared: set in {} points before, in none now.", flag, difference->points);
}

bool isCoordinate(const std::string& name) { return name == "X" || name == "Y" || name == "Z"; }

/// How far coordinates moved, when their scale or offset changed.
std::string moved(const SurveyComparison& comparison) {
    std::vector<std::string> changed;
    for (const char* name : {"Scale", "Offset"})
        if (std::ranges::find(comparison.header, name, &HeaderDifference::name) != comparison.header.end())
            changed.push_back(name);
    if (changed.empty()) return "";
    std::string text = fmt::format("{} of the coordinates changed: ", fmt::join(changed, " and "));
    if (!comparison.matching.comparable()) return text + "by how much they moved is not known.";
    std::vector<std::string> moves;
    for (const DimensionDifference& dimension : comparison.dimensions)
        if (isCoordinate(dimension.name) && dimension.largestMove > 0)
            moves.push_back(fmt::format("{} by at most {:.6g}", dimension.name, dimension.largestMove));
    return text + (moves.empty() ? "none moved by that." : fmt::format("they moved in {}.", fmt::join(moves, ", in ")));
}

std::string matched(const PointMatching& matching) {
    using Kind = PointMatching::Kind;
    switch (matching.kind) {
    case Kind::ByIndex:
        break;
    case Kind::Dropped:
        return fmt::format("{} points were dropped, the first of them with index {}; the others were compared, and "
                           "indices count the points of AFTER.",
                           matching.missing, matching.firstMissing);
    case Kind::Added:
        return fmt::format("{} points were added, the first of them with index {}; the others were compared, and "
                           "indices count the points of BEFORE.",
                           matching.missing, matching.firstMissing);
    case Kind::Reordered:
        return "The points are the same but stand in another order, so they were found by position and time, and only "
               "the field was compared.";
    case Kind::Unknown:
        return fmt::format(
            "The number of points changed by {}, and the smaller survey is not the larger one without "
            "some of its points, so they cannot be compared one by one in their order; those that can be found by "
            "position and time were, and only the field was compared.",
            matching.missing);
    }
    return "";
}

} // namespace

std::vector<std::string> culprits(const SurveyComparison& comparison) {
    std::vector<std::string> sentences{matched(comparison.matching), squeezed(comparison.transitions)};
    for (const std::string& flag : comparison.clearedFlags) sentences.push_back(cleared(comparison, flag));
    sentences.push_back(moved(comparison));
    std::erase(sentences, "");
    return sentences;
}

} // namespace corvane
