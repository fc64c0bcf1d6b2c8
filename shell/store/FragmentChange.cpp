// SPDX-License-Identifier: Apache-2.0
#include "store/FragmentChange.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace corvane {
namespace {

std::uint32_t valueAt(const std::byte* value, int width) {
    std::uint16_t number = 0;
    std::memcpy(&number, value, static_cast<std::size_t>(width));
    return number;
}

/// Consecutive points that differ, as `found(first, count)`; Width is that of the values.
template <std::size_t Width, class Found>
void findDifferences(const std::byte* a, const std::byte* b, std::size_t points, Found found) {
    constexpr std::size_t step = 64 / Width; // points that are compared at once
    const auto differs = [&](std::size_t i) { return std::memcmp(a + i * Width, b + i * Width, Width) != 0; };
    for (std::size_t i = 0; i < points;) {
        while (i + step <= points && std::memcmp(a + i * Width, b + i * Width, 64) == 0) i += step;
        while (i < points && !differs(i)) ++i;
        const std::size_t first = i;
        while (i < points && differs(i)) ++i;
        if (i > first) found(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(i - first));
    }
}

} // namespace

FragmentChange::FragmentChange(int width, std::uint32_t points) : width_(width), points_(points) {
    assert(width == 1 || width == 2);
    assert(points <= MostPoints);
}

FragmentChange FragmentChange::between(int width, std::span<const std::byte> before, std::span<const std::byte> after) {
    assert(before.size() == after.size());
    FragmentChange change(width, static_cast<std::uint32_t>(before.size() / static_cast<std::size_t>(width)));
    const auto found = [&](std::uint32_t first, std::uint32_t count) {
        const std::size_t begin = change.index(first), length = change.index(count);
        change.addRun({first, count});
        change.before_.insert(change.before_.end(), before.data() + begin, before.data() + begin + length);
        change.after_.insert(change.after_.end(), after.data() + begin, after.data() + begin + length);
    };
    if (width == 1)
        findDifferences<1>(before.data(), after.data(), change.points_, found);
    else
        findDifferences<2>(before.data(), after.data(), change.points_, found);
    return change;
}

std::uint32_t FragmentChange::changed() const {
    return static_cast<std::uint32_t>(before_.size() / static_cast<std::size_t>(width_));
}

void FragmentChange::addRun(Run run) {
    if (!runs_.empty() && runs_.back().end() == run.first)
        runs_.back().count += run.count;
    else
        runs_.push_back(run);
}

std::optional<FragmentChange::Mismatch> FragmentChange::apply(std::span<std::byte> values, Direction direction,
                                                              Expect expect) const {
    assert(values.size() == index(points_));
    const auto &from = direction == Direction::Forward ? before_ : after_,
               &to = direction == Direction::Forward ? after_ : before_;
    std::size_t offset = 0;
    for (const Run& run : runs_) {
        const std::byte* present = values.data() + index(run.first);
        if (std::memcmp(present, from.data() + offset, index(run.count)) != 0) {
            for (std::uint32_t i = 0; i < run.count; ++i) {
                const std::uint32_t found = valueAt(present + index(i), width_);
                const std::uint32_t expected = valueAt(from.data() + offset + index(i), width_);
                const bool there = expect == Expect::Either && found == valueAt(to.data() + offset + index(i), width_);
                if (found != expected && !there) return Mismatch{run.first + i, expected, found};
            }
        }
        offset += index(run.count);
    }
    offset = 0;
    for (const Run& run : runs_) {
        std::memcpy(values.data() + index(run.first), to.data() + offset, index(run.count));
        offset += index(run.count);
    }
    return std::nullopt;
}

FragmentChange FragmentChange::inverted() const {
    FragmentChange way = *this;
    std::swap(way.before_, way.after_);
    return way;
}

FragmentChange FragmentChange::then(const FragmentChange& next) const {
    ChangeSum sum(width_, points_);
    sum.add(*this);
    sum.add(next);
    return sum.result();
}

FragmentChange FragmentChange::part(std::uint32_t first, std::uint32_t count) const {
    assert(first <= points_ && count <= points_ - first);
    FragmentChange part(width_, count);
    std::size_t offset = 0;
    for (const Run& run : runs_) {
        const std::uint32_t begin = std::max(run.first, first), end = std::min(run.end(), first + count);
        if (begin < end) {
            const auto from = static_cast<std::ptrdiff_t>(offset + index(begin - run.first));
            const auto to = from + static_cast<std::ptrdiff_t>(index(end - begin));
            part.addRun({begin - first, end - begin});
            part.before_.insert(part.before_.end(), before_.begin() + from, before_.begin() + to);
            part.after_.insert(part.after_.end(), after_.begin() + from, after_.begin() + to);
        }
        if (run.first >= first + count) break;
        offset += index(run.count);
    }
    return part;
}

void FragmentChange::append(const FragmentChange& next) {
    assert(next.width_ == width_ && next.points_ <= MostPoints - points_);
    for (const Run& run : next.runs_) addRun({points_ + run.first, run.count});
    before_.insert(before_.end(), next.before_.begin(), next.before_.end());
    after_.insert(after_.end(), next.after_.begin(), next.after_.end());
    points_ += next.points_;
}

ChangeSum::ChangeSum(int width, std::uint32_t points)
    : nothing_(width, points), listed_(points), before_(nothing_.index(points)), after_(nothing_.index(points)) {}

void ChangeSum::add(const FragmentChange& change, FragmentChange::Direction direction) {
    const int width = nothing_.width();
    if (change.width() != width || change.points() != nothing_.points())
        throw ChangeError(fmt::format("{} values of {} bytes were found where {} of {} are expected", change.points(),
                                      change.width(), nothing_.points(), width));
    const bool forward = direction == FragmentChange::Direction::Forward;
    const std::byte *from = (forward ? change.before() : change.after()).data(),
                    *to = (forward ? change.after() : change.before()).data();
    const auto length = static_cast<std::size_t>(width);
    for (const auto& run : change.runs()) {
        for (std::uint32_t point = run.first; point < run.end(); ++point, from += length, to += length) {
            const std::size_t at = nothing_.index(point);
            if (!listed_[point]) {
                listed_[point] = true;
                std::memcpy(&before_[at], from, length);
            } else if (std::memcmp(&after_[at], from, length) != 0) {
                throw ChangeError(fmt::format("point {} has the value {} where {} is expected", point,
                                              valueAt(&after_[at], width), valueAt(from, width)));
            }
            std::memcpy(&after_[at], to, length);
        }
    }
}

FragmentChange ChangeSum::result() const {
    FragmentChange sum = nothing_;
    const auto length = static_cast<std::size_t>(nothing_.width());
    for (std::uint32_t point = 0; point < nothing_.points(); ++point) {
        const std::size_t at = nothing_.index(point);
        if (!listed_[point] || std::memcmp(&before_[at], &after_[at], length) == 0) continue;
        sum.addRun({point, 1});
        sum.before_.insert(sum.before_.end(), &before_[at], &before_[at] + length);
        sum.after_.insert(sum.after_.end(), &after_[at], &after_[at] + length);
    }
    return sum;
}

} // namespace corvane
