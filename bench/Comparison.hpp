// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace corvane::bench {

/// Hands the compiler a result that it must not leave out.
inline void keep(const void* result) { asm volatile("" : : "g"(result) : "memory"); }

/// What is asked of ours. Zero: nothing, the row is for orientation.
struct Ask {
    double speedAtLeast = 0; ///< times that of the other way
    double timeAtMost = 0;   ///< times that of the other way
};

/// Several ways of doing the same work, ours first. They run in turns in one process, so that a noisy machine is noisy
/// for all of them; a ratio is the median of the ratios of the turns.
class Comparison {
public:
    enum class BoundBy { Computing, Disc };

    /// `unit` is of the amounts: "M points", "MB".
    Comparison(std::string title, std::string unit, BoundBy boundBy = BoundBy::Computing)
        : title_(std::move(title)), unit_(std::move(unit)), boundBy_(boundBy) {}

    /// A way that does `amount` of the work; the first is ours. A slow one may do a part only. `prepare` runs before
    /// each turn and does not count.
    void add(std::string name, double amount, Ask ask, std::function<void()> run, std::function<void()> prepare = {});

    /// Runs everything and prints the table. `rateAtLeast` is asked of ours alone, in units per second.
    void print(double rateAtLeast = 0);

private:
    struct Way {
        std::string name;
        double amount;
        Ask ask;
        std::function<void()> run, prepare;
        std::vector<double> seconds, cpuShare; ///< by turn
    };

    static void runOnce(Way& way);
    void printRow(const Way& way) const;
    std::string comparedWith(const Way& way) const;

    std::string title_, unit_;
    BoundBy boundBy_;
    std::vector<Way> ways_;
};

} // namespace corvane::bench
