// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/Brush.hpp"
#include "base/Watch.hpp"
#include "survey/Survey.hpp"

#include <string>
#include <vector>

namespace corvane {

/// The points of a survey under a brush, for modules that load nothing for one: made resident, or as a mask.
class BrushedPoints {
public:
    /// Whoever watches hears of every operation, which may throw Interrupted.
    BrushedPoints(const Survey& survey, const Kesh::Brush& brush, const Watch& watch);

    /// Brings the positions and these fields in, in all fragments that the brush meets, and keeps them resident as long
    /// as this lives. False, with nothing kept, when the survey's memory budget does not suffice.
    bool load(const std::vector<std::string>& fields);

    /// A mask that holds them. Takes a byte for each point of the fragments that the brush meets. These fields are read
    /// on the way, since they will be asked for next.
    Holdfast::StrongPtr<Fiber::Field> mask(const std::vector<std::string>& fields) const;

private:
    bool isMet(const Holdfast::StrongPtr<Fiber::FragmentID>& fragment) const;
    bool fit(std::size_t fields) const;
    Holdfast::StrongPtr<Fiber::MemBase> maskOf(const Fiber::Field::Fragment& fragment,
                                               const std::vector<std::string>& fields) const;

    /// Calls the function with each fragment that the brush may meet, until it returns false.
    template <class Function>
    void visit(Function function) const;

    const Survey& survey_;
    Kesh::Brush brush_;
    Watch watch_;
    Holdfast::StrongPtr<Fiber::Field> positions_;
    std::vector<Holdfast::StrongPtr<const Fiber::MemBase>> kept_;
};

/// Whether a point of the survey lies under the brush. Looks no further than the first one.
bool meetsAny(const Survey& survey, const Kesh::Brush& brush, const Watch& watch);

} // namespace corvane
