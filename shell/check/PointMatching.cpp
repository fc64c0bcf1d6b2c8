// SPDX-License-Identifier: Apache-2.0
#include "check/PointMatching.hpp"

#include "check/PointIdentity.hpp"

#include <cstring>
#include <numeric>
#include <optional>
#include <vector>

namespace corvane {
namespace {

PointMatching matchByIndex(RecordStream& before, RecordStream& after, const Watch& watch, const UsePairs& use) {
    while (before.next() && after.next()) {
        watch(before.first(), before.total(), ComparingWork);
        use({before.records(), after.records(), before.stride(), after.stride(), before.count(), before.first()});
    }
    return {};
}

/// A stream with the identity of each record.
class IdentifiedStream {
public:
    IdentifiedStream(const LasFile& las, const LasFile& other, std::size_t pieceRecords)
        : stream_(las, pieceRecords), identity_(las, other) {}

    bool next() {
        if (!stream_.next()) return false;
        hashes_.resize(stream_.count());
        identity_.hash(stream_.records(), hashes_);
        return true;
    }
    const RecordStream& stream() const { return stream_; }
    const std::vector<std::uint64_t>& hashes() const { return hashes_; }

private:
    RecordStream stream_;
    PointIdentity identity_;
    std::vector<std::uint64_t> hashes_;
};

/// Goes forward in the larger survey, from one record that is asked for to the next.
class Finder {
public:
    Finder(IdentifiedStream& larger, const Watch& watch) : larger_(larger), watch_(watch) {}

    /// The next record with this identity, valid until the next call; none when the survey ends before.
    std::optional<std::span<const std::byte>> find(std::uint64_t hash) {
        while (available()) {
            const std::size_t found = position_++;
            if (larger_.hashes()[found] == hash) return larger_.stream().records().subspan(found * stride(), stride());
            if (!firstPassed_) firstPassed_ = larger_.stream().first() + found;
        }
        return std::nullopt;
    }

    /// Index of the first record that was passed over, or else of the first that was not reached.
    std::uint64_t firstMissing() const { return firstPassed_.value_or(larger_.stream().first() + position_); }

private:
    std::size_t stride() const { return larger_.stream().stride(); }

    bool available() {
        if (position_ < larger_.hashes().size()) return true;
        if (!larger_.next()) return false;
        position_ = 0;
        watch_(larger_.stream().first(), larger_.stream().total(), ComparingWork);
        return true;
    }

    IdentifiedStream& larger_;
    const Watch& watch_;
    std::size_t position_ = 0; // in the piece at hand
    std::optional<std::uint64_t> firstPassed_;
};

/// Calls `use(smaller, larger)` with records that belong together, compacted. False when some have no partner.
template <class Use>
bool walk(IdentifiedStream& smaller, Finder& finder, std::size_t stride, Use use) {
    std::vector<std::byte> partners;
    while (smaller.next()) {
        partners.resize(smaller.stream().count() * stride);
        for (std::size_t i = 0; i < smaller.stream().count(); ++i) {
            const auto partner = finder.find(smaller.hashes()[i]);
            if (!partner) return false;
            std::memcpy(partners.data() + i * stride, partner->data(), stride);
        }
        use(smaller.stream(), std::span<const std::byte>(partners));
    }
    return true;
}

PointMatching matchByIdentity(const LasFile& before, const LasFile& after, const Watch& watch, const UsePairs& use) {
    using Kind = PointMatching::Kind;
    const bool dropped = after.points->count() < before.points->count();
    const LasFile &large = dropped ? before : after, &small = dropped ? after : before;
    const std::size_t piece = pieceRecordsFor(before, after);
    IdentifiedStream larger(large, small, piece), smaller(small, large, piece);
    Finder finder(larger, watch);
    const std::size_t stride = large.points->recordLength();
    const bool all = walk(smaller, finder, stride, [&](const RecordStream& own, std::span<const std::byte> partners) {
        RecordPairs pairs{partners, own.records(), stride, own.stride(), own.count(), own.first()};
        if (!dropped) {
            std::swap(pairs.before, pairs.after);
            std::swap(pairs.strideBefore, pairs.strideAfter);
        }
        use(pairs);
    });
    const std::uint64_t missing = large.points->count() - small.points->count();
    if (!all) return {Kind::Unknown, missing, 0};
    return {dropped ? Kind::Dropped : Kind::Added, missing, finder.firstMissing()};
}

/// The sum of all hashes, which does not depend on the order.
std::uint64_t digest(const LasFile& las, const LasFile& other, const Watch& watch) {
    IdentifiedStream points(las, other, pieceRecordsFor(las, other));
    std::uint64_t sum = 0;
    while (points.next()) {
        watch(points.stream().first(), points.stream().total(), ComparingWork);
        sum = std::accumulate(points.hashes().begin(), points.hashes().end(), sum);
    }
    return sum;
}

} // namespace

PointMatching matchPoints(const LasFile& before, const LasFile& after, const Watch& watch, const UsePairs& use) {
    if (before.points->count() != after.points->count()) return matchByIdentity(before, after, watch, use);
    const std::size_t piece = pieceRecordsFor(before, after);
    RecordStream earlier(before, piece), later(after, piece);
    return matchByIndex(earlier, later, watch, use);
}

bool samePoints(const LasFile& before, const LasFile& after, const Watch& watch) {
    return before.points->count() == after.points->count() &&
           digest(before, after, watch) == digest(after, before, watch);
}

} // namespace corvane
