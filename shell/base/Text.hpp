// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace corvane {

/// A text from a file as it may be shown: control characters and bytes that are no UTF-8 as \xNN, byte by byte; all
/// else as it is. What is shown cannot steer a terminal.
std::string escaped(std::string_view text);

/// Only the bytes that are no UTF-8 as \xNN, for a text that goes into JSON, such as the name of a file.
std::string asUtf8(std::string_view text);

/// A JSON document for a terminal: what steers it, which JSON allows in texts, as \uNNNN there.
std::string escapedJson(std::string_view document);

/// "1 point", "12 points".
std::string pointsText(std::uint64_t count);

/// "2026-03-12 14:03:59", of this place. `time` is in seconds since 1970.
std::string timeText(std::int64_t time);

} // namespace corvane
