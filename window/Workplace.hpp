// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/UpdateThread.hpp"
#include "window/Choices.hpp"
#include "window/NotShown.hpp"
#include "window/SurveyScene.hpp"
#include "window/UpdateMail.hpp"
#include "window/ViewGrid.hpp"

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <type_traits>

namespace corvane {

/// By what the points of a view are coloured.
struct ViewColours {
    ColourBy by = ColourBy::Class;
    std::string field;    ///< of ColourBy::Field
    bool surface = false; ///< the ground as a surface that is lit, instead

    bool operator==(const ViewColours&) const = default;
};

/// The work at hand: the survey that is open, what is chosen, and the views on it. Turns what is done in views into
/// calls to the update thread, and what comes back into what views show. Belongs to the thread of the window.
class Workplace {
public:
    /// What the widgets around the views hear; all must be set.
    struct Events {
        std::function<void()> stateChanged, choicesChanged;
        std::function<void(const QString& sentence, bool isError)> said;
        std::function<void(std::uint64_t done, std::uint64_t total, const QString& work)> progress;
        std::function<void(const QString&)> cursor; ///< what lies under it
        std::function<void(const std::vector<std::pair<std::string, std::string>>&)> pointInfo;
        std::function<void(const std::string& path)> recorded;
        std::function<void()> noStore; ///< the survey can be opened with a store somewhere else, behind what is said
        std::function<void(const QString&)> drawn; ///< how much of the survey is in the picture
        std::function<bool(QKeyEvent&)> key;
    };

    Workplace(const SessionOptions& session, Events events);
    ~Workplace();
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    ViewGrid& grid() { return *grid_; }
    const WorkbenchState& state() const { return state_; }
    bool isOpen() const { return state_.open != nullptr; }

    void open(const std::string& path, const StorePlace& store = {});

    const Choices& choices() const { return choices_; }
    void choose(const Choices& choices);

    /// One of them, e.g. &Choices::to.
    template <class Value>
    void choose(Value Choices::*which, std::type_identity_t<Value> value) {
        Choices changed = choices_;
        changed.*which = std::move(value);
        choose(changed);
    }

    /// A digit of the class to assign.
    void type(int digit);

    const NotShown& notShown() const { return notShown_; }
    void setNotShown(const NotShown& notShown);
    void showClass(int value, bool shown);
    void showOnlyClass(int value);

    ViewColours colours(int view) const { return colours_[static_cast<std::size_t>(view)]; }
    void setColours(int view, const ViewColours& colours);
    void setTheme(Theme theme);

    /// Calls, as the update thread has them; an error is said.
    void apply();
    void clearSelection();
    void undo();
    void redo();
    void undoMask();
    void redoMask();
    void goToStep(Which history, int done);
    void setLocked(int value, bool locked);
    void saveCopy(const std::string& path, bool overwrite);
    void saveInPlace();
    void saveRecord(const std::string& path);
    void cancel();

    /// All fields of the point under the cursor.
    void askPointInfo();

    void fit();
    void setViews(int count);

    /// How far the points that are drawn have been loaded, and what memory they take.
    PointStore::Progress progress() const { return scene_.progress(); }

    /// Whether something is under way that changes or writes anything.
    bool isChanging() const;

    /// Whether the views show all there is to be shown, and nothing is under way; and nothing flashes any more.
    bool showsAll() const;
    bool isComplete() const { return showsAll() && flash_ == Flash::None; }

private:
    View::Events eventsOf(int view);
    UpdateMail::Events mailEvents();
    SurveyScene::Events sceneEvents();

    void updated(std::uint64_t call, const WorkbenchState& state);
    void nothingIsOpen();
    void startWith(const WorkbenchState& state);
    void drawing(const std::optional<Stroke>& stroke, Selecting how);
    void drawn(const Stroke& stroke, Selecting how);
    void askForecast();
    void previewed(const StrokePreview& preview);
    void hovered(int view, const std::optional<PickedPoint>& point);
    void stockChanged();
    void finished(const PicturePtr& picture);
    void tellDrawn();
    void updateLooks(bool changed = false); // in what is known of points
    Look lookOf(int view) const;
    std::set<std::string> neededColumns() const;
    SelectionRule rule() const;
    std::uint64_t expect(std::uint64_t call);
    void assign(std::uint64_t call);

    Events events_;
    QObject context_; // for what comes from other threads
    Choices choices_;
    TypedNumber typed_;
    QElapsedTimer clock_;
    NotShown notShown_;
    std::array<ViewColours, ViewGrid::Views> colours_;
    Theme theme_ = Theme::Auto;
    WorkbenchState state_;
    std::shared_ptr<const std::vector<Colour>> palette_;
    std::shared_ptr<const Kesh::LabelSet> paletteOf_;
    std::map<std::string, std::pair<double, double>> ranges_; // of columns; heights have no name
    bool fitted_ = false, moved_ = false;
    std::optional<Stroke> drawing_; // a stroke that is not finished
    Selecting drawingHow_ = Selecting::Replace;
    std::uint64_t openCall_ = 0, undoCall_ = 0, assignCall_ = 0;
    int assigned_ = 0; // by that call; points of that class flash for a moment, as soon as that is seen
    enum class Flash { None, Asked, Seen } flash_ = Flash::None;
    QTimer endFlash_;
    int decimals_ = 2;                // of coordinates
    QStringList notes_;               // while a survey is opened
    std::set<std::uint64_t> pending_; // calls that are not answered
    std::optional<PickedPoint> underCursor_;
    SurveyScene scene_;
    UpdateMail mail_;
    std::unique_ptr<ViewGrid> grid_; // whoever shows it is its parent, and it goes before that
    UpdateThread updates_;           // the last, so that it ends first
};

} // namespace corvane
