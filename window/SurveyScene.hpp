// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "render/Renderer.hpp"
#include "session/WorkbenchState.hpp"

#include <QObject>
#include <QThreadPool>

#include <functional>
#include <memory>
#include <set>
#include <string>

namespace corvane {

/// The points of the survey that is open, as they are drawn: what the update thread hands over goes to the threads that
/// load and draw, and pictures come back to the thread of the window. Nothing here waits.
class SurveyScene {
public:
    /// Called on the thread of the receiver, as long as both are there.
    struct Events {
        std::function<void(const PicturePtr&)> finished;
        std::function<void()> stockChanged;         ///< more points can be drawn
        std::function<void(const QString&)> failed; ///< something cannot be loaded: a sentence
    };

    SurveyScene(QObject& receiver, Events events, std::size_t memoryBytes);
    ~SurveyScene();
    SurveyScene(const SurveyScene&) = delete;
    SurveyScene& operator=(const SurveyScene&) = delete;

    /// How everything is now. What has not changed is not loaded again.
    void show(const WorkbenchState& state);

    /// Nothing is open any more.
    void close();

    bool isOpen() const { return store_ != nullptr; }

    void request(const PictureRequest& request, int view);
    void activate(int view);
    void forget(int view);

    /// What views show, the most important first.
    void prefer(std::vector<Screen> screens);

    /// Loads what a colouring needs beside the classes, and lets go of what none needs any more.
    void need(const std::set<std::string>& columns);

    /// The numbers at the ends of a ramp: heights for an empty name, else those of a column.
    std::optional<std::pair<double, double>> range(const std::string& column) const;

    /// The box around what is known of the points, without strays; as the header says as long as nothing is.
    Sextant::BoundingBox boxToShow() const;
    PointStore::Progress progress() const;

private:
    class Mail;

    void open(const WorkbenchState& state);
    void showSampleMeanwhile();
    void letGo();
    void replace(const std::string& column, const std::vector<std::uint32_t>& fragments,
                 const ArraysByFragment& arrays);
    PointStore::Arrays arraysOf(const std::string& column, std::uint32_t fragment) const;

    std::shared_ptr<Mail> mail_;
    std::size_t memoryBytes_;
    std::shared_ptr<const OpenSurvey> survey_;
    std::set<std::string> columns_;
    std::shared_ptr<PointStore> store_;
    std::unique_ptr<Renderer> renderer_; // ends before the store
    QThreadPool beside_;                 // waits for what it still does when this goes
};

} // namespace corvane
