// SPDX-License-Identifier: Apache-2.0
#include "Comparison.hpp"
#include "Paths.hpp"
#include "histogram/FieldHistogram.hpp"

#include <boost/histogram.hpp>
#include <cstdint>
#include <fmt/format.h>
#include <omp.h>
#include <random>
#include <vector>

namespace corvane::bench {
namespace {

constexpr std::size_t Size = 32'000'000;

template <class T>
using Values = std::vector<T>;

/// Runs of up to twice the mean length, classes as surveys have them.
template <class T>
Values<T> runsOf(std::size_t meanLength) {
    constexpr T classes[] = {2, 2, 2, 5, 5, 3, 4, 6, 1, 9, 17};
    std::mt19937 engine(1);
    Values<T> values;
    values.reserve(Size);
    while (values.size() < Size)
        values.insert(values.end(), std::min<std::size_t>(1 + engine() % (2 * meanLength), Size - values.size()),
                      classes[engine() % std::size(classes)]);
    return values;
}

template <class T, class Draw>
Values<T> drawn(Draw draw) {
    std::mt19937 engine(2);
    Values<T> values(Size);
    for (T& value : values) value = static_cast<T>(draw(engine));
    return values;
}

template <class T>
void compare(const std::string& title, const Values<T>& values, double timesBoost) {
    namespace bh = boost::histogram;
    using Histogram = Fiber::FieldHistogram<T>;
    const auto array = Holdfast::create<Fiber::MemArray<T>>(values.size());
    std::copy(values.begin(), values.end(), array->chunk.values.begin());
    const Holdfast::StrongPtr<const Fiber::MemBase> data = array;
    const auto countOn = [&](int threads) {
        omp_set_num_threads(threads);
        keep(Histogram::compute(data, "").get());
    };
    const double amount = 1e-6 * double(values.size());
    Comparison comparison(fmt::format("Count {} bits, {}", 8 * sizeof(T), title), "M values");
    comparison.add("ours, one thread", amount, {}, [&] { countOn(1); });
    comparison.add("floor: add all bytes up, as words", amount, {}, [&] {
        const auto* words = reinterpret_cast<const std::uint64_t*>(values.data());
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < values.size() * sizeof(T) / sizeof *words; ++i) sum += words[i];
        keep(&sum);
    });
    comparison.add("plain loop", amount, {.speedAtLeast = 1}, [&] {
        std::vector<std::uint64_t> counts(Histogram::Bins);
        for (const T value : values) ++counts[value];
        keep(counts.data());
    });
    const std::size_t part = values.size() / 4;
    comparison.add("Boost.Histogram, of a quarter", amount / 4, {.speedAtLeast = timesBoost}, [&] {
        auto histogram = bh::make_histogram_with(
            std::vector<std::uint64_t>(),
            bh::axis::integer<int, bh::use_default, bh::axis::option::none_t>(0, Histogram::Bins));
        histogram.fill(std::vector<T>(values.begin(), values.begin() + std::ptrdiff_t(part)));
        keep(&histogram);
    });
    comparison.print();
    fmt::print("\n");

    Comparison threads("The same on two threads", "M values");
    threads.add("ours, two threads", amount, {}, [&] { countOn(2); });
    threads.add("ours, one thread", amount, {.speedAtLeast = 1.8}, [&] { countOn(1); });
    threads.print();
    fmt::print("\n");
}

} // namespace

void benchCount() {
    using Byte = unsigned char;
    using Word = unsigned short;
    const auto any = [](auto& engine) { return engine(); };
    const auto skewed = [](auto& engine) { return engine() % 10 < 6 ? 2u : engine() % 20; };
    const auto intensity = [distribution = std::normal_distribution<>(900, 250)](auto& engine) mutable {
        return std::max(0.0, distribution(engine));
    };
    compare("uniform", drawn<Byte>(any), 4);
    compare("runs of 40", runsOf<Byte>(40), 7);
    compare("runs of 400", runsOf<Byte>(400), 0);
    compare("no runs, skewed", drawn<Byte>(skewed), 4);
    compare("constant", Values<Byte>(Size, 2), 15);
    compare("uniform", drawn<Word>(any), 2.2);
    compare("intensity", drawn<Word>(intensity), 3.5);
    compare("few values", drawn<Word>(skewed), 3.5);
    compare("constant", Values<Word>(Size, 2), 3.5);
}

} // namespace corvane::bench
