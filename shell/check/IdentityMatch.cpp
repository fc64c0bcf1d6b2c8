// SPDX-License-Identifier: Apache-2.0
#include "check/IdentityMatch.hpp"

#include "check/PointIdentity.hpp"
#include "check/RecordStream.hpp"
#include "las/PointCodec.hpp"

#include <algorithm>
#include <span>

namespace corvane {
namespace {

struct Entry {
    std::uint64_t identity = 0;
    std::array<std::int32_t, 3> stored{};
    std::uint16_t value = 0;
};

/// Those of the survey whose identity is in one of `parts` equal parts of all, sorted by it. The first part counts the
/// values of all points.
class EntryReader {
public:
    EntryReader(const LasFile& las, const LasFile& other, Dimension field, const Watch& watch)
        : las_(las), identity_(las, other), field_(std::move(field)), watch_(watch) {}

    std::vector<Entry> read(std::uint64_t part, std::uint64_t parts, std::map<std::uint16_t, std::uint64_t>& counts) {
        std::vector<Entry> entries;
        entries.reserve(static_cast<std::size_t>(las_.points->count() / parts + las_.points->count() / parts / 8));
        RecordStream stream(las_, las_.points->recordsIn(PointReader::CachedBytes));
        std::vector<std::uint64_t> identities;
        std::vector<double> values;
        while (stream.next()) {
            watch_(part * stream.total() + stream.first(), parts * stream.total(), "Matching " + las_.file->path());
            identities.resize(stream.count());
            values.resize(stream.count());
            identity_.hash(stream.records(), identities);
            decodeNumbers(stream.records(), stream.stride(), field_, std::span(values));
            for (std::size_t i = 0; i < stream.count(); ++i) {
                const auto value = static_cast<std::uint16_t>(values[i]);
                if (part == 0) ++counts[value];
                if (identities[i] % parts != part) continue;
                const std::byte* record = stream.records().data() + i * stream.stride();
                const auto stored = [&](std::size_t axis) { return codec::integerAt(record + 4 * axis); };
                entries.push_back({identities[i], {stored(0), stored(1), stored(2)}, value});
            }
        }
        std::ranges::sort(entries, {}, &Entry::identity);
        return entries;
    }

private:
    const LasFile& las_;
    PointIdentity identity_;
    Dimension field_;
    const Watch& watch_;
};

/// Behind the entries that have the same identity as this one.
std::size_t endOfSame(const std::vector<Entry>& entries, std::size_t i) {
    std::size_t end = i + 1;
    while (end < entries.size() && entries[end].identity == entries[i].identity) ++end;
    return end;
}

class Joiner {
public:
    Joiner(const LasHeader& header, ChangeClusters* clusters, IdentityMatch& match)
        : header_(header), clusters_(clusters), match_(match) {}

    void join(const std::vector<Entry>& before, const std::vector<Entry>& after) {
        std::size_t b = 0, a = 0;
        while (b < before.size() && a < after.size()) {
            if (before[b].identity < after[a].identity) {
                ++match_.onlyBefore, ++b;
                continue;
            }
            if (after[a].identity < before[b].identity) {
                ++match_.onlyAfter, ++a;
                continue;
            }
            const std::size_t endBefore = endOfSame(before, b), endAfter = endOfSame(after, a);
            if (endBefore - b == 1 && endAfter - a == 1)
                pair(before[b], after[a]);
            else
                pairAlike(std::span(before).subspan(b, endBefore - b), std::span(after).subspan(a, endAfter - a));
            b = endBefore, a = endAfter;
        }
        match_.onlyBefore += before.size() - b;
        match_.onlyAfter += after.size() - a;
    }

private:
    void pair(const Entry& before, const Entry& after) {
        ++match_.matched;
        ++match_.transitions.counts[{before.value, after.value}];
        if (!clusters_ || before.value == after.value) return;
        std::array<double, 3> position{};
        for (std::size_t axis = 0; axis < 3; ++axis)
            position[axis] = before.stored[axis] * header_.scale[axis] + header_.offset[axis];
        clusters_->add(position, {before.value, after.value});
    }

    /// Points that cannot be told apart need not be when they have the same values in both.
    void pairAlike(std::span<const Entry> before, std::span<const Entry> after) {
        const auto valuesOf = [](std::span<const Entry> entries) {
            std::vector<std::uint16_t> values;
            for (const Entry& entry : entries) values.push_back(entry.value);
            std::ranges::sort(values);
            return values;
        };
        const auto values = valuesOf(before);
        if (values != valuesOf(after)) {
            match_.alike += before.size();
            return;
        }
        match_.matched += values.size();
        for (const std::uint16_t value : values) ++match_.transitions.counts[{value, value}];
    }

    const LasHeader& header_;
    ChangeClusters* clusters_;
    IdentityMatch& match_;
};

} // namespace

IdentityMatch matchByIdentity(const LasFile& before, const Dimension& fieldBefore, const LasFile& after,
                              const Dimension& fieldAfter, std::size_t memory, const Watch& watch,
                              ChangeClusters* clusters) {
    const std::uint64_t bytes = (before.points->count() + after.points->count()) * sizeof(Entry);
    const std::uint64_t parts = bytes / std::max<std::size_t>(memory, 1 << 20) + 1;
    EntryReader earlier(before, after, fieldBefore, watch), later(after, before, fieldAfter, watch);
    IdentityMatch match;
    Joiner joiner(before.header, clusters, match);
    for (std::uint64_t part = 0; part < parts; ++part) {
        const std::vector<Entry> entries = earlier.read(part, parts, match.before);
        joiner.join(entries, later.read(part, parts, match.after));
    }
    return match;
}

} // namespace corvane
