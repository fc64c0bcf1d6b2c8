// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "las/LazBlock.hpp"
#include "las/PointReader.hpp"

#include <memory>

namespace corvane {

/// The points of a compressed file. Of layered chunks only the layers that hold wanted bytes are decoded, and of all
/// only the chunks that are met.
class LazPoints : public PointReader {
public:
    LazPoints(std::shared_ptr<const InputFile> file, const LasHeader& header, LazBlock block);
    ~LazPoints() override;

    std::unique_ptr<PointCursor> from(std::uint64_t first, const WantedBytes& wanted) const override;
    std::unique_ptr<PointCursor> ahead(const PointRange& range, const WantedBytes& wanted) const override;
    std::vector<PointRange> ranges(std::size_t points, Joining joining) const override;

    const LazBlock& block() const { return block_; }

private:
    class Cursor;
    class AheadCursor;
    class Parking;

    std::shared_ptr<const InputFile> file_;
    LazBlock block_;
    std::unique_ptr<Parking> parking_;
};

} // namespace corvane
