// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Failure.hpp"
#include "base/FileRuns.hpp"
#include "las/LasFile.hpp"
#include "las/PointEdits.hpp"

#include <functional>
#include <string>
#include <vector>

namespace corvane {

/// New values that do not fit where the old ones stand: why not, as a clause.
struct NoRoom : Failure {
    using Failure::Failure;
};

/// How much is found at a time.
struct BatchSize {
    std::uint64_t bytes = std::uint64_t{16} << 20; ///< that change; a batch ends when it has so many
    std::uint64_t runs = std::uint64_t{1} << 19;   ///< of such bytes, likewise
    std::uint64_t points = std::uint64_t{1} << 20; ///< that are looked at together, by all threads
};

/// Which bytes of a file become others when its points get new values and nothing moves. They are found a batch at a
/// time, so that they take little memory whatever is edited. Of layered chunks those layers are encoded anew that
/// change, and end with zeros where they are shorter.
class InPlaceChange {
public:
    /// The edits of the fragments that lie in this range.
    using EditsOf = std::function<PointEdits(const PointRange&)>;

    /// `edited` are the fragments with edits, in order. The file must outlive it. Throws NoRoom for a file in which
    /// nothing can be changed in place.
    InPlaceChange(const LasFile& las, const std::vector<PointRange>& edited, EditsOf editsOf,
                  const BatchSize& size = {});

    /// The bytes that change next; none behind the last ones, and only there. What it reads of the file is where they
    /// and later ones lie, so a batch may be written before the next one is asked for. Throws NoRoom, and Failure for a
    /// file that is damaged.
    FileRuns next();

    bool done() const { return next_ == units_.size(); }
    void restart() { next_ = 0; }

    /// How far it is.
    std::uint64_t pointsDone() const { return done() ? points_ : units_[next_].pointsBefore; }
    std::uint64_t points() const { return points_; }

private:
    /// Fragments and chunks that share points with each other, and with no others.
    struct Unit {
        PointRange points;
        std::size_t firstChunk = 0, chunks = 0; // none in a file that is not compressed
        std::uint64_t pointsBefore = 0;         // of the units before
    };

    void addUnit(Unit unit);
    FileRuns changeOf(const Unit& unit) const;
    void addRecords(const Unit& unit, const PointEdits& edits, FileRuns& runs) const;
    void addChunk(const LazChunk& chunk, const PointEdits& edits, FileRuns& runs) const;

    const LasFile& las_;
    EditsOf editsOf_;
    BatchSize size_;
    std::vector<Unit> units_;
    std::size_t next_ = 0;
    std::uint64_t points_ = 0; // of all units
};

} // namespace corvane
