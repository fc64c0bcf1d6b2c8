// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace corvane::test {

inline bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// What the function says when it throws a Problem; empty when it throws nothing.
template <class Problem, class Function>
std::string messageOf(Function function) {
    try {
        function();
        return {};
    } catch (const Problem& problem) {
        return problem.what();
    }
}

} // namespace corvane::test
