// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fmt/format.h>

namespace corvane::bench {
namespace {

constexpr int Turns = 9;
constexpr double QuietShare = 0.97; // of the processor; with less, other programs were in the way

double secondsOf(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + values.size() / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

void Comparison::add(std::string name, double amount, Ask ask, std::function<void()> run,
                     std::function<void()> prepare) {
    ways_.push_back({std::move(name), amount, ask, std::move(run), std::move(prepare), {}, {}});
}

void Comparison::runOnce(Way& way) {
    if (way.prepare) way.prepare();
    const double cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID), wall = secondsOf(CLOCK_MONOTONIC);
    way.run();
    way.seconds.push_back(secondsOf(CLOCK_MONOTONIC) - wall);
    way.cpuShare.push_back((secondsOf(CLOCK_PROCESS_CPUTIME_ID) - cpu) / way.seconds.back());
}

void Comparison::print(double rateAtLeast) {
    for (Way& way : ways_) { // touches memory and fills caches
        if (way.prepare) way.prepare();
        way.run();
    }
    for (int turn = 0; turn < Turns; ++turn)
        for (Way& way : ways_) runOnce(way);
    fmt::print("{}\n  {:<34} {:>9} {:>11} {:>9} {:>9} {:>8}\n", title_, "", "ms", unit_ + "/s", "cpu/wall", "ratio",
               "ask");
    for (const Way& way : ways_) printRow(way);
    if (rateAtLeast > 0) fmt::print("  asked of ours: {:.0f} {}/s\n", rateAtLeast, unit_);
    std::fflush(stdout);
}

void Comparison::printRow(const Way& way) const {
    const double seconds = median(way.seconds), cpuShare = median(way.cpuShare);
    const bool disturbed = boundBy_ == BoundBy::Computing && cpuShare < QuietShare;
    fmt::print("  {:<34} {:>9.2f} {:>11.1f} {:>9.2f} {}{}\n", way.name, 1e3 * seconds, way.amount / seconds, cpuShare,
               &way == &ways_.front() ? "" : comparedWith(way), disturbed ? "  not to be judged" : "");
}

/// The ratio of ours to this way, and the ask.
std::string Comparison::comparedWith(const Way& way) const {
    const Way& ours = ways_.front();
    const bool asksTime = way.ask.timeAtMost > 0;
    const double ask = asksTime ? way.ask.timeAtMost : way.ask.speedAtLeast;
    std::vector<double> ratios;
    for (std::size_t turn = 0; turn < way.seconds.size(); ++turn) {
        const double speed = ours.amount / ours.seconds[turn] * way.seconds[turn] / way.amount;
        ratios.push_back(asksTime ? 1 / speed : speed);
    }
    const std::string asked = ask > 0 ? fmt::format("{} {:.2f}", asksTime ? "<=" : ">=", ask) : "";
    return fmt::format("{:>9.2f} {:>8}", median(ratios), asked);
}

} // namespace corvane::bench
