// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

namespace corvane {

/// A job that cannot be done: `what()` is one finished sentence that says where, what was found, what was expected and
/// what to do. The program prints it and ends with status 1.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A call that makes no sense as it stands (options, keys, names, values). The program ends with status 2.
struct UsageError : Failure {
    using Failure::Failure;
};

/// An answer that was given, but is not clean or not whole. The program ends with status 3.
struct NotClean : Failure {
    using Failure::Failure;
};

} // namespace corvane
