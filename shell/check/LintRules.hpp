// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/Lint.hpp"
#include "las/StandardClasses.hpp"

namespace corvane::rule {

/// What is known of a survey when the rules look at it.
struct Evidence {
    const LasFile& las;
    const std::optional<Kesh::LabelSet>& names;
    const Contract& contract;
    PointTally points;
    std::optional<HeightRange> ground;
    Occurrence noiseInGround;
    Occurrence outsideNodes;

    const LasHeader& header() const { return las.header; }
    bool legacy() const { return isLegacyFormat(header().pointFormat); }
    bool reserves(int value) const {
        return isReservedClass(value, header().pointFormat) && !isNamed(value) && !contract.allowsByName(value);
    }

    /// Whether the file says what it means by a class.
    bool isNamed(int value) const {
        const Kesh::Label* label = names ? names->find(value) : nullptr;
        return label && !label->name.empty() && label->name != "Reserved"; // some writers list the whole table
    }
    const char* formats() const { return legacy() ? "0 to 5" : "6 to 10"; }
};

using Findings = std::vector<Finding>;

/// That are meant by noise in this point format.
std::vector<int> noiseClasses(const LasFile& las);

/// Reads a point.
Example exampleAt(const LasFile& las, std::uint64_t index);

/// Adds a finding about these points; nothing when there are none.
void report(Findings& findings, const Evidence& evidence, const Occurrence& points, const std::string& text,
            PointTest test);

/// In use by a profile of the format for water depths, though the format's own table reserves them.
constexpr bool isTopoBathymetric(int value) { return value >= 40 && value <= 45; }

constexpr int LargestClass = 255;

// Each rule returns what it found; the findings get their name from the table of rules. About classes:
Findings squeezed(const Evidence& evidence);
Findings keyPointClass(const Evidence& evidence);
Findings overlapClass(const Evidence& evidence);
Findings reservedClasses(const Evidence& evidence);
Findings withheldGround(const Evidence& evidence);
Findings noiseInGround(const Evidence& evidence);

// What the header and the other records say of the points:
Findings headerCounts(const Evidence& evidence);
Findings returnNumbers(const Evidence& evidence);
Findings legacyCounts(const Evidence& evidence);
Findings headerBounds(const Evidence& evidence);
Findings wktBitMissing(const Evidence& evidence);
Findings wktRecordMissing(const Evidence& evidence);
Findings chunkTable(const Evidence& evidence);
Findings copcRecords(const Evidence& evidence);
Findings copcNodes(const Evidence& evidence);

} // namespace corvane::rule
