// SPDX-License-Identifier: Apache-2.0
#include "session/WorkbenchState.hpp"

namespace corvane {

bool isLockedClass(const Kesh::LabelSet& labels, int value) {
    const Kesh::Label* label = labels.find(value);
    if (!label) return false; // it gets one, with the flag, as soon as somebody wants to edit it
    const auto editable = label->flags.find(EditableFlag);
    return editable == label->flags.end() || !editable->second;
}

bool WorkbenchState::isLocked(int value) const { return isLockedClass(*labels, value); }

} // namespace corvane
