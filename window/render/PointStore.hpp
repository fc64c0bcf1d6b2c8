// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Fiber/CreativeArray.hpp"
#include "picture/DrawnFragment.hpp"
#include "picture/Look.hpp"
#include "picture/PointRaster.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace corvane {

/// The points that views draw, packed from the values of fragments by threads of its own.
///
/// Whoever owns the survey hands over arrays; the threads load them, pack, and let go of the values. When there is not
/// memory enough for all points each fragment has fewer, never none, and those that views show have more than others.
/// The owner's calls (`load`, `replace`, `forget`, `stop`) come from one thread, which is also the one on which arrays
/// are let go of; the others may come from any.
class PointStore {
public:
    using Array = Holdfast::StrongPtr<Fiber::CreativeArrayBase>;

    /// What a column is made of: one field, of colours three; empty where all values are 0.
    using Arrays = std::vector<Array>;

    /// Where the points of a fragment come from.
    struct Source {
        std::uint32_t number = 0;
        Array positions;
        std::map<std::string, Arrays> columns;   ///< by the names of picture/Look.hpp
        std::optional<Sextant::BoundingBox> box; ///< where it is known without the positions
    };

    struct Options {
        std::size_t memoryBytes = std::size_t{1} << 30; ///< for packed points and columns
        unsigned threads = 1;
        Sextant::PhysicalSpace::point unit{0.01};       ///< of coordinates, as `pack` takes it
        std::function<void()> changed;                  ///< there is more to be drawn; from any thread, must not block
        std::function<void(const std::string&)> failed; ///< the first time that something cannot be loaded: a sentence
    };

    explicit PointStore(Options options);
    ~PointStore(); ///< stops
    PointStore(const PointStore&) = delete;
    PointStore& operator=(const PointStore&) = delete;

    /// Loads these fragments, and forgets those before. A sample stays until they are all there.
    void load(std::vector<Source> sources);

    /// Has a column made of other arrays, where there are fragments of these numbers; of nothing else is anything
    /// loaded. Until it is there the old one is shown. After an edit, for the mask, and for a field that a colouring
    /// asks for.
    void replace(const std::string& name, std::vector<std::pair<std::uint32_t, Arrays>> arrays);

    /// Drops a column that no view asks for any more.
    void forget(const std::string& name);

    /// Points to be shown until the fragments are there: positions, and as many classes or none.
    void showSample(std::span<const Sextant::PhysicalSpace::point> positions, std::span<const std::uint16_t> classes);

    /// What the views show: that is loaded first, and has more points than the rest where memory is short. From any
    /// thread; does not wait.
    void prefer(std::vector<Screen> screens);

    /// Calls this, too, when there is more to be drawn; empty: nobody any more, and no call is under way afterwards.
    /// Must not block, and must not call this.
    void listen(std::function<void()> listener);

    /// Ends the threads and lets go of all arrays. What was packed stays.
    void stop();

    /// What there is to draw, with `complete` when nothing more is to come.
    struct Stock {
        DrawnFragments fragments; ///< the sample last
        bool complete = false;
        std::uint64_t version = 0; ///< another one for anything that changed
    };
    std::shared_ptr<const Stock> stock() const;

    struct Progress {
        std::size_t loaded = 0, fragments = 0;
        std::size_t failed = 0;                 ///< fragments that could not be loaded
        std::uint64_t drawable = 0, points = 0; ///< packed ones, and all of the fragments
        std::size_t bytes = 0;                  ///< of packed points and columns
        bool sample = false;                    ///< whether a sample is shown
    };
    Progress progress() const;

private:
    class Loading;
    std::unique_ptr<Loading> loading_;
};

} // namespace corvane
