// SPDX-License-Identifier: Apache-2.0
// What is done, and what comes of it. What views are told stands in WorkplaceLooks.cpp.
#include "window/Workplace.hpp"

#include "Fiber/FragmentBox.hpp"
#include "las/CoordinateUnit.hpp"
#include "window/ClassColours.hpp"
#include "window/Numbers.hpp"
#include "window/Wording.hpp"

#include <algorithm>
#include <unistd.h>

namespace corvane {
namespace {

constexpr int FlashFor = 400, LongestFlash = 5000; // milliseconds

/// A quarter of the machine's memory is for points that are drawn.
std::size_t memoryForPoints() {
    const auto pages = static_cast<std::size_t>(std::max(sysconf(_SC_PHYS_PAGES), 0L));
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGE_SIZE)) / 4;
}

} // namespace

Workplace::Workplace(const SessionOptions& session, Events events)
    : events_(std::move(events)),
      scene_(context_, sceneEvents(), memoryForPoints()),
      mail_(context_, mailEvents()),
      grid_(std::make_unique<ViewGrid>([this](int view) { return eventsOf(view); })),
      updates_(mail_, session) {
    clock_.start();
    endFlash_.setSingleShot(true);
    QObject::connect(&endFlash_, &QTimer::timeout, &context_, [this] {
        flash_ = Flash::None;
        updateLooks();
    });
    colours_[ViewGrid::OtherPlan].by = ColourBy::Height;
    grid_->view(ViewGrid::Plan).setTitle(QStringLiteral("Plan"), {});
}

Workplace::~Workplace() = default;

// ---------------------------------------------------------------------------------------- what comes from the threads

UpdateMail::Events Workplace::mailEvents() {
    UpdateMail::Events events;
    events.updated = [this](std::uint64_t call, const WorkbenchState& state) { updated(call, state); };
    events.failed = [this](std::uint64_t call, const QString& sentence, UpdateMail::Why why) {
        pending_.erase(call);
        notes_.clear();
        if (call == openCall_) nothingIsOpen();
        events_.said(sentence, why != UpdateMail::Why::Interrupted);
        if (why == UpdateMail::Why::NoStore) events_.noStore();
        events_.stateChanged();
    };
    events.previewed = [this](const StrokePreview& preview) { previewed(preview); };
    events.pointInfo = [this](std::uint64_t call, const auto& fields) {
        pending_.erase(call);
        events_.pointInfo(fields);
    };
    events.recorded = [this](std::uint64_t call, const std::string& path) {
        pending_.erase(call);
        events_.recorded(path);
    };
    events.progress = [this](std::uint64_t done, std::uint64_t total, const QString& work) {
        events_.progress(done, total, work);
    };
    events.note = [this](const QString& sentence) {
        if (pending_.contains(openCall_)) notes_ += sentence; // is said with what is said of the survey
        events_.said(sentence, false);
    };
    return events;
}

SurveyScene::Events Workplace::sceneEvents() {
    SurveyScene::Events events;
    events.finished = [this](const PicturePtr& picture) { finished(picture); };
    events.stockChanged = [this] { stockChanged(); };
    events.failed = [this](const QString& sentence) { events_.said(sentence, true); };
    return events;
}

void Workplace::updated(std::uint64_t call, const WorkbenchState& state) {
    const bool isNew = !state_.open || state.path != state_.path || call == openCall_;
    pending_.erase(call);
    const auto before = std::exchange(state_, state);
    if (paletteOf_ != state_.labels) {
        paletteOf_ = state_.labels;
        palette_ = paletteOf(*state_.labels, LargestClass);
    }
    if (isNew)
        startWith(state);
    else
        scene_.show(state);
    if (call == assignCall_ && !state.changedClasses.empty()) {
        flash_ = Flash::Asked;
        endFlash_.start(LongestFlash);
    }
    updateLooks(!state.changedClasses.empty() || !state.changedMask.empty());
    askForecast();
    if (call == undoCall_ && !state.changedClasses.empty()) {
        std::vector<Sextant::BoundingBox> where;
        const Fiber::Field& positions = *state_.open->fields.at(Fiber::PositionsName);
        for (const std::uint32_t number : state.changedClasses)
            if (const auto box = Fiber::knownFragmentBBox(positions, positions.fragments().at(number).id))
                where.push_back(*box);
        grid_->forShown([&](View& view) { view.blink(where); });
    }
    if (!state.status.empty() && state.status != before.status)
        events_.said(QString::fromStdString(state.status), false);
    else if (call != 0 && call != openCall_)
        events_.said({}, false);
    events_.stateChanged();
}

/// The update thread has closed what was open before it tried.
void Workplace::nothingIsOpen() {
    state_ = {};
    scene_.close();
}

void Workplace::startWith(const WorkbenchState& state) {
    fitted_ = moved_ = false;
    flash_ = Flash::None;
    endFlash_.stop();
    ranges_.clear();
    notShown_ = {};
    for (ViewColours& colours : colours_)
        if (colours.by == ColourBy::Field && !state.open->fields.contains(colours.field)) colours = {};
    scene_.show(state);
    const Survey& survey = *state.open->survey;
    decimals_ = decimalsOf(survey.las().header.scale[0]);
    grid_->setSurvey(survey.expressibleBox(), scene_.boxToShow(), shortUnit(coordinateUnit(survey.las().crs)));
    QStringList said{points(state.points)};
    if (state.notInFile == 1) said = QStringList{QStringLiteral("1 step is here that is not yet in the file.")};
    if (state.notInFile > 1)
        said = QStringList{QStringLiteral("%1 steps are here that are not yet in the file.").arg(state.notInFile)};
    events_.said((said + std::exchange(notes_, {})).join(QStringLiteral(" · ")), false);
}

/// The first time that there is something to be seen the views go there, unless somebody has moved them already.
void Workplace::stockChanged() {
    const auto progress = scene_.progress();
    const bool all = progress.fragments > 0 && progress.loaded == progress.fragments;
    if (!fitted_ && !moved_ && progress.drawable > 0) {
        grid_->showAll(scene_.boxToShow());
        choose(&Choices::tipRadius, tipFor(scene_.boxToShow()));
    }
    if (progress.drawable > 0) fitted_ = all || progress.sample;
    ranges_.clear();
    updateLooks();
    tellDrawn();
}

void Workplace::finished(const PicturePtr& picture) {
    if (grid_->isShown(picture->view)) grid_->view(picture->view).show(picture);
    if (flash_ == Flash::Asked && showsAll()) {
        flash_ = Flash::Seen;
        endFlash_.start(FlashFor);
    }
    tellDrawn();
}

void Workplace::tellDrawn() {
    const auto progress = scene_.progress();
    const PicturePtr& picture = grid_->active().picture();
    QString text;
    if (progress.loaded < progress.fragments)
        text = QStringLiteral("%1 %2 of the points")
                   .arg(progress.sample ? QStringLiteral("a sample;") : QString(),
                        percent(static_cast<double>(progress.loaded) / static_cast<double>(progress.fragments)))
                   .trimmed();
    else if (picture && !picture->complete)
        text = QStringLiteral("%1 drawn").arg(points(picture->drawn));
    else if (progress.drawable < progress.points)
        text = QStringLiteral("%1 of %2 fit into memory").arg(grouped(progress.drawable), points(progress.points));
    events_.drawn(text);
}

// -------------------------------------------------------------------------------------------------- what views tell

View::Events Workplace::eventsOf(int view) {
    View::Events events;
    events.needsPicture = [this, view](const PictureRequest& request) {
        if (request.moving && fitted_) moved_ = true;
        scene_.request(request, view);
        std::vector<Screen> screens;
        grid_->forShown([&](View& shown) { screens.push_back(shown.camera().screen(1)); });
        scene_.prefer(std::move(screens));
    };
    events.activated = [this, view] {
        grid_->activate(view);
        scene_.activate(view);
        events_.choicesChanged();
    };
    events.drawing = [this](const std::optional<Stroke>& stroke, Selecting how) { drawing(stroke, how); };
    events.drawn = [this](const Stroke& stroke, Selecting how) { drawn(stroke, how); };
    events.profileDrawn = [this](const Stroke::Profile& profile) {
        moved_ = true;
        if (grid_->count() == 1) setViews(2);
        grid_->setProfile(profile);
    };
    events.hovered = [this, view](const std::optional<PickedPoint>& point) { hovered(view, point); };
    events.tipChanged = [this](double radius) { choose(&Choices::tipRadius, radius); };
    events.key = [this](QKeyEvent& key) { return events_.key(key); };
    return events;
}

void Workplace::drawing(const std::optional<Stroke>& stroke, Selecting how) {
    drawing_ = stroke;
    drawingHow_ = how;
    if (!isOpen()) return;
    if (stroke)
        askForecast();
    else
        updates_.stopPreview();
}

/// Again where the stroke, or what it would do to the points, has become another.
void Workplace::askForecast() {
    if (drawing_ && isOpen()) updates_.preview(*drawing_, drawingHow_, rule(), choices_.to);
}

void Workplace::previewed(const StrokePreview& preview) {
    if (!drawing_) return;
    grid_->active().setForecast(forecastOf(preview, drawingHow_));
}

void Workplace::drawn(const Stroke& stroke, Selecting how) {
    if (!isOpen()) return;
    if (choices_.atOnce && how != Selecting::Remove)
        assign(updates_.selectAndAssign(stroke, rule(), choices_.to));
    else
        expect(updates_.select(stroke, how, rule()));
}

void Workplace::hovered(int from, const std::optional<PickedPoint>& point) {
    underCursor_ = point;
    grid_->forShown([&](View& view) {
        view.setLinkedCursor(point && view.number() != from ? std::optional(point->position) : std::nullopt);
    });
    if (!point) return events_.cursor({});
    const auto number = [this](double value) { return QString::number(value, 'f', decimals_); };
    const QString place = QStringLiteral("%1  %2  %3")
                              .arg(number(point->position.x), number(point->position.y), number(point->position.z));
    events_.cursor(point->value && state_.labels
                       ? place + QStringLiteral("  ") + className(*state_.labels, *point->value)
                       : place);
}

void Workplace::askPointInfo() {
    if (!underCursor_ || underCursor_->fragment == DrawnFragment::Sample || !isOpen()) return;
    expect(updates_.pointInfo(underCursor_->fragment, underCursor_->point));
}

// ------------------------------------------------------------------------------------------------------------- calls

void Workplace::open(const std::string& path, const StorePlace& store) {
    notes_.clear();
    openCall_ = expect(updates_.open(path, store));
}

void Workplace::choose(const Choices& choices) {
    if (choices == choices_) return;
    const bool otherPreview = choices.from != choices_.from;
    choices_ = choices;
    for (int view = 0; view < ViewGrid::Views; ++view) grid_->view(view).setChoices(choices_);
    if (otherPreview) updateLooks();
    events_.choicesChanged();
}

void Workplace::type(int digit) {
    const int to = typed_.type(digit, clock_.elapsed(), LargestClass);
    grid_->active().setBanner(state_.labels ? className(*state_.labels, to) : QString::number(to));
    choose(&Choices::to, to);
}

void Workplace::setNotShown(const NotShown& notShown) {
    if (notShown == notShown_) return;
    notShown_ = notShown;
    updateLooks();
    askForecast();
    events_.stateChanged();
}

void Workplace::showClass(int value, bool shown) {
    NotShown changed = notShown_;
    if (shown)
        changed.classes.erase(value);
    else
        changed.classes.insert(value);
    setNotShown(changed);
}

void Workplace::showOnlyClass(int value) {
    NotShown changed = notShown_;
    changed.classes.clear();
    for (int other = 0; other <= LargestClass; ++other)
        if (other != value) changed.classes.insert(other);
    if (changed.classes == notShown_.classes) changed.classes.clear(); // it is the only one already
    setNotShown(changed);
}

void Workplace::setColours(int view, const ViewColours& colours) {
    colours_[static_cast<std::size_t>(view)] = colours;
    updateLooks();
    events_.choicesChanged();
}

void Workplace::setTheme(Theme theme) {
    theme_ = theme;
    for (int view = 0; view < ViewGrid::Views; ++view) grid_->view(view).setTheme(theme);
    updateLooks();
}

std::uint64_t Workplace::expect(std::uint64_t call) {
    pending_.insert(call);
    return call;
}

void Workplace::assign(std::uint64_t call) {
    assigned_ = choices_.to;
    assignCall_ = expect(call);
}

void Workplace::apply() {
    if (isOpen()) assign(updates_.assign(choices_.to, rule()));
}
void Workplace::clearSelection() {
    if (isOpen()) expect(updates_.clearMask());
}
void Workplace::undo() {
    if (isOpen()) undoCall_ = expect(updates_.undo());
}
void Workplace::redo() {
    if (isOpen()) undoCall_ = expect(updates_.redo());
}
void Workplace::undoMask() {
    if (isOpen()) expect(updates_.undoMask());
}
void Workplace::redoMask() {
    if (isOpen()) expect(updates_.redoMask());
}
void Workplace::goToStep(Which history, int done) { undoCall_ = expect(updates_.goToStep(history, done)); }
void Workplace::setLocked(int value, bool locked) { expect(updates_.setLocked(value, locked)); }
void Workplace::saveCopy(const std::string& path, bool overwrite) { expect(updates_.saveCopy(path, overwrite)); }
void Workplace::saveInPlace() { expect(updates_.saveInPlace()); }
void Workplace::saveRecord(const std::string& path) {
    if (isOpen()) expect(updates_.saveRecord(path));
}
void Workplace::cancel() { updates_.cancel(); }

void Workplace::fit() {
    if (isOpen()) grid_->fit(grid_->active(), scene_.boxToShow());
}

void Workplace::setViews(int count) {
    for (int view = count; view < ViewGrid::Views; ++view) scene_.forget(view);
    grid_->setCount(count);
    updateLooks();
    events_.choicesChanged();
}

bool Workplace::isChanging() const {
    return std::ranges::any_of(pending_, [this](std::uint64_t call) { return call != openCall_; });
}

bool Workplace::showsAll() const {
    const auto progress = scene_.progress();
    if (!pending_.empty() || !state_.open || progress.loaded < progress.fragments) return false;
    if (progress.drawable > 0 && !fitted_ && !moved_) return false; // views are about to move
    bool complete = true;
    for (int view = 0; view < ViewGrid::Views; ++view)
        complete = complete && (!grid_->isShown(view) || grid_->view(view).isComplete());
    return complete;
}

} // namespace corvane
