// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "check/ChangeClusters.hpp"
#include "check/FileComparison.hpp"
#include "check/IdentityMatch.hpp"
#include "check/PointComparison.hpp"
#include "check/PointMatching.hpp"

namespace corvane {

/// What differs between two surveys of the same points.
struct SurveyComparison {
    std::vector<HeaderDifference> header;
    std::vector<PartDifference> parts;
    std::vector<std::string> onlyBefore, onlyAfter; ///< dimensions

    PointMatching matching; ///< what follows is empty unless it is comparable
    std::vector<DimensionDifference> dimensions;
    std::string field; ///< of the transitions
    Transitions transitions;
    std::vector<std::string> clearedFlags;

    std::optional<IdentityMatch> identity; ///< when the points are not comparable in their order: what is known then
    std::vector<ChangeCluster> clusters;   ///< of changed points, when they were asked for

    /// The names of all that differs, each once.
    std::vector<std::string> differing() const;

    /// Whether every point of both was compared.
    bool complete() const { return matching.comparable() || (identity && identity->whole()); }
};

struct ComparisonOptions {
    Kesh::LimitPtr limit;                        ///< which points are compared, by what they are in BEFORE; null: all
    bool clusters = false;                       ///< find out where points changed
    double clusterSide = 0;                      ///< as ChangeClusters takes it
    std::size_t memory = std::size_t{256} << 20; ///< bytes, for points that stand in different orders
};

/// Compares everything; of points that stand in different orders, or that are not the same, the field of those that can
/// be found in the other survey. Throws UsageError for a field whose transitions cannot be counted; what `watch` throws
/// goes through.
SurveyComparison compareSurveys(const LasFile& before, const LasFile& after, const std::string& field,
                                const Watch& watch, const ComparisonOptions& options = {});

/// The names that `differing` may give and that may be permitted. Points that cannot be compared one by one may not:
/// nothing would be known of the rest.
std::vector<std::string> permissibleNames(const LasFile& before, const LasFile& after);

/// Sentences that name the usual culprits for which there is evidence.
std::vector<std::string> culprits(const SurveyComparison& comparison);

} // namespace corvane
