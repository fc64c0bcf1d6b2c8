// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Kesh/values/VHistogram.hpp"
#include "base/Watch.hpp"
#include "survey/Survey.hpp"

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace corvane {

/// What to count of a survey: the points of a region by the values of a field of 8 or 16 bits.
struct CountTask {
    struct WholeSurvey {};
    struct WhereNotZero {
        std::string mask; ///< a field of 8 bits
    };
    using Region = std::variant<WholeSurvey, Sextant::BoundingBox, Kesh::Brush, WhereNotZero>;

    Fiber::FieldSelector field;
    Region region = WholeSurvey();
    std::string secondary{}; ///< "Z" or a field of numbers, of which minimum, maximum and mean are wanted; or empty
    Kesh::LabelSet labels{}; ///< for the report
};

struct Count {
    Kesh::VHistogram histogram;
    std::string report; ///< for people, in the words of the module that counts

    bool complete() const { return histogram.complete; }
    bool outOfDate() const { return histogram.outOfDate; }
};

/// Counts with the catalogue's module for that, loading what it has to. Where the module's time limit ends the count it
/// goes on, as long as it advances; what was counted before and did not change is not read again. A count that cannot
/// be completed is returned as it is. Throws UsageError when no field is selected, Failure for one that cannot be
/// counted by value and for what the module complains of, and Interrupted.
Count countPoints(const Survey& survey, const CountTask& task, const Watch& watch = {});

/// A sentence about points that the statistics of the second quantity leave out; empty when there are none.
std::string noteOnSecondary(const Kesh::VHistogram& histogram);

/// Points per value that occurs.
using ClassCounts = std::map<int, std::uint64_t>;

ClassCounts classCounts(const Kesh::VHistogram& histogram);

/// How many points have another value than before, when all of them got the same one.
std::uint64_t changedPoints(const ClassCounts& before, const ClassCounts& after);

} // namespace corvane
