// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "store/FragmentChange.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// Numbers of steps and updates: 1 and up, in the order of time over all fields, never given twice in one store.
using StepId = std::int64_t;
using UpdateId = std::int64_t;

/// In place of a step: before the oldest step that is kept.
constexpr StepId Beginning = 0;

/// What a survey is known by. The store keeps it and leaves comparing to the caller.
struct SurveyIdentity {
    std::uint64_t size = 0;         ///< bytes
    std::uint64_t headChecksum = 0; ///< of what the caller takes for the head
    std::int64_t modified = 0;      ///< nanoseconds since 1970

    bool operator==(const SurveyIdentity&) const = default;
};

/// Where the values of a field come from before any edit.
enum class Origin { Survey = 0, Zeros = 1 };

/// A field that the store keeps edits of.
struct StoredField {
    std::string name{};
    int width = 1; ///< bytes per value, 1 or 2
    Origin origin = Origin::Survey;
    StepId present = Beginning; ///< the last step that is done
};

/// What an edit did to one field.
struct StoredStep {
    StepId id = 0;
    UpdateId update = 0;
    std::string field{};
    std::int64_t time = 0; ///< seconds since 1970
    std::string module{}, parameters{};
    std::uint64_t vertices = 0;
    bool done = true; ///< false: undone
};

/// Where a step stands, without what is known of it.
struct StepMark {
    StepId id = 0;
    UpdateId update = 0;
    bool done = true;
};

/// What happened together. Its actions are read by themselves, since they may be long.
struct StoredUpdate {
    UpdateId id = 0;
    std::int64_t time = 0; ///< seconds since 1970
    std::vector<StepId> steps{};
};

struct ChangedFragment {
    std::uint32_t fragment = 0;
    FragmentChange change;
};

/// Minimum, then maximum of x, y and z.
struct FragmentBox {
    std::uint32_t fragment = 0;
    std::array<double, 6> box{};
};

/// How often each value that occurs in a fragment of a field does.
struct FragmentCounts {
    std::string field{};
    std::uint32_t fragment = 0;
    std::vector<std::pair<std::uint32_t, std::uint64_t>> counts{}; ///< by value, ascending
};

/// A name with bytes, or without: then it goes.
struct NamedBytes {
    std::string name{};
    std::optional<std::vector<std::byte>> bytes{};
};

/// What is to be stored together, all of it or nothing. It is done in the order of the members.
struct Commit {
    struct Update {
        std::int64_t time = 0; ///< seconds since 1970
        std::string actions{}; ///< of the network, as JSON
    };
    struct Step {
        std::string field{};
        std::int64_t time = 0;
        std::string module{}, parameters{};
        std::uint64_t vertices = 0;
        std::vector<ChangedFragment> changes{}; ///< each fragment once, in any order; those that did not change, too
    };
    struct Amendment {
        std::string field{};
        std::vector<ChangedFragment> changes{};
    };
    struct Attribute {
        std::string field{};
        NamedBytes value;
    };

    /// Fields that are no more, with everything that was kept of them.
    std::vector<std::string> ended{};

    /// Fields that were not there. `present` is not looked at.
    std::vector<StoredField> begun{};

    /// Steps that are now undone, and now done again; of each field in the order in which that happened.
    std::vector<StepId> undone{}, redone{};

    /// Steps that are kept no more: done ones from the oldest on, whose changes become part of the field for good, and
    /// undone ones from the newest on, which vanish. All steps of a field: its history is cleared. Updates go with
    /// the last of their steps.
    std::vector<StepId> gone{};

    /// Changes of the present that are no step. An undo of the last step that changed the fragment takes them along;
    /// without one they stay for good.
    std::vector<Amendment> amended{};

    /// One update with its steps, which become the present of their fields. Undone steps of these fields vanish.
    std::optional<Update> update{};
    std::vector<Step> steps{};

    std::vector<Attribute> attributes{};
    std::vector<FragmentBox> boxes{};
    std::vector<FragmentCounts> counts{}; ///< of fragments as they are now at present
    std::vector<NamedBytes> entries{};    ///< whatever else the caller keeps

    /// Fields whose present is what stands in the survey now. Steps stay: undo goes back behind the survey's values.
    std::vector<std::string> saved{};

    std::optional<SurveyIdentity> identity{};

    /// Then what is known of boxes and counts goes, before those of this commit come.
    bool pointsMayDiffer = false;
};

/// Numbers that a commit gave, in the order of its steps.
struct Committed {
    UpdateId update = 0; ///< 0: there was none
    std::vector<StepId> steps{};
};

} // namespace corvane
