// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "network/Selecting.hpp"
#include "window/Drawing.hpp"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace corvane {

/// What somebody has chosen for the next stroke. Stays when the tool changes.
struct Choices {
    Tool tool = Tool::Lasso;
    Selecting how = Selecting::Replace;
    std::set<int> from;   ///< classes to change; empty: all that are not locked
    int to = 2;           ///< the class to assign
    bool atOnce = false;  ///< what is drawn is applied, without a selection in between
    double tipRadius = 2; ///< of painting, in the unit of the survey
    double depth = 0;     ///< how far from the point where it begins a stroke reaches, both ways; 0: all through

    bool operator==(const Choices&) const = default;
};

/// The radius of a tip for painting on a survey of this size: a hundredth of its longer side or a little more, 1, 2 or
/// 5 times a power of ten.
double tipFor(const Sextant::BoundingBox& box);

/// Exchanges the class to assign with the one to change; nothing where there is not one.
void swapClasses(Choices& choices);

/// "5, 6", or "any unlocked"; of many the first ones.
std::string fromText(const Choices& choices);

/// Digits that are typed one soon after the other make a number.
class TypedNumber {
public:
    /// How long after a digit the next one still belongs to the number, in milliseconds.
    static constexpr std::int64_t Patience = 700;

    /// The number so far, at most `largest`: a digit that would go beyond begins anew.
    int type(int digit, std::int64_t now, int largest);

private:
    int number_ = 0;
    std::int64_t last_ = -Patience - 1;
};

} // namespace corvane
