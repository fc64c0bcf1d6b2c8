// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/Watch.hpp"

#include <nlohmann/json.hpp>

#include <chrono>
#include <string>

namespace corvane {

/// The text in a colour (a code of ECMA-48, section 8.3.117) where the descriptor is a terminal, and the environment
/// has no NO_COLOR; else as it is.
std::string coloured(const std::string& text, const char* code, int descriptor);
constexpr char Red[] = "31", Yellow[] = "33", Bold[] = "1", Plain[] = "0";

/// Prints a finished sentence on standard error.
void printWarning(const std::string& sentence);

/// From now on this process tells its parent what it would print on standard error, by this descriptor.
void tellParent(int descriptor);

/// Sends a line to the parent.
void sendToParent(const nlohmann::ordered_json& message);

/// The person in front of the program: a bar on standard error, when that is a terminal and the work takes longer than
/// a second, warnings, and signals that stop the work.
class Terminal {
public:
    explicit Terminal(bool quiet);
    ~Terminal() { clearBar(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Shows how far a work has come. Must not outlive this.
    Watch watch();

    /// A finished sentence; nothing when quiet.
    void warn(const std::string& sentence);

    /// The same for what is no mistake, but worth knowing.
    void note(const std::string& sentence);

    void clearBar();

private:
    using Clock = std::chrono::steady_clock;
    void show(std::uint64_t done, std::uint64_t total, const std::string& work);
    void draw(double part, double seconds);

    bool quiet_;
    bool drawing_; // standard error is a terminal
    bool shown_ = false;
    std::string work_; // at hand
    Clock::time_point begin_, last_;
    std::uint64_t movedBefore_ = 0; // bytes, when the work began
};

} // namespace corvane
