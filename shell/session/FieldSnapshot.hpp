// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/Representation.hpp"

#include <string>

namespace corvane {

/// A field and its history as they are, so that edits can be taken back without a trace. Nothing is copied but
/// pointers. Undo and redo are not taken back thereby: they change the steps themselves.
class FieldSnapshot {
public:
    FieldSnapshot(Fiber::Representation& points, std::string name);

    /// Everything is as it was, the same arrays and steps.
    void restore();

private:
    Fiber::Representation& points_;
    std::string name_;
    Holdfast::StrongPtr<Fiber::Field> field_; // null: there was none
    Holdfast::StrongPtr<Fiber::Field> arrays_;
    Fiber::HistoryIndex::Steps steps_;
};

} // namespace corvane
