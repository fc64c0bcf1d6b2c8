// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "las/LasFile.hpp"
#include "survey/FragmentRecords.hpp"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace corvane {

/// A quantity that every point of a survey has: how it reads as a field.
struct SurveyField {
    std::string name;
    std::string type;             ///< of the values, for people: "uint8", "double", "double[3]"
    std::size_t dimension = None; ///< in LasFile::dimensions
    bool editable = false;        ///< can be saved: stored in the record as it reads

    static constexpr std::size_t None = ~std::size_t{0};
};

/// Positions, then the dimensions in the order of the record. X, Y, Z and scaled extra bytes read as double.
std::vector<SurveyField> fieldsOf(const LasFile& las);

/// Element type of a field's values.
const std::type_info& elementTypeOf(const LasFile& las, const SurveyField& field);

/// Where to note the box of the points that are read, when a brush is expected.
struct BoxNote {
    std::shared_ptr<const Expectation> expectation;
    Holdfast::WeakPtr<Fiber::CreativeArrayBase> positions;
};

/// Makes the field's values of a fragment out of its records.
Holdfast::StrongPtr<Fiber::ArraySource> sourceOf(const std::shared_ptr<const FragmentRecords>& records,
                                                 const SurveyField& field, const BoxNote& note);

/// Has the values of several fields in one fragment made in one pass over its records, as far as they are made of them
/// and not resident. They are the cache's to drop at any time. Returns the arrays that have values since.
std::vector<Holdfast::StrongPtr<Fiber::CreativeArrayBase>>
loadTogether(std::span<const Holdfast::StrongPtr<Fiber::CreativeArrayBase>> arrays);

} // namespace corvane
