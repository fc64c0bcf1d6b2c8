// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/values/LabelSet.hpp"
#include "network/Counting.hpp"
#include "session/EditableLabels.hpp"
#include "session/FieldChange.hpp"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace corvane {

class Session;

/// A survey that is open, for those who look at it from other threads. Immutable.
struct OpenSurvey {
    std::shared_ptr<const Session> session; ///< the plug-in stays as long as anybody has what it made
    std::shared_ptr<const Survey> survey;   ///< its representation belongs to the update thread: take `fields`
    std::string field;                      ///< holds the classes

    /// Everything but the field of the classes, masks and histories. These fields do not change: anybody may look at
    /// their fragments, ask for the values of their arrays and for boxes that are known.
    std::map<std::string, Holdfast::StrongPtr<Fiber::Field>> fields;
};

/// One step of a history, for people.
struct HistoryStep {
    std::int64_t time = 0; ///< seconds since 1970
    std::string what;      ///< "6 Building", "Select"
    std::string module;    ///< key of the one that made it
    std::uint64_t points = 0;
};

/// A history as a list, the oldest step first; those from `position` on were undone. A step that is in two states is
/// the same in both.
struct HistoryList {
    using Steps = std::vector<std::shared_ptr<const HistoryStep>>;
    std::shared_ptr<const Steps> steps = std::make_shared<const Steps>();
    int position = 0;

    int size() const { return static_cast<int>(steps->size()); }
};

/// What is selected, as the module that counts says.
struct MaskSummary {
    std::uint64_t points = 0;
    ClassCounts counts;
    std::map<int, std::array<double, 2>> heights; ///< lowest and highest of each class
    std::array<double, 2> range{};                ///< of all; only where points are selected
    bool complete = true; ///< false: counting was stopped or something could not be read; the rest may be too low
};

/// Everything that a face shows of a survey that is edited by hand. A value: copies share what is large, and nothing
/// of it changes. Arrays may be asked for their values from any thread; of arrays of an older `opening` that may
/// fail, since the file was written.
struct WorkbenchState {
    std::uint64_t number = 0; ///< rises with each state
    std::uint64_t opening =
        0; ///< rises when the survey was opened anew: all arrays are others, points and fragments same
    std::shared_ptr<const OpenSurvey> open;

    std::string path;
    std::uint64_t points = 0;
    std::string field;

    std::shared_ptr<const Kesh::LabelSet> labels; ///< a class without the flag "editable" is locked
    std::shared_ptr<const ClassCounts> counts = std::make_shared<const ClassCounts>();
    bool countsComplete = false; ///< else they are of some fragments only, or of before the last edit: see count()

    MaskSummary mask;
    HistoryList data, maskHistory;

    int notInFile = 0;    ///< steps between what the file holds and the present
    std::string copyPath; ///< the copy that was saved last since opening; empty: none
    int notInCopy = 0;    ///< steps since then
    std::string status;   ///< the last thing worth saying, a sentence

    /// The values as they are. Of the mask only fragments in which something may be selected.
    std::shared_ptr<const ArraysByFragment> classes, selected;

    /// Fragments whose values are others than in the state before.
    std::vector<std::uint32_t> changedClasses, changedMask;

    bool isLocked(int value) const;
};

} // namespace corvane
