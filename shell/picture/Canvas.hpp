// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "picture/DrawnFragment.hpp"
#include "picture/Look.hpp"
#include "picture/PointNumbers.hpp"
#include "picture/PointRaster.hpp"
#include "picture/Team.hpp"

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace corvane {

/// What is drawn of points: all of them, or what is not hidden and of some classes.
struct Filter {
    Hidden hidden;
    std::vector<std::uint16_t> only; ///< classes; empty: all

    bool operator==(const Filter&) const = default;
};

/// A picture that points are drawn into part by part: first some of each fragment on the screen, then the next ones,
/// until all are in. What is drawn stays, so the picture becomes denser and never starts anew. When all are in it does
/// not depend on the parts, nor on threads or instructions, to the bit.
class Canvas {
public:
    /// Throws std::invalid_argument for a screen that PointRaster does not take.
    Canvas(const Screen& screen, Filter filter);

    /// From now on these are the fragments: more of them than before, longer beginnings, other columns. False, and
    /// nothing is changed, when what was drawn would not stand: where points have gone, or are others, or are hidden
    /// now. Only a new canvas helps then.
    bool take(const DrawnFragments& fragments);

    /// Whether the fragments are in the order of their numbers, samples last. Of points at the same depth that of the
    /// first fragment is seen, so what is drawn of fragments as they come may differ there.
    bool inOrder() const;

    /// How many points are on the screen's fragments, and how many of them are drawn.
    std::uint64_t total() const { return total_; }
    std::uint64_t drawn() const { return drawn_; }

    /// How many have to be drawn for each fragment to have so many for each pixel that its box covers, as far as there
    /// are.
    std::uint64_t missing(double perPixel) const;

    /// Whether all are in.
    bool complete() const { return missing(AllPoints) == 0; }
    static constexpr double AllPoints = 1e300; ///< for each pixel

    /// Draws those, on a team, which leaves out what it has not begun when it is told to stop. Returns how many points
    /// were drawn.
    std::uint64_t draw(double perPixel, Team& team, const std::function<bool()>& stop = {});

    const Screen& screen() const { return screen_; }
    const Filter& filter() const { return filter_; }
    std::span<const Pixel> pixels() const { return std::span(pixels_).first(screen_.pixels()); }

    /// Whose numbers are in the pixels. The fragments are those that were taken last.
    const PointNumbers& numbers() const { return numbers_; }
    DrawnFragments fragments() const;

private:
    struct Entry {
        std::shared_ptr<const DrawnFragment> fragment;
        double perPixel = 0;   // points for one on each pixel
        std::size_t drawn = 0; // of its points
        std::size_t room = 0;  // for numbers
    };
    using Key = std::pair<std::uint32_t, std::size_t>; // number, and which of those with that number

    struct Part {
        std::size_t entry, first, end;
    };

    bool stands(const Entry& entry, const DrawnFragment& fragment) const;
    bool sameFiltered(const DrawnFragment& one, const DrawnFragment& other) const;
    void add(const Key& key, const std::shared_ptr<const DrawnFragment>& fragment);
    static std::size_t target(const Entry& entry, double perPixel);
    template <bool Shared>
    void drawPart(const Part& part);

    Screen screen_;
    Filter filter_;
    std::vector<std::uint8_t> hiddenClasses_; // by code, all codes; empty: none is hidden
    std::vector<Pixel> pixels_;               // and one more, for points that are not seen
    std::vector<Entry> entries_;              // by their place among the numbers
    std::map<Key, std::size_t> placeOf_;      // of entries
    PointNumbers numbers_;
    std::uint64_t total_ = 0, drawn_ = 0;
};

} // namespace corvane
