// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/PointInfo.hpp"
#include "session/Session.hpp"
#include "session/StrokePreview.hpp"
#include "session/WorkbenchState.hpp"

#include <memory>
#include <string>

namespace corvane {

enum class Which { Data, Mask };

struct WorkbenchOptions {
    std::string field = ClassificationName; ///< of 8 bits
    std::string store;                      ///< of the edits; empty: where the session has it
    Note note = [](const std::string&) {};
};

/// A survey that is edited by hand: selected into a mask, looked at, applied, taken back. Everything is done by the
/// catalogue's modules in a network, is recorded as its actions, and is kept in the edit store before a call returns.
///
/// Each call is one update or several and returns the state behind it. Errors are exceptions: UsageError and
/// StrokeProblem for what makes no sense, Failure, and Interrupted when the session's watch stopped it; they leave
/// everything as it was before the call. One thread may use it, the update thread.
class Workbench {
public:
    /// Opens the survey to edit it, with its store, and what was selected and done before.
    Workbench(std::shared_ptr<const Session> session, const std::string& path, WorkbenchOptions options = {});
    ~Workbench();
    Workbench(const Workbench&) = delete;
    Workbench& operator=(const Workbench&) = delete;

    const WorkbenchState& state() const;

    /// Changes what is selected. Replace loses the history of the mask.
    const WorkbenchState& select(const Stroke& stroke, Selecting how, const SelectionRule& rule = {});

    /// Gives what is selected the class, whose label is made when it has none; one step of the data's history. The
    /// selection goes. What the rule hides is taken out of it first. Throws UsageError when the class is locked, or one
    /// that is selected, and when nothing is selected that is not hidden.
    const WorkbenchState& assign(int value, const SelectionRule& rule = {});

    /// Replaces the selection and assigns at once. Throws UsageError when nothing is selected thereby.
    const WorkbenchState& selectAndAssign(const Stroke& stroke, const SelectionRule& rule, int value);

    /// Nothing is selected afterwards; the history of the mask goes, too.
    const WorkbenchState& clearMask();

    /// One step back or forth. Throws UsageError when there is none.
    const WorkbenchState& undo();
    const WorkbenchState& redo();
    const WorkbenchState& undoMask();
    const WorkbenchState& redoMask();

    /// Undoes or does again until so many steps are done.
    const WorkbenchState& goToStep(Which history, int done);

    /// A locked class can be neither selected in nor assigned. Stored with the data, and no step of a history.
    const WorkbenchState& setLocked(int value, bool locked);

    /// Name and colour of a class, with its flags as they are. Stored in the same way.
    const WorkbenchState& setLabel(int value, const std::string& name, const Sextant::rgba_float_t& colour);

    /// Counts the points of each class, where that is not known yet. Edits keep complete counts complete; at first, and
    /// for a large survey, this takes as long as reading it. When it is stopped, what was counted stays.
    const WorkbenchState& count();

    /// Writes the survey as it is to another file. What could not be kept as it was stands in the status.
    const WorkbenchState& saveCopy(const std::string& path, bool overwrite);

    /// Writes into the survey's own file what differs. The survey is opened anew behind it: `opening` rises. One that
    /// has begun to write is completed whatever the watch says. If the survey cannot be opened again, Failure is
    /// thrown by this and by every later call.
    const WorkbenchState& saveInPlace();

    /// The network file that does what was done since the survey was opened, on the survey as it was then.
    std::string record() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace corvane
