// SPDX-License-Identifier: Apache-2.0
#include "Kesh/objects/Vprintf.hpp"

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace Kesh {
namespace {

struct Printing {
    std::mutex mutex;
    int verbosity = 0;
    std::function<void(const std::string&)> sink = [](const std::string& text) { std::fputs(text.c_str(), stdout); };
};

Printing& printing() {
    static Printing instance;
    return instance;
}

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

} // namespace

void Vprintf(int verbosity, const char* format, ...) {
    const std::lock_guard lock(printing().mutex);
    if (verbosity > printing().verbosity) return;
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    printing().sink(text);
}

void setVerbosity(int verbosity) {
    const std::lock_guard lock(printing().mutex);
    printing().verbosity = verbosity;
}

void setVprintfSink(std::function<void(const std::string&)> sink) {
    const std::lock_guard lock(printing().mutex);
    printing().sink = std::move(sink);
}

} // namespace Kesh
