// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

namespace Holdfast {

/// Measures a section of code, from its construction to its destruction, for whoever listens.
class Profiler {
public:
    /// The text must live as long as the section.
    explicit Profiler(const char* section) : section_(section) {}
    ~Profiler();
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    /// Who hears of every section that ends, one at a time, of whatever thread; at first nobody.
    using Sink = std::function<void(const char* section, std::chrono::nanoseconds taken)>;
    static void setSink(Sink sink);

private:
    using Clock = std::chrono::steady_clock;
    const char* section_;
    Clock::time_point begin_ = Clock::now();
};

} // namespace Holdfast
