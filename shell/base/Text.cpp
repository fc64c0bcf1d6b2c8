// SPDX-License-Identifier: Apache-2.0
#include "base/Text.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace corvane {
namespace {

struct Character {
    std::uint32_t code = 0;
    std::size_t bytes = 0; ///< 0: no UTF-8
};

std::uint8_t byteAt(std::string_view text, std::size_t i) { return i < text.size() ? std::uint8_t(text[i]) : 0; }

/// The character that the text, which is not empty, begins with.
Character firstOf(std::string_view text) {
    const std::uint8_t lead = byteAt(text, 0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t bytes = lead >= 0xF8 ? 0 : lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC2 ? 2 : 0;
    if (bytes == 0) return {};
    std::uint32_t code = lead & (0x7Fu >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((byteAt(text, i) & 0xC0) != 0x80) return {};
        code = code << 6 | (byteAt(text, i) & 0x3Fu);
    }
    constexpr std::uint32_t Smallest[] = {0, 0, 0x80, 0x800, 0x10000}; // of so many bytes
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    return code < Smallest[bytes] || code > 0x10FFFF || surrogate ? Character() : Character{code, bytes};
}

/// C0, DEL and C1, the separators of lines and paragraphs, and what turns the direction of writing.
bool steers(std::uint32_t code) {
    return code < 0x20 || (code >= 0x7F && code <= 0x9F) || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

/// Each character, or byte that is none, as `show` writes it; as it is where that is empty.
template <class Show>
std::string rewritten(std::string_view text, Show show) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto printable = std::ranges::find_if_not(text, [](char c) { return c >= ' ' && c <= '~'; });
        result.append(text.begin(), printable); // nobody shows these otherwise
        text.remove_prefix(static_cast<std::size_t>(printable - text.begin()));
        if (text.empty()) break;
        const Character character = firstOf(text);
        const std::string_view bytes = text.substr(0, character.bytes == 0 ? 1 : character.bytes);
        const std::string shown = show(character, bytes);
        result += shown.empty() ? bytes : shown;
        text.remove_prefix(bytes.size());
    }
    return result;
}

std::string inHex(std::string_view bytes) {
    std::string hex;
    for (const char byte : bytes) hex += fmt::format("\\x{:02X}", std::uint8_t(byte));
    return hex;
}

} // namespace

std::string escaped(std::string_view text) {
    return rewritten(text, [](const Character& character, std::string_view bytes) {
        return character.bytes == 0 || steers(character.code) ? inHex(bytes) : "";
    });
}

std::string asUtf8(std::string_view text) {
    return rewritten(text, [](const Character& character, std::string_view bytes) {
        return character.bytes == 0 ? inHex(bytes) : "";
    });
}

std::string escapedJson(std::string_view document) {
    return rewritten(document, [](const Character& character, std::string_view) {
        const bool layout = character.code < 0x20; // the document's own lines
        return !layout && steers(character.code) ? fmt::format("\\u{:04x}", character.code) : "";
    });
}

std::string timeText(std::int64_t time) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S}", fmt::localtime(std::time_t(time)));
}

std::string pointsText(std::uint64_t count) { return fmt::format("{} point{}", count, count == 1 ? "" : "s"); }

} // namespace corvane
