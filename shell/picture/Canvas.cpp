// SPDX-License-Identifier: Apache-2.0
#include "picture/Canvas.hpp"

#include "picture/Projector.hpp"
#include "picture/ScreenPlace.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <set>

namespace corvane {
namespace {

/// By code, for all codes that there can be; empty when none is hidden.
std::vector<std::uint8_t> hiddenClasses(const Filter& filter) {
    constexpr std::size_t codes = 65536;
    if (!filter.hidden.hidesClasses() && filter.only.empty()) return {};
    std::vector<std::uint8_t> hidden(codes, filter.only.empty() ? 0 : 1);
    for (const std::uint16_t code : filter.only) hidden[code] = 0;
    for (std::size_t code = 0; code < std::min(codes, filter.hidden.classes.size()); ++code)
        if (filter.hidden.classes[code] != 0) hidden[code] = 1;
    return hidden;
}

/// Sends points of a block to nowhere.
class Hiding {
public:
    Hiding(const Filter& filter, const std::vector<std::uint8_t>& classes, const DrawnFragment& fragment)
        : packed_(*fragment.packed), returns_(filter.hidden.returns) {
        if (!classes.empty()) {
            classes_ = classes.data();
            classColumn_ = fragment.column(column::Class);
        }
        if (returns_ != 0) returnColumn_ = fragment.column(column::Return);
        if (filter.hidden.hidesHeights()) setHeights(filter.hidden.lowest, filter.hidden.highest);
    }

    void operator()(std::size_t first, std::size_t count, std::int32_t nowhere, std::int32_t* places) const {
        if (classes_) hideClasses(first, count, nowhere, places);
        if (returnColumn_) {
            hide(*returnColumn_, first, count, nowhere, places,
                 [returns = returns_](unsigned number) { return (returns >> (number & 15) & 1) != 0; });
        }
        if (!heights_) return;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t height = packed_.points[first + i] >> 2 * PackedPoints::Bits & PackedPoints::Largest;
            places[i] = (height < lowest_) | (height >= highest_) ? nowhere : places[i];
        }
    }

private:
    /// Among the steps of heights those that are shown.
    void setHeights(double low, double high) {
        heights_ = true;
        const double corner = packed_.box.minimum.z, step = packed_.step.z, most = double(PackedPoints::Largest);
        const auto heightOf = [&](double steps) { return corner + step * steps; };
        double first = std::clamp(std::ceil((low - corner) / step) - 1, 0.0, most);
        while (first <= most && heightOf(first) < low) ++first;
        double last = std::clamp(std::floor((high - corner) / step) + 1, -1.0, most);
        while (last >= 0 && heightOf(last) > high) --last;
        lowest_ = static_cast<std::uint64_t>(first);
        highest_ = static_cast<std::uint64_t>(last + 1);
    }

    void hideClasses(std::size_t first, std::size_t count, std::int32_t nowhere, std::int32_t* places) const {
        if (classColumn_)
            hide(*classColumn_, first, count, nowhere, places,
                 [classes = classes_](unsigned code) { return classes[code] != 0; });
        else if (classes_[0] != 0) // as long as nothing is known of classes they are 0
            std::fill_n(places, count, nowhere);
    }

    template <class IsHidden>
    static void hide(const DrawnColumn& column, std::size_t first, std::size_t count, std::int32_t nowhere,
                     std::int32_t* places, IsHidden isHidden) {
        const auto hideBy = [&](const auto* codes) {
            for (std::size_t i = 0; i < count; ++i) {
                const auto hidden = -static_cast<std::int32_t>(isHidden(codes[i])); // no branch, as none is foreseeable
                places[i] = (places[i] & ~hidden) | (nowhere & hidden);
            }
        };
        if (const auto* bytes = std::get_if<DrawnColumn::Bytes>(&column.values))
            hideBy(bytes->data() + first);
        else if (const auto* words = std::get_if<DrawnColumn::Words>(&column.values))
            hideBy(words->data() + first);
    }

    const PackedPoints& packed_;
    const std::uint8_t* classes_ = nullptr;
    const DrawnColumn *classColumn_ = nullptr, *returnColumn_ = nullptr;
    std::uint16_t returns_;
    bool heights_ = false;
    std::uint64_t lowest_ = 0, highest_ = 0; // steps; the second one is the first that is hidden again
};

template <bool Shared>
void lower(Pixel& pixel, Pixel found) {
    if constexpr (Shared) {
        const std::atomic_ref<Pixel> shared(pixel);
        Pixel seen = shared.load(std::memory_order_relaxed);
        while (found < seen && !shared.compare_exchange_weak(seen, found, std::memory_order_relaxed)) {
        }
    } else {
        pixel = std::min(pixel, found);
    }
}

} // namespace

Canvas::Canvas(const Screen& screen, Filter filter)
    : screen_(screen), filter_(std::move(filter)), hiddenClasses_(hiddenClasses(filter_)) {
    requireSane(screen);
    pixels_.assign(screen.pixels() + 1, NoPoint);
    pixels_.back() = 0; // nobody writes there
}

bool Canvas::take(const DrawnFragments& fragments) {
    std::vector<std::pair<Key, const std::shared_ptr<const DrawnFragment>*>> shown;
    std::map<std::uint32_t, std::size_t> seen;
    std::size_t known = 0;
    for (const auto& fragment : fragments) {
        const Key key{fragment->number, fragment->number == DrawnFragment::Sample ? seen[fragment->number]++ : 0};
        const auto place = placeOf_.find(key);
        if (place == placeOf_.end() && (fragment->drawable() == 0 || misses(screen_, fragment->packed->box))) continue;
        shown.emplace_back(key, &fragment);
        if (place == placeOf_.end()) continue;
        ++known;
        if (!stands(entries_[place->second], *fragment)) return false;
    }
    if (known < placeOf_.size()) return false; // some have gone
    for (const auto& [key, fragment] : shown) {
        const auto place = placeOf_.find(key);
        if (place == placeOf_.end())
            add(key, *fragment);
        else
            entries_[place->second].fragment = *fragment;
    }
    return true;
}

void Canvas::add(const Key& key, const std::shared_ptr<const DrawnFragment>& fragment) {
    const std::size_t room = numbers_.add(fragment->most);
    placeOf_[key] = entries_.size();
    entries_.push_back({fragment, pointsForEachPixel(screen_, fragment->packed->box), 0, room});
    total_ += fragment->total;
}

/// Whether what was drawn of a fragment is as if it had been drawn of this one.
bool Canvas::stands(const Entry& entry, const DrawnFragment& fragment) const {
    const DrawnFragment& before = *entry.fragment;
    if (&fragment == &before) return true;
    if (!fragment.packed || fragment.total != before.total) return false;
    if (fragment.packed != before.packed &&
        (fragment.packed->box.minimum != before.packed->box.minimum || fragment.packed->step != before.packed->step ||
         fragment.drawable() < entry.drawn || (fragment.order != nullptr) != (before.order != nullptr)))
        return false;
    return entry.drawn == 0 || sameFiltered(before, fragment);
}

bool Canvas::sameFiltered(const DrawnFragment& one, const DrawnFragment& other) const {
    const auto same = [&](const std::string& name) { return one.column(name) == other.column(name); };
    return (hiddenClasses_.empty() || same(column::Class)) && (filter_.hidden.returns == 0 || same(column::Return));
}

bool Canvas::inOrder() const {
    return std::ranges::is_sorted(entries_, {}, [](const Entry& entry) { return entry.fragment->number; });
}

std::size_t Canvas::target(const Entry& entry, double perPixel) {
    const std::size_t most = std::min(entry.room, entry.fragment->drawable());
    return static_cast<std::size_t>(std::min(std::ceil(perPixel * entry.perPixel), double(most)));
}

std::uint64_t Canvas::missing(double perPixel) const {
    std::uint64_t sum = 0;
    for (const Entry& entry : entries_) {
        const std::size_t wanted = target(entry, perPixel);
        if (wanted > entry.drawn) sum += wanted - entry.drawn;
    }
    return sum;
}

std::uint64_t Canvas::draw(double perPixel, Team& team, const std::function<bool()>& stop) {
    std::vector<Part> parts;
    for (std::size_t i = 0; i < entries_.size(); ++i)
        if (const std::size_t end = target(entries_[i], perPixel); end > entries_[i].drawn)
            parts.push_back({i, entries_[i].drawn, end});
    std::atomic<std::uint64_t> drawn = 0;
    const bool shared = team.size() > 1;
    team.each(parts.size(), [&](std::size_t i) {
        if (stop && stop()) return;
        const Part& part = parts[i];
        shared ? drawPart<true>(part) : drawPart<false>(part);
        entries_[part.entry].drawn = part.end; // no other part is of this entry
        drawn += part.end - part.first;
    });
    drawn_ += drawn;
    return drawn;
}

template <bool Shared>
void Canvas::drawPart(const Part& part) {
    const DrawnFragment& fragment = *entries_[part.entry].fragment;
    const PackedPoints& packed = *fragment.packed;
    const ToPixels to = toPixels(screen_, packed);
    const Projector project = projector(screen_.view.affine());
    const std::uint32_t numbered = numbers_.first(part.entry);
    const bool hides = !hiddenClasses_.empty() || filter_.hidden.returns != 0 || filter_.hidden.hidesHeights();
    const Hiding hide(filter_, hiddenClasses_, fragment);
    std::array<std::int32_t, BlockPoints> places;
    std::array<std::uint32_t, BlockPoints> depths;
    for (std::size_t first = part.first; first < part.end; first += BlockPoints) {
        const std::size_t count = std::min(BlockPoints, part.end - first);
        project(packed.points.data() + first, count, to, places.data(), depths.data());
        if (hides) hide(first, count, to.nowhere, places.data());
        for (std::size_t i = 0; i < count; ++i)
            lower<Shared>(pixels_[static_cast<std::size_t>(places[i])],
                          Pixel{depths[i]} << 32 | static_cast<std::uint32_t>(numbered + first + i));
    }
}

DrawnFragments Canvas::fragments() const {
    DrawnFragments fragments;
    for (const Entry& entry : entries_) fragments.push_back(entry.fragment);
    return fragments;
}

} // namespace corvane
