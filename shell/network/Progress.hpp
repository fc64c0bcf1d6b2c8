// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Kesh/objects/VActionNotifier.hpp"
#include "base/Watch.hpp"

#include <chrono>
#include <cstdint>
#include <string>

namespace corvane {

/// What the program does while modules work: shows how far they have come, as a bar on standard error when that is a
/// terminal and the work takes longer than a second; hands on warnings; and lets Ctrl-C stop the work.
class Progress : public Kesh::VActionNotifier {
public:
    explicit Progress(bool quiet);
    ~Progress() override;

    /// False when the user pressed Ctrl-C.
    bool show(std::uint64_t done, std::uint64_t total, const std::string& text);

protected:
    void warn(const std::string& text) override;
    bool progress(std::uint64_t done, std::uint64_t total, const std::string& text) override {
        return show(done, total, text);
    }

private:
    using Clock = std::chrono::steady_clock;
    void clearBar();

    bool quiet_;
    bool drawing_; // standard error is a terminal
    bool shown_ = false;
    std::string text_; // of the work at hand
    Clock::time_point begin_, last_;
};

/// Whether Ctrl-C was pressed since the program started to listen, which it does from the first call on. A second press
/// ends the program.
bool interrupted();

/// Stops a work when Ctrl-C was pressed.
Watch untilInterrupted();

/// Prints a finished sentence on standard error.
void printWarning(const std::string& sentence);

} // namespace corvane
