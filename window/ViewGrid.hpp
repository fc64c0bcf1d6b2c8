// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "window/View.hpp"

#include <QWidget>

#include <array>
#include <functional>

class QSplitter;

namespace corvane {

/// One, two or four views: the plan; the profile below it; beside them a plan with another colouring, and the profile
/// across.
class ViewGrid : public QWidget {
public:
    static constexpr int Plan = 0, Profile = 1, OtherPlan = 2, CrossProfile = 3, Views = 4;

    /// Makes the events of a view.
    using EventsOf = std::function<View::Events(int view)>;

    explicit ViewGrid(const EventsOf& eventsOf, QWidget* parent = nullptr);

    View& view(int number) { return *views_[static_cast<std::size_t>(number)]; }
    const View& view(int number) const { return *views_[static_cast<std::size_t>(number)]; }

    /// Calls the function with each view that is shown.
    template <class Function>
    void forShown(Function function) {
        for (int i = 0; i < Views; ++i)
            if (isShown(i)) function(view(i));
    }

    /// 1, 2 or 4.
    void setCount(int count);
    int count() const { return count_; }
    bool isShown(int view) const { return view < count_; }

    /// The one that keys go to.
    View& active() { return view(active_); }
    void activate(int view);

    /// New cameras for a survey: all of the box, and a profile through its middle. `unit` is that of lengths, in short.
    void setSurvey(const Sextant::BoundingBox& expressible, const Sextant::BoundingBox& box, const QString& unit);

    /// The same, when it is known better where the points are.
    void showAll(const Sextant::BoundingBox& box);

    /// Shows all of the box in the view.
    void fit(View& view, const Sextant::BoundingBox& box);

    /// Looks along another line; the profile across goes through its middle.
    void setProfile(const Stroke::Profile& profile);
    const Stroke::Profile& profile() const { return profile_; }

    /// Moves the line by so many of its widths across, and so many of its lengths along itself. With `follow` the plans
    /// move with it.
    void walk(double widths, double lengths);
    void setFollow(bool follow) { follow_ = follow; }

private:
    void lookAlong(int view, const Stroke::Profile& profile, double exaggeration);

    QSplitter *rows_, *upper_, *lower_; // their parents are this
    std::array<View*, Views> views_{};
    int count_ = 1, active_ = Plan;
    Sextant::BoundingBox expressible_, box_;
    Stroke::Profile profile_{{0, 0}, {1, 0}, 1};
    bool follow_ = false;
};

/// The profile across, through the middle of a line and as long as it.
Stroke::Profile across(const Stroke::Profile& profile);

} // namespace corvane
