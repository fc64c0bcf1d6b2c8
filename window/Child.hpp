// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <utility>

namespace corvane {

/// Makes an object that its parent owns, which must not be null. The parent goes behind the other arguments.
template <class T, class Parent, class... Arguments>
T* childOf(Parent* parent, Arguments&&... arguments) {
    return std::make_unique<T>(std::forward<Arguments>(arguments)..., parent).release();
}

} // namespace corvane
