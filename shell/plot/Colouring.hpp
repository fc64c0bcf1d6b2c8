// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "check/RecordColumns.hpp"
#include "las/LasFile.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace corvane {

/// What the points of a survey are coloured by, and the mark that each leaves in a picture for that.
class Colouring {
public:
    enum class Kind {
        Values,  ///< whole numbers, of which there may be few: the mark is the value
        Numbers, ///< of a range: the mark is a number as a float, less `origin`
        Colours  ///< of the points' own: the mark is the colour
    };

    /// `by` is class, height, intensity, return, rgb or a dimension. Throws UsageError for what the survey has not.
    Colouring(const LasFile& las, const std::string& by);

    Kind kind() const { return kind_; }
    bool isClass() const;

    /// What the picture says that it shows: class, height, intensity, return or the dimension.
    const std::string& name() const { return name_; }

    /// The same above a legend: "Classes".
    std::string title() const;

    /// Of which columns are to be decoded.
    const std::vector<std::string>& dimensions() const { return dimensions_; }

    /// How many values there can be; 0 for other kinds.
    std::uint32_t values() const { return values_; }

    /// Appends the marks of the points that are selected.
    void mark(const RecordColumns& columns, std::vector<std::uint32_t>& marks) const;

    /// The number that a mark stands for.
    double numberOf(std::uint32_t mark) const;

private:
    std::uint32_t colourAt(const RecordColumns& columns, std::size_t point) const;
    void findOrigin(const LasFile& las);
    void findBrightest(const LasFile& las);

    Kind kind_ = Kind::Values;
    std::string name_;
    std::vector<std::string> dimensions_;
    std::uint32_t values_ = 0;
    double origin_ = 0;         // a value that occurs, so that floats are near it
    double brightest_ = 0xFFFF; // of the colours
};

} // namespace corvane
