// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/DimensionPair.hpp"
#include "check/Transitions.hpp"
#include "las/LasFile.hpp"

#include <optional>
#include <string>
#include <vector>

namespace corvane {

/// The dimensions of a survey as they read, and one for each byte of the record that nothing describes.
std::vector<Dimension> allDimensions(const LasFile& las);

/// Compares points of two surveys, dimension by dimension.
class PointComparison {
public:
    /// Transitions are counted of `field`, which must be unsigned integers of 8 or 16 bits in both; throws UsageError
    /// for another.
    PointComparison(const LasFile& before, const LasFile& after, const std::string& field);

    void compare(const RecordPairs& pairs);

    /// Of the dimensions that differ.
    std::vector<DimensionDifference> differences() const;

    /// Dimensions that only the one survey has.
    const std::vector<std::string>& onlyBefore() const { return onlyBefore_; }
    const std::vector<std::string>& onlyAfter() const { return onlyAfter_; }

    const std::string& field() const { return field_; }
    const Dimension& fieldBefore() const { return fieldBefore_; }
    const Dimension& fieldAfter() const { return fieldAfter_; }
    Transitions transitions() const { return transitions_->transitions(); }

    /// The flags that were set in some points and are in none any more.
    std::vector<std::string> clearedFlags() const;

private:
    /// A flag, and whether it was seen set: in the later survey, or in the earlier one when the later has no such flag.
    struct Flag {
        Dimension dimension;
        bool lost;
        bool seen = false;
    };
    void pairUp(const std::vector<Dimension>& earlier, const std::vector<Dimension>& later);
    void lookAtFlags(const RecordPairs& pairs);
    bool compareDimensions(const RecordPairs& pairs);

    std::vector<DimensionPair> pairs_;
    std::vector<std::string> onlyBefore_, onlyAfter_;
    std::vector<Flag> flags_;
    std::string field_;
    Dimension fieldBefore_, fieldAfter_;
    std::optional<TransitionCounter> transitions_;
    bool sameLayout_;
};

} // namespace corvane
