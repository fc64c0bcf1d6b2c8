// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "las/LasFile.hpp"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>

namespace corvane {

/// What may be asked for later.
class Expectation {
public:
    /// A brush will ask where points lie.
    std::atomic<bool> brush = false;

    /// Notes that these bytes of records were asked for, and returns all that ever were.
    WantedBytes alsoWanted(const WantedBytes& bytes);

private:
    std::mutex mutex_;
    WantedBytes wanted_;
};

/// The records of a fragment's points, for all fields that are made of them. Compressed ones are kept, under the budget
/// of the values, since decoding is what takes the time: what was decoded for one field serves the others, and once a
/// second field was asked for, both are decoded together in every fragment. From any thread.
class FragmentRecords {
public:
    FragmentRecords(std::shared_ptr<const LasFile> las, const PointRange& range,
                    std::shared_ptr<Expectation> expectation, const Holdfast::StrongPtr<Holdfast::Cache>& cache);

    const LasFile& las() const { return *las_; }
    std::size_t count() const { return range_.count; }
    std::size_t stride() const { return las_->points->recordLength(); }

    /// Calls `use(records, first, count)` with pieces of them whose wanted bytes are sound, as PointReader::forPieces.
    using Use = std::function<void(std::span<const std::byte> records, std::size_t first, std::size_t count)>;
    void forPieces(const WantedBytes& wanted, const Use& use) const;

private:
    class Source;

    std::shared_ptr<const LasFile> las_;
    PointRange range_;
    std::shared_ptr<Expectation> expectation_;
    Holdfast::StrongPtr<Fiber::CreativeArrayBase> kept_; // empty for records that are not compressed
};

} // namespace corvane
