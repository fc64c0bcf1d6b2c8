// SPDX-License-Identifier: Apache-2.0
#include "Kesh/editing/UndoStack.hpp"

#include <algorithm>
#include <cctype>

namespace Kesh {
namespace {

/// " mask" makes "Mask".
std::string actionSuffix(std::string suffix) {
    std::erase(suffix, ' ');
    if (!suffix.empty()) suffix[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(suffix[0])));
    return suffix;
}

} // namespace

ParameterTable UndoStack::parameters(const Introduction& introduction) {
    const std::string suffix = actionSuffix(introduction.suffix);
    const std::string what = std::string(introduction.suffix) + (introduction.primary ? " data" : "");
    return {{.name = "undo" + suffix,
             .initial = Action(),
             .help = "Takes the last change of the" + what + " back.",
             .properties = {{"icon", introduction.undoIcon}}},
            {.name = "redo" + suffix,
             .initial = Action(),
             .help = "Makes the change of the" + what + " again that was undone last.",
             .properties = {{"icon", introduction.redoIcon}}}};
}

UndoStack::UndoStack(VObject& owner, const Introduction& introduction)
    : owner_(owner),
      undo_(owner, "undo" + actionSuffix(introduction.suffix)),
      redo_(owner, "redo" + actionSuffix(introduction.suffix)) {}

UndoStack::Press UndoStack::take(const ValuePool& pool, Holdfast::Ageable::Age& served) const {
    const auto pressed = [&](const auto& action) {
        return owner_.hasChanged(*action, pool) && action->ValueAge(pool) > served;
    };
    const Press press = pressed(undo_) ? Press::Undo : pressed(redo_) ? Press::Redo : Press::None;
    if (press != Press::None) served = std::max(undo_->ValueAge(pool), redo_->ValueAge(pool));
    return press;
}

} // namespace Kesh
