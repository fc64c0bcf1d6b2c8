// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Limit.hpp"
#include "las/LasFile.hpp"

#include <string>
#include <vector>

namespace corvane {

/// Records as columns: positions, the numbers of some dimensions, and which of the points meet a limit.
class RecordColumns {
public:
    /// `limit` may be null: all points meet it. Throws UsageError for a dimension that the survey has not.
    RecordColumns(const LasFile& las, Kesh::LimitPtr limit, const std::vector<std::string>& dimensions);

    /// What must be sound of the records.
    const WantedBytes& wanted() const { return wanted_; }

    /// Takes whole records; what is below is valid until the next ones.
    void take(std::span<const std::byte> records);

    std::span<const Sextant::PhysicalSpace::point> positions() const { return positions_; }

    /// In the order in which the dimensions were named.
    std::span<const double> numbers(std::size_t dimension) const { return numbers_[dimension]; }

    /// Indices of the points that meet the limit, ascending.
    const std::vector<std::uint32_t>& selected() const { return selected_; }

    /// Calls `use(first, count)` with the stretches of records at hand that are selected.
    template <class Use>
    void forRuns(Use use) const {
        for (std::size_t begin = 0, end; begin < selected_.size(); begin = end) {
            for (end = begin + 1; end < selected_.size() && selected_[end] == selected_[end - 1] + 1;) ++end;
            use(std::size_t{selected_[begin]}, end - begin);
        }
    }

    /// Leaves only those selected for which `holds(index)`.
    template <class Holds>
    void narrow(Holds holds) {
        std::erase_if(selected_, [&](std::uint32_t i) { return !holds(i); });
        narrowed_ = true;
    }

private:
    void want(const std::string& name);

    const LasFile& las_;
    Kesh::LimitPtr limit_;
    std::vector<Dimension> dimensions_; // those that were named, then those that the limit reads
    std::size_t named_;                 // how many
    WantedBytes wanted_;
    std::vector<Sextant::PhysicalSpace::point> positions_;
    std::vector<std::vector<double>> numbers_;
    std::vector<std::uint32_t> selected_;
    bool narrowed_ = false; // since all were selected
};

} // namespace corvane
