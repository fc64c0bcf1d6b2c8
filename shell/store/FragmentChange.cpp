// SPDX-License-Identifier: Apache-2.0
#include "store/FragmentChange.hpp"

#include "base/ByteCode.hpp"
#include "store/FieldValues.hpp"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace corvane {
namespace {

using Run = FragmentChange::Run;
using Mismatch = FragmentChange::Mismatch;

constexpr std::uint32_t LongRun = 16; // from which a call for all of it pays

/// The first value that is neither what is to be replaced nor, where that will do, what it becomes.
template <class Value>
std::optional<Mismatch> findMismatch(const std::vector<Run>& runs, const std::byte* values, const std::byte* from,
                                     const std::byte* to, bool either) {
    std::size_t at = 0;
    for (const Run& run : runs) {
        const std::size_t length = run.count * sizeof(Value);
        const bool same = run.count >= LongRun &&
                          std::memcmp(values + run.first * sizeof(Value), from + at * sizeof(Value), length) == 0;
        for (std::uint32_t i = 0; i < (same ? 0 : run.count); ++i) {
            const Value found = loadValue<Value>(values, run.first + i), expected = loadValue<Value>(from, at + i);
            if (found != expected && !(either && found == loadValue<Value>(to, at + i)))
                return Mismatch{run.first + i, expected, found};
        }
        at += run.count;
    }
    return std::nullopt;
}

template <class Value>
void putValues(const std::vector<Run>& runs, std::byte* values, const std::byte* to) {
    std::size_t at = 0;
    for (const Run& run : runs) {
        if (run.count >= LongRun)
            std::memcpy(values + run.first * sizeof(Value), to + at * sizeof(Value), run.count * sizeof(Value));
        else
            for (std::uint32_t i = 0; i < run.count; ++i)
                storeValue(values, run.first + i, loadValue<Value>(to, at + i));
        at += run.count;
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
    withWidth(width, [&](auto value) { change.find<decltype(value)>(before.data(), after.data()); });
    return change;
}

/// Notes what differs. In a block of which a part does, each value and each border is written and only counted when it
/// differs, since the processor cannot guess that of scattered points.
template <class Value>
void FragmentChange::find(const std::byte* a, const std::byte* b) {
    constexpr std::size_t Block = 256;  // points
    std::vector<std::uint32_t> borders; // where a run begins, where it ends, and so on
    bool inRun = false;
    for (std::size_t first = 0; first < points_; first += Block) {
        const std::size_t count = std::min<std::size_t>(Block, points_ - first), offset = first * sizeof(Value);
        const std::size_t differences = countDifferences<Value>(a + offset, b + offset, count);
        if (differences == 0 || differences == count) {
            const bool differs = differences > 0;
            if (differs != inRun) borders.push_back(static_cast<std::uint32_t>(first));
            inRun = differs;
            before_.insert(before_.end(), a + offset, a + offset + differences * sizeof(Value));
            after_.insert(after_.end(), b + offset, b + offset + differences * sizeof(Value));
            continue;
        }
        std::size_t kept = before_.size() / sizeof(Value), border = borders.size();
        before_.resize((kept + differences + 1) * sizeof(Value)); // one more, which is written and not kept
        after_.resize(before_.size());
        borders.resize(border + count + 1);
        std::byte *const keptBefore = before_.data(), *const keptAfter = after_.data(); // stay in registers
        std::uint32_t* const written = borders.data();
        for (std::size_t i = first; i < first + count; ++i) {
            const Value before = loadValue<Value>(a, i), after = loadValue<Value>(b, i);
            const bool differs = before != after;
            storeValue(keptBefore, kept, before);
            storeValue(keptAfter, kept, after);
            kept += differs;
            written[border] = static_cast<std::uint32_t>(i);
            border += differs != inRun;
            inRun = differs;
        }
        before_.resize(kept * sizeof(Value));
        after_.resize(before_.size());
        borders.resize(border);
    }
    if (inRun) borders.push_back(points_);
    runs_.reserve(borders.size() / 2);
    for (std::size_t i = 0; i < borders.size(); i += 2) runs_.push_back({borders[i], borders[i + 1] - borders[i]});
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
    const bool forward = direction == Direction::Forward;
    const std::byte *from = forward ? before_.data() : after_.data(), *to = forward ? after_.data() : before_.data();
    return withWidth(width_, [&](auto value) {
        using Value = decltype(value);
        const auto mismatch = findMismatch<Value>(runs_, values.data(), from, to, expect == Expect::Either);
        if (!mismatch) putValues<Value>(runs_, values.data(), to);
        return mismatch;
    });
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
        throw BadBytes(fmt::format("{} values of {} bytes were found where {} of {} are expected", change.points(),
                                   change.width(), nothing_.points(), width));
    const bool forward = direction == FragmentChange::Direction::Forward;
    const std::byte *from = (forward ? change.before() : change.after()).data(),
                    *to = (forward ? change.after() : change.before()).data();
    withWidth(width, [&](auto value) { addValues<decltype(value)>(change.runs(), from, to); });
}

template <class Value>
void ChangeSum::addValues(const std::vector<Run>& runs, const std::byte* from, const std::byte* to) {
    std::byte *const first = before_.data(), *const last = after_.data();
    std::uint8_t* const listed = listed_.data();
    std::size_t at = 0;
    for (const Run& run : runs) {
        for (std::uint32_t point = run.first; point < run.end(); ++point, ++at) {
            const Value expected = loadValue<Value>(from, at), present = loadValue<Value>(last, point);
            if (listed[point] == 0)
                storeValue(first, point, expected);
            else if (present != expected)
                throw BadBytes(fmt::format("point {} has the value {} where {} is expected", point, present, expected));
            listed[point] = 1;
            storeValue(last, point, loadValue<Value>(to, at));
        }
    }
}

FragmentChange ChangeSum::result() const {
    // What no change listed is the same on both sides.
    return FragmentChange::between(nothing_.width(), before_, after_);
}

} // namespace corvane
