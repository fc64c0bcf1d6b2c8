// SPDX-License-Identifier: Apache-2.0
#include "network/Progress.hpp"

#include <csignal>
#include <fmt/format.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr auto ShownAfter = std::chrono::seconds(1);
constexpr auto RedrawnEvery = std::chrono::milliseconds(100);
constexpr int BarWidth = 30;

volatile std::sig_atomic_t interruption = 0;

void interrupt(int) {
    interruption = 1;
    std::signal(SIGINT, SIG_DFL);
}

} // namespace

bool interrupted() {
    static const auto listening = std::signal(SIGINT, interrupt);
    (void)listening;
    return interruption != 0;
}

Watch untilInterrupted() {
    return Watch([](std::uint64_t, std::uint64_t, const std::string&) { return !interrupted(); });
}

void printWarning(const std::string& sentence) { fmt::print(stderr, "corvane: warning: {}\n", sentence); }

Progress::Progress(bool quiet) : quiet_(quiet), drawing_(!quiet && isatty(STDERR_FILENO) == 1) { interrupted(); }

Progress::~Progress() { clearBar(); }

bool Progress::show(std::uint64_t done, std::uint64_t total, const std::string& text) {
    const auto now = Clock::now();
    if (text != text_) {
        clearBar();
        text_ = text;
        begin_ = now;
    }
    if (drawing_ && now - begin_ > ShownAfter && now - last_ > RedrawnEvery) {
        const double part = total > 0 ? double(done) / double(total) : 1;
        const int filled = static_cast<int>(part * BarWidth);
        fmt::print(stderr, "\r{} [{:=<{}}{:{}}] {:3.0f} %", text, "", filled, "", BarWidth - filled, part * 100);
        shown_ = true;
        last_ = now;
    }
    return !interrupted();
}

void Progress::clearBar() {
    if (shown_) fmt::print(stderr, "\r\x1b[K");
    shown_ = false;
}

void Progress::warn(const std::string& text) {
    if (quiet_) return;
    clearBar();
    printWarning(text);
}

} // namespace corvane
