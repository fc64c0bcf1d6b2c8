// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Selectors.hpp"
#include "Holdfast/Cache.hpp"
#include "Kesh/values/LabelSet.hpp"
#include "Sextant/Geometry.hpp"
#include "las/LasFile.hpp"
#include "las/PointEdits.hpp"
#include "survey/SurveyFields.hpp"

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

struct SurveyOptions {
    std::size_t memoryBytes = std::size_t{512} << 20; ///< budget for values that were read and can be read again
    std::uint32_t fragmentPoints = 131072;            ///< at most so many points per fragment
    Reading reading = Reading::Whole;
    std::shared_ptr<const FileRuns> overlay = nullptr; ///< the file is read as if these bytes were in it; null: none
};

/// A LAS file as a bundle: one grid whose vertices are the points, in blocks of consecutive points, one field per
/// dimension. Nothing is read of the points until somebody asks.
class Survey {
public:
    /// Throws Failure when the file cannot be opened.
    explicit Survey(const std::string& path, const SurveyOptions& options = {});

    const LasFile& las() const { return *las_; }
    const std::string& path() const { return las_->file->path(); }
    const std::vector<SurveyField>& fields() const { return fields_; }
    Fiber::Representation& points() const { return *points_; }

    /// The names that the field Classification carries: those of the file's Classification Lookup, unless edits have
    /// brought others; none without one.
    std::optional<Kesh::LabelSet> labels() const;

    /// The points of each fragment, by its number.
    const std::vector<PointRange>& ranges() const { return ranges_; }

    /// Bytes that values which can be read again may take.
    std::size_t memoryBudget() const { return options_.memoryBytes; }

    /// What is wrong and could be read all the same: finished sentences, without the path.
    const std::vector<std::string>& warnings() const { return warnings_; }

    /// The field of this name, or of another that tools use for it, without regard to case. Throws UsageError with the
    /// nearest names when there is none.
    const SurveyField& findField(const std::string& name) const;

    /// Selects a field, by its exact name.
    Fiber::FieldSelector selector(const std::string& fieldName) const;

    /// From now on whoever reads values of a fragment for the first time finds the box of its positions, too: a brush
    /// will ask for it, and need not read the fragments that it does not meet.
    /// The nodes of a COPC have boxes already.
    void expectBrush() const { expectation_->brush = !las_->copc; }

    /// From now on whatever is decoded of a compressed fragment, the values of this field are decoded with it.
    void expectField(const SurveyField& field) const;

    /// The box that holds every coordinate that the file's numbers can express, whatever the header says of bounds.
    Sextant::BoundingBox expressibleBox() const;

    static constexpr PointRange AllPoints{0, std::numeric_limits<std::size_t>::max()};

    /// An edited fragment of a dimension: the values that differ from the file.
    struct Edit {
        const SurveyField* field;
        PointRange range;
        Holdfast::StrongPtr<const Fiber::MemBase> values;
    };

    /// The fragments that are not those of the file any more, in a field or in any, by number, ascending. No values are
    /// looked at.
    std::vector<std::uint32_t> editedFragments(const SurveyField& field) const;
    std::vector<std::uint32_t> editedFragments() const;

    /// Their values, ordered by record; those of fragments that have points of a range, or of all.
    std::vector<Edit> edits(const PointRange& within = AllPoints) const;

    /// The time of the last change that the points still show; `Ooooold` when they are those of the file.
    Holdfast::Ageable::Age editedAt() const;

    /// The edits as they stand in records.
    PointEdits pointEdits(const PointRange& within = AllPoints) const;

    /// The survey as it is now, for those who read records; the file itself as long as nothing was edited.
    LasFile edited() const;

    /// What was found to be wrong since opening: finished sentences, without the path.
    std::vector<std::string> lateWarnings() const;

private:
    void noteNodeBoxes();
    void readLabels();

    std::shared_ptr<const LasFile> las_;
    std::shared_ptr<Expectation> expectation_ = std::make_shared<Expectation>();
    SurveyOptions options_;
    std::vector<PointRange> ranges_; // of the fragments
    std::vector<SurveyField> fields_;
    std::vector<std::string> warnings_;
    Holdfast::StrongPtr<Fiber::Bundle> bundle_;
    Holdfast::StrongPtr<Fiber::Representation> points_;
    std::vector<Holdfast::StrongPtr<Fiber::Field>> original_; // as opened, parallel to fields_
};

} // namespace corvane
