// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace corvane {

/// A text from a file as it may be shown: control characters and bytes that are no UTF-8 as \xNN, byte by byte; all
/// else as it is. What is shown can then neither steer a terminal nor break JSON.
std::string escaped(std::string_view text);

} // namespace corvane
