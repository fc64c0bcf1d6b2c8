// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace corvane {

class ChangeSum;

/// What changed in the values of one fragment: which points, and their values before and after. Values have a width of
/// 1 or 2 bytes and are little endian, as they lie in memory.
///
/// Rules: the runs of changed points are sorted, not empty and do not touch each other; before and after differ in
/// every point that is listed; a change of no point is allowed. Changes are values; making, encoding and applying
/// them is safe on any thread.
class FragmentChange {
public:
    /// More points than any fragment has; what claims more is damaged.
    static constexpr std::uint32_t MostPoints = std::uint32_t{1} << 24;

    /// Consecutive changed points.
    struct Run {
        std::uint32_t first = 0, count = 0;
        std::uint32_t end() const { return first + count; }
        bool operator==(const Run&) const = default;
    };

    enum class Direction { Forward, Backward };

    /// What is accepted where a value is replaced: only the one that the change knows, or also the one that it puts
    /// there, as in a file of which only a part was written.
    enum class Expect { Replaced, Either };

    /// The first point whose value is not the one that the change is to replace.
    struct Mismatch {
        std::uint32_t point = 0;
        std::uint32_t expected = 0, found = 0;
    };

    /// A change of nothing in so many points of so many bytes each.
    FragmentChange(int width, std::uint32_t points);

    /// What leads from one to the other; both have the same length, a multiple of the width.
    static FragmentChange between(int width, std::span<const std::byte> before, std::span<const std::byte> after);

    /// Throws BadBytes unless the bytes are a whole change, no more and no less, of a fragment of `points` points of
    /// this width. Takes memory for the points that it lists only.
    static FragmentChange decode(std::span<const std::byte> bytes, int width, std::uint32_t points);

    /// The same for whoever does not know the fragment: up to MostPoints.
    static FragmentChange decode(std::span<const std::byte> bytes);

    /// As docs/edit-store.md describes: each part in the smallest of its forms.
    std::vector<std::byte> encode() const;

    int width() const { return width_; }
    std::uint32_t points() const { return points_; } ///< of the fragment
    std::uint32_t changed() const;                   ///< of them changed
    bool empty() const { return runs_.empty(); }
    const std::vector<Run>& runs() const { return runs_; }

    /// Of the changed points one after the other.
    std::span<const std::byte> before() const { return before_; }
    std::span<const std::byte> after() const { return after_; }

    /// Changes the values of the fragment (points times width bytes), or tells why not; then nothing has changed.
    [[nodiscard]] std::optional<Mismatch> apply(std::span<std::byte> values, Direction direction = Direction::Forward,
                                                Expect expect = Expect::Replaced) const;

    /// The way back.
    FragmentChange inverted() const;

    /// This one and then the next as one change. Throws BadBytes when the next does not begin where this one ends:
    /// another width, another number of points, or a value that it does not expect.
    FragmentChange then(const FragmentChange& next) const;

    /// What it does to `count` points from `first` on, as a change of those.
    FragmentChange part(std::uint32_t first, std::uint32_t count) const;

    /// Puts the points of another change behind these; together at most MostPoints.
    void append(const FragmentChange& next);

    bool operator==(const FragmentChange&) const = default;

private:
    friend class ChangeSum;
    std::size_t index(std::uint32_t changedPoint) const { return std::size_t{changedPoint} * std::size_t(width_); }
    void addRun(Run run);
    template <class Value>
    void find(const std::byte* a, const std::byte* b);

    int width_;
    std::uint32_t points_;
    std::vector<Run> runs_;
    std::vector<std::byte> before_, after_;
};

/// Several changes, one after the other, as one. Adding takes time for the points that a change lists only.
class ChangeSum {
public:
    /// Of nothing, in a fragment of so many points.
    ChangeSum(int width, std::uint32_t points);

    /// Throws BadBytes when the change does not begin where those before it ended.
    void add(const FragmentChange& change, FragmentChange::Direction direction = FragmentChange::Direction::Forward);

    FragmentChange result() const;

private:
    template <class Value>
    void addValues(const std::vector<FragmentChange::Run>& runs, const std::byte* from, const std::byte* to);

    FragmentChange nothing_;
    std::vector<std::uint8_t> listed_;      // whether any change lists the point
    std::vector<std::byte> before_, after_; // of all points; zeros where it is not listed
};

} // namespace corvane
