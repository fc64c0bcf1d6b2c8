// SPDX-License-Identifier: Apache-2.0
#include "command/Terminal.hpp"

#include "base/Text.hpp"
#include "command/Signals.hpp"

#include <fmt/format.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr auto ShownAfter = std::chrono::seconds(1);
constexpr auto RedrawnEvery = std::chrono::milliseconds(100);
constexpr int BarWidth = 30;

} // namespace

void printWarning(const std::string& sentence) { fmt::print(stderr, "corvane: warning: {}\n", escaped(sentence)); }

Terminal::Terminal(bool quiet) : quiet_(quiet), drawing_(!quiet && isatty(STDERR_FILENO) == 1) {}

Watch Terminal::watch() {
    return Watch([this](std::uint64_t done, std::uint64_t total, const std::string& work) {
        if (drawing_) show(done, total, work);
        return caughtSignal() == 0;
    });
}

void Terminal::show(std::uint64_t done, std::uint64_t total, const std::string& work) {
    const auto now = Clock::now();
    if (work != work_) {
        clearBar();
        work_ = work;
        begin_ = now;
    }
    if (now - begin_ <= ShownAfter || now - last_ <= RedrawnEvery) return;
    const double part = total > 0 ? double(done) / double(total) : 1;
    const int filled = static_cast<int>(part * BarWidth);
    fmt::print(stderr, "\r{} [{:=<{}}{:{}}] {:3.0f} %", escaped(work), "", filled, "", BarWidth - filled, part * 100);
    shown_ = true;
    last_ = now;
}

void Terminal::clearBar() {
    if (shown_) fmt::print(stderr, "\r\x1b[K");
    shown_ = false;
}

void Terminal::warn(const std::string& sentence) {
    if (quiet_) return;
    clearBar();
    printWarning(sentence);
}

void Terminal::note(const std::string& sentence) {
    if (quiet_) return;
    clearBar();
    fmt::print(stderr, "corvane: note: {}\n", escaped(sentence));
}

} // namespace corvane
