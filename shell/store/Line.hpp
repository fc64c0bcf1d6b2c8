// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/FragmentSet.hpp"
#include "store/StoreRecords.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace corvane {

/// One field with the steps of its history, in memory: everything but the changes themselves.
///
/// A place is a number of steps that are done, from 0 to their number. What the survey says with the base is the
/// version at the anchor: at first before all steps, after saving at the then present, so that versions before it
/// are reached backwards.
struct Line {
    struct Step {
        StepId id = 0;
        UpdateId update = 0;
        std::int64_t time = 0;
        std::string module, parameters;
        std::uint64_t vertices = 0;
        FragmentSet fragments;
    };

    /// A change on the way from one version to another.
    struct Leg {
        StepId step;
        FragmentChange::Direction direction;
    };

    std::int64_t id = 0;
    std::string name;
    int width = 1;
    Origin origin = Origin::Survey;
    std::vector<Step> steps;             // ascending
    std::size_t present = 0, anchor = 0; // places
    std::int64_t attributes = 0;         // how many there are
    FragmentSet base;                    // fragments that have one
    StepId folded = 0;                   // versions up to this one have become the beginning

    /// How often each fragment was changed, counted when first asked for; steps that went still count.
    std::uint32_t& timesChanged(std::uint32_t fragment);

    /// The version at a place, as callers name it.
    StepId version(std::size_t place) const { return place == 0 ? Beginning : steps[place - 1].id; }

    /// The place behind a step; none when the version is gone or never was.
    std::optional<std::size_t> placeOf(StepId version) const;

    /// The changes of a fragment on the way between two places.
    std::vector<Leg> way(std::uint32_t fragment, std::size_t from, std::size_t to) const;

    /// The fragments that the steps between two places changed, ascending.
    FragmentSet changedBetween(std::size_t from, std::size_t to) const;

    /// The step that changed a fragment last, up to a place; Beginning: none did.
    StepId versionOf(std::uint32_t fragment, std::size_t place) const;

    /// The same of all fragments that any step changed.
    std::unordered_map<std::uint32_t, StepId> versionsAt(std::size_t place) const;

private:
    std::optional<std::unordered_map<std::uint32_t, std::uint32_t>> timesChanged_;
};

} // namespace corvane
