// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LasFile.hpp"
#include "polygon/GivenPolygons.hpp"

#include <string>
#include <vector>

namespace corvane {

/// Given polygons in the coordinates of a survey.
class Placement {
public:
    /// Throws Failure, see placeOn.
    Placement(const LasFile& survey, const GivenPolygons& given);

    std::vector<GivenFeature> features; ///< in their order; their systems are still those that were stated
    std::vector<std::string> notices;   ///< finished sentences

private:
    using Group = std::vector<GivenFeature*>; // of one source and system

    std::vector<Group> groups();
    void place(const Group& group);
    void placeUnstated(const Group& group);
    void transform(const Group& group, const std::string& crs, const std::string& assumption);
    void checkAgain(const Group& group);
    void tellUnstated();

    const LasFile& survey_;
    const std::string surveyName_; // of its coordinate system; empty: it states none that is understood
    const std::string lack_;       // what it does in that case
    bool repair_;
    std::vector<std::string> unstated_; // sources without a system
};

} // namespace corvane
