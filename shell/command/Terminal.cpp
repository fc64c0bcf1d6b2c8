// SPDX-License-Identifier: Apache-2.0
#include "command/Terminal.hpp"

#include "base/Text.hpp"
#include "command/Signals.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <fmt/format.h>
#include <fstream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace corvane {
namespace {

constexpr auto ShownAfter = std::chrono::seconds(1);
constexpr auto RedrawnEvery = std::chrono::milliseconds(100);
constexpr int BarWidth = 30, NarrowestBar = 5;

int parent = -1; // the descriptor by which it is told

void printSentence(const char* grade, const char* colour, const std::string& sentence) {
    if (parent >= 0) return sendToParent({{grade, sentence}});
    fmt::print(stderr, "corvane: {}: {}\n", coloured(grade, colour, STDERR_FILENO), escaped(sentence));
}

int columnsOfWindow() {
    struct winsize window {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 ? window.ws_col : 80;
}

/// What the process has read or written so far, whichever is more: all works move bytes, whatever they count in. See
/// proc(5), "io".
std::uint64_t movedBytes() {
    std::ifstream counters("/proc/self/io");
    std::string name;
    std::uint64_t value = 0, most = 0;
    while (counters >> name >> value)
        if (name == "rchar:" || name == "wchar:") most = std::max(most, value);
    return most;
}

/// Nothing for less than a megabyte a second, as where points are in memory already.
std::string rateText(std::uint64_t bytes, double seconds) {
    const double rate = static_cast<double>(bytes) / 1e6 / seconds;
    return rate >= 1 ? fmt::format(", {:.0f} MB/s", rate) : "";
}

std::string timeText(double seconds) {
    const long whole = std::lround(seconds);
    return whole < 60 ? fmt::format("{} s", whole) : fmt::format("{}:{:02} min", whole / 60, whole % 60);
}

} // namespace

std::string coloured(const std::string& text, const char* code, int descriptor) {
    const char* refused = std::getenv("NO_COLOR");
    if ((refused && *refused) || isatty(descriptor) != 1) return text;
    return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

void printWarning(const std::string& sentence) { printSentence("warning", Yellow, sentence); }

void tellParent(int descriptor) { parent = descriptor; }

void sendToParent(const nlohmann::ordered_json& message) {
    const std::string line = message.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
    for (std::size_t sent = 0; sent < line.size();) {
        const ssize_t written = write(parent, line.data() + sent, line.size() - sent);
        if (written < 0 && errno != EINTR) return; // nobody listens any more
        if (written > 0) sent += static_cast<std::size_t>(written);
    }
}

Terminal::Terminal(bool quiet) : quiet_(quiet), drawing_(parent >= 0 || (!quiet && isatty(STDERR_FILENO) == 1)) {}

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
        movedBefore_ = parent >= 0 ? 0 : movedBytes();
    }
    const auto shownAfter = parent >= 0 ? Clock::duration::zero() : ShownAfter;
    if (now - begin_ <= shownAfter || now - last_ <= RedrawnEvery) return;
    last_ = now;
    if (parent >= 0) return sendToParent({{"work", work}, {"done", done}, {"total", total}});
    draw(total > 0 ? double(done) / double(total) : 1, std::chrono::duration<double>(now - begin_).count());
}

void Terminal::draw(double part, double seconds) {
    const std::string left = part > 0 ? ", " + timeText(seconds / part - seconds) + " left" : "";
    const std::string rate = rateText(movedBytes() - movedBefore_, seconds);
    const std::string end = fmt::format("] {:3.0f} %{}{}", part * 100, left, rate);
    const int columns = columnsOfWindow() - 1; // a full line would wrap
    const int room = columns - static_cast<int>(end.size()) - 3;
    std::string work = escaped(work_);
    const int width = std::clamp(room - static_cast<int>(work.size()), NarrowestBar, BarWidth);
    if (static_cast<int>(work.size()) > room - width) work.resize(static_cast<std::size_t>(std::max(room - width, 0)));
    const int filled = static_cast<int>(part * width);
    const std::string line = fmt::format("{} [{:=<{}}{:{}}{}", work, "", filled, "", width - filled, end);
    fmt::print(stderr, "\r\x1b[K{}", line.substr(0, static_cast<std::size_t>(std::max(columns, 0))));
    shown_ = true;
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
    printSentence("note", Plain, sentence);
}

} // namespace corvane
