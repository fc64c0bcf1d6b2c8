// SPDX-License-Identifier: Apache-2.0
// What the window does. What it is made of stands in MainWindowParts.cpp.
#include "window/MainWindow.hpp"

#include "sample/SampleSurvey.hpp"
#include "window/AssignBar.hpp"
#include "window/Child.hpp"
#include "window/ClassColours.hpp"
#include "window/ClassPanel.hpp"
#include "window/DataFolder.hpp"
#include "window/HistoryPanel.hpp"
#include "window/Numbers.hpp"
#include "window/ProblemStrip.hpp"
#include "window/SaveStrip.hpp"
#include "window/SelectionPanel.hpp"
#include "window/ShownPanel.hpp"
#include "window/StartPage.hpp"
#include "window/Wording.hpp"

#include <QActionGroup>
#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QProgressBar>
#include <QScreen>
#include <QStackedWidget>
#include <QTableWidget>
#include <QToolButton>
#include <QUrl>

#include <algorithm>
#include <set>

namespace corvane {
namespace {

constexpr int UsualWidth = 1400, UsualHeight = 900, DocksVersion = 1;
constexpr double RoomOnScreen = 0.95; // the frame takes the rest
const QString Surveys = QStringLiteral("Surveys (*.las *.laz *.LAS *.LAZ);;All files (*)");

/// The classes that occur or have a label.
std::vector<ClassRow> classRows(const WorkbenchState& state, const NotShown& notShown) {
    std::set<int> values;
    for (const auto& [value, label] : *state.labels) values.insert(value);
    for (const auto& [value, count] : *state.counts) values.insert(value);
    std::vector<ClassRow> rows;
    for (const int value : values) {
        const Kesh::Label* label = state.labels->find(value);
        const auto count = state.counts->find(value);
        ClassRow row;
        row.value = value;
        row.name = label ? QString::fromStdString(label->name) : QString();
        row.colour = classColourOf(*state.labels, value);
        row.shown = !notShown.classes.contains(value);
        row.locked = state.isLocked(value);
        row.count = count == state.counts->end() ? 0 : count->second;
        rows.push_back(std::move(row));
    }
    return rows;
}

/// A name beside the survey that is not its own.
QString copyName(const std::string& path) {
    const QFileInfo file(QFile::decodeName(path.c_str()));
    const bool octree = file.fileName().endsWith(QLatin1String(".copc.laz"), Qt::CaseInsensitive);
    const QString suffix = octree ? QStringLiteral("copc.laz") : file.suffix();
    const QString base = file.fileName().chopped(suffix.size() + (suffix.isEmpty() ? 0 : 1));
    return file.dir().filePath(
        QStringLiteral("%1-edited.%2").arg(base, suffix.isEmpty() ? QStringLiteral("las") : suffix));
}

/// A store that was named is that of the one survey that was.
SessionOptions sessionOf(const WindowOptions& options) {
    SessionOptions session = options.session;
    session.edits.path.clear();
    return session;
}

QString toolHint(Tool tool) {
    switch (tool) {
    case Tool::Move:
        return QStringLiteral("Drag: move the picture");
    case Tool::Lasso:
        return QStringLiteral("Drag: draw around points");
    case Tool::Polygon:
        return QStringLiteral("Click: a corner · Right click: select · Backspace: one back");
    case Tool::Rectangle:
        return QStringLiteral("Drag: from corner to corner");
    case Tool::Circle:
        return QStringLiteral("Drag: from the middle outwards");
    case Tool::Paint:
        return QStringLiteral("Drag: paint · Ctrl+wheel: size of the tip");
    case Tool::Above:
        return QStringLiteral("Click: points of a line · Right click: select all above it · Backspace: one back");
    case Tool::Below:
        return QStringLiteral("Click: points of a line · Right click: select all below it · Backspace: one back");
    case Tool::Profile:
        return QStringLiteral("Drag in a plan: the line of the profile · Arrows: walk it along");
    }
    return {};
}

} // namespace

MainWindow::MainWindow(const WindowOptions& options)
    : settings_(options.screenshot.empty()), work_(std::make_unique<Workplace>(sessionOf(options), workEvents())) {
    setWindowTitle(QStringLiteral("Corvane"));
    addMiddle();
    addFileMenu();
    addEditMenu();
    addViewMenu();
    addToolBars();
    addPanels();
    addStatusBar();
    restoreWindow(options);
    start_->setRecentFiles(settings_.recentFiles());
    const QString theme = options.theme.empty() ? settings_.theme() : QString::fromStdString(options.theme);
    setTheme(themeOf(theme));
    work_->setViews(options.views != 0 ? options.views : settings_.views());
    showChoices();
}

MainWindow::~MainWindow() {
    sample_.request_stop();
    if (sample_.joinable()) sample_.join();
}

void MainWindow::restoreWindow(const WindowOptions& options) {
    resize(QSize(UsualWidth, UsualHeight).boundedTo(screen()->availableSize() * RoomOnScreen));
    if (options.size)
        resize((*options.size)[0], (*options.size)[1]);
    else
        restoreGeometry(settings_.geometry());
    restoreState(settings_.docks(), DocksVersion);
}

Workplace::Events MainWindow::workEvents() {
    Workplace::Events events;
    events.stateChanged = [this] {
        showState();
        closeWhenDone();
    };
    events.choicesChanged = [this] { showChoices(); };
    events.said = [this](const QString& sentence, bool isError) { say(sentence, isError); };
    events.progress = [this](std::uint64_t done, std::uint64_t total, const QString& work) {
        showProgress(done, total, work);
    };
    events.cursor = [this](const QString& text) { cursor_->setText(text); };
    events.pointInfo = [this](const auto& fields) { showPointInfo(fields); };
    events.recorded = [this](const std::string& path) { sayRecorded(path); };
    events.noStore = [this] { offerStoreElsewhere(); };
    events.drawn = [this](const QString& text) { drawn_->setText(text); };
    events.key = [this](QKeyEvent& event) { return useKey(event); };
    return events;
}

QAction* MainWindow::action(const QString& name) const { return findChild<QAction*>(name); }

// ---------------------------------------------------------------------------------------------------------- the keys

/// Keys of the views. They are no shortcuts of the window: digits and letters belong to whoever has the focus.
bool MainWindow::useKey(QKeyEvent& event) {
    const int key = event.key();
    const auto with = event.modifiers() & ~Qt::KeypadModifier;
    const double walk = with.testFlag(Qt::ShiftModifier) ? 5 : 1, along = with.testFlag(Qt::ShiftModifier) ? 0.5 : 0.1;
    if (key == Qt::Key_Up || key == Qt::Key_Down) return work_->grid().walk(key == Qt::Key_Up ? walk : -walk, 0), true;
    if (key == Qt::Key_Left || key == Qt::Key_Right)
        return work_->grid().walk(0, key == Qt::Key_Right ? along : -along), true;
    if (with != Qt::NoModifier) return false;
    if (key >= Qt::Key_0 && key <= Qt::Key_9) return work_->type(key - Qt::Key_0), true;
    if (key == Qt::Key_Return || key == Qt::Key_Enter) return work_->apply(), true;
    for (QAction* tool : tools_->actions())
        if (tool->property("key").toInt() == key) return tool->trigger(), true;
    for (const auto& [letter, name] :
         {std::pair(Qt::Key_X, "swap"), std::pair(Qt::Key_F, "fit"), std::pair(Qt::Key_I, "info")})
        if (key == letter) return action(QLatin1String(name))->trigger(), true;
    return false;
}

QString MainWindow::hintText() const {
    QString text = toolHint(work_->choices().tool);
    if (work_->choices().tool != Tool::Move && work_->choices().tool != Tool::Profile)
        text += QStringLiteral(" · Shift: add · Ctrl: take out · ") +
                (work_->choices().atOnce ? QStringLiteral("applied at once") : QStringLiteral("Enter: apply"));
    return text + QStringLiteral(" · Wheel: zoom · Middle button: move · F: fit");
}

// --------------------------------------------------------------------------------------------------------- the files

void MainWindow::open(const QString& path) { open(QFile::encodeName(path).toStdString()); }

void MainWindow::open(const std::string& path) {
    const QString elsewhere = storeElsewhere(QFile::decodeName(path.c_str()));
    open(path, settings_.areKept() ? StorePlace{QFile::encodeName(elsewhere).toStdString(), true} : StorePlace());
}

void MainWindow::open(const std::string& path, const StorePlace& store) {
    opening_ = path;
    saveInPlace_.reset();
    saveStrip_->hide();
    say(QStringLiteral("Opening %1").arg(QFileInfo(QFile::decodeName(path.c_str())).fileName()), false);
    work_->open(path, store);
}

/// A survey in a folder of others can be looked at and edited, too.
void MainWindow::offerStoreElsewhere() {
    const QString store = storeElsewhere(QFile::decodeName(opening_.c_str()));
    problem_->offer(QStringLiteral("Keep its edits in %1").arg(QDir::toNativeSeparators(QFileInfo(store).path())),
                    [this, store] {
                        if (!QDir().mkpath(QFileInfo(store).path()))
                            return say(QStringLiteral("%1: cannot be made.").arg(QFileInfo(store).path()), true);
                        open(opening_, StorePlace{QFile::encodeName(store).toStdString()});
                    });
}

void MainWindow::chooseFile() {
    const QString path = QFileDialog::getOpenFileName(this, QStringLiteral("Open a survey"), {}, Surveys);
    if (!path.isEmpty()) open(path);
}

void MainWindow::fillRecent() {
    recent_->clear();
    for (const QString& path : settings_.recentFiles())
        recent_->addAction(buttonText(path), this, [this, path] { open(path); });
}

/// It lies with the data of the program, so that what is done in it is there the next time, too.
void MainWindow::openSample() {
    const QString folder = dataFolder();
    const QString path = folder + QStringLiteral("/sample.las");
    if (QFileInfo::exists(path)) return open(path);
    if (!QDir().mkpath(folder)) return say(QStringLiteral("%1: cannot be made.").arg(folder), true);
    if (sample_.joinable()) return;
    say(QStringLiteral("Inventing a survey"), false);
    sample_ = std::jthread([this, path](const std::stop_token& stop) {
        QString failure;
        try {
            writeSampleSurvey(
                QFile::encodeName(path).toStdString(), {},
                Watch([&](std::uint64_t, std::uint64_t, const std::string&) { return !stop.stop_requested(); }));
        } catch (const std::exception& error) {
            failure = QString::fromStdString(error.what());
        }
        if (stop.stop_requested()) return;
        QMetaObject::invokeMethod(
            this,
            [this, path, failure] {
                sample_.join();
                if (failure.isEmpty())
                    open(path);
                else
                    say(failure, true);
            },
            Qt::QueuedConnection);
    });
}

void MainWindow::save() {
    if (!work_->isOpen()) return;
    if (!saveInPlace_) // asked once for each survey that is opened
        return saveStrip_->ask(QFileInfo(QString::fromStdString(work_->state().path)).fileName());
    if (*saveInPlace_)
        work_->saveInPlace();
    else if (!work_->state().copyPath.empty())
        work_->saveCopy(work_->state().copyPath, true);
    else
        saveCopy();
}

void MainWindow::saveCopy() {
    if (!work_->isOpen()) return;
    const QString path =
        QFileDialog::getSaveFileName(this, QStringLiteral("Save a copy"), copyName(work_->state().path), Surveys);
    if (!path.isEmpty()) work_->saveCopy(QFile::encodeName(path).toStdString(), true); // the dialogue has asked
}

void MainWindow::chooseRecord() {
    if (!work_->isOpen()) return;
    const QString path = QFileDialog::getSaveFileName(this, QStringLiteral("Save what was done as a network"), {},
                                                      QStringLiteral("Networks (*.json)"));
    if (!path.isEmpty()) saveRecord(path);
}

void MainWindow::saveRecord(const QString& path) { work_->saveRecord(QFile::encodeName(path).toStdString()); }

void MainWindow::sayRecorded(const std::string& path) {
    say(QStringLiteral("Wrote %1; corvane run does the same again, on other surveys, too.")
            .arg(QFile::decodeName(path.c_str())),
        false);
    closeWhenDone();
}

/// What somebody has done is done first. Who closes it once more does not want to wait for that.
void MainWindow::closeEvent(QCloseEvent* event) {
    if (work_->isChanging() && !closing_) {
        closing_ = true;
        say(QStringLiteral("Closes when what is under way is done. Close it once more to stop that."), false);
        return event->ignore();
    }
    settings_.setWindow(saveGeometry(), saveState(DocksVersion));
    QMainWindow::closeEvent(event);
}

void MainWindow::closeWhenDone() {
    if (!closing_ || work_->isChanging()) return;
    QMetaObject::invokeMethod(
        this, [this] { close(); }, Qt::QueuedConnection);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
    const auto urls = event->mimeData()->urls();
    const auto file = std::ranges::find_if(urls, &QUrl::isLocalFile);
    if (file == urls.end()) return say(QStringLiteral("What was dropped is no file of this machine."), true);
    open(file->toLocalFile());
    if (urls.size() > 1) say(said() + QStringLiteral(", the first of %1 files").arg(urls.size()), false);
}

// -------------------------------------------------------------------------------------------------- what is shown

void MainWindow::setTheme(Theme theme) {
    apply(theme, *qApp);
    setIcons();
    if (QAction* chosen = action(QStringLiteral("theme-") + nameOf(theme))) chosen->setChecked(true);
    work_->setTheme(theme);
}

void MainWindow::showState() {
    const WorkbenchState& state = work_->state();
    if (!state.open) {
        start_->setRecentFiles(settings_.recentFiles());
        middle_->setCurrentWidget(start_);
        setWindowTitle(QStringLiteral("Corvane"));
        return showNothing();
    }
    if (middle_->currentWidget() == start_ || windowFilePath() != QString::fromStdString(state.path)) {
        middle_->setCurrentIndex(1);
        setWindowFilePath(QString::fromStdString(state.path));
        settings_.addRecentFile(QFileInfo(QString::fromStdString(state.path)).absoluteFilePath());
        std::vector<std::string> fields;
        for (const auto& [name, field] : state.open->fields) fields.push_back(name);
        fillColours(fields);
        const LasHeader& header = state.open->survey->las().header;
        shown_->setHeights(header.minimum[2], header.maximum[2]);
        showChoices();
        work_->grid().activate(ViewGrid::Plan);
    }
    const QString unsaved =
        state.notInFile == 0 ? QString() : QStringLiteral(" · %1 not in the file").arg(state.notInFile);
    setWindowTitle(QStringLiteral("%1%2 – Corvane").arg(QFileInfo(windowFilePath()).fileName(), unsaved));
    classes_->setRows(classRows(state, work_->notShown()), state.countsComplete);
    shown_->show(work_->notShown());
    data_->setHistory(state.data);
    mask_->setHistory(state.maskHistory);
    selection_->show(state.mask, *state.labels);
    assign_->setLabels(*state.labels);
    assign_->setCanApply(state.mask.points > 0);
    action(QStringLiteral("undo"))->setEnabled(state.data.position > 0);
    action(QStringLiteral("redo"))->setEnabled(state.data.position < state.data.size());
    action(QStringLiteral("undoMask"))->setEnabled(state.maskHistory.position > 0);
    action(QStringLiteral("redoMask"))->setEnabled(state.maskHistory.position < state.maskHistory.size());
    action(QStringLiteral("save"))->setEnabled(true);
}

void MainWindow::showNothing() {
    classes_->setRows({}, true);
    data_->setHistory({});
    mask_->setHistory({});
    selection_->show({}, {});
    assign_->setCanApply(false);
    for (const char* name : {"undo", "redo", "undoMask", "redoMask", "save"})
        action(QLatin1String(name))->setEnabled(false);
}

void MainWindow::showProgress(std::uint64_t done, std::uint64_t total, const QString& work) {
    progress_->setVisible(total > 0);
    cancel_->setVisible(total > 0);
    constexpr int steps = 1000;
    progress_->setMaximum(steps);
    progress_->setValue(total == 0 ? 0
                                   : static_cast<int>(static_cast<double>(done) / static_cast<double>(total) * steps));
    progress_->setToolTip(work);
}

void MainWindow::showPointInfo(const std::vector<std::pair<std::string, std::string>>& fields) {
    point_->setRowCount(static_cast<int>(fields.size()));
    int row = 0;
    for (const auto& [name, value] : fields) {
        point_->setItem(row, 0, std::make_unique<QTableWidgetItem>(QString::fromStdString(name)).release());
        point_->setItem(row, 1, std::make_unique<QTableWidgetItem>(QString::fromStdString(value)).release());
        ++row;
    }
    point_->resizeColumnToContents(0);
    pointDock_->show();
    closeWhenDone();
}

/// An empty sentence: something was done again, so an error is of the past.
void MainWindow::say(const QString& sentence, bool isError) {
    if (sentence.isEmpty() && !failed_) return;
    said_ = sentence;
    failed_ = isError;
    if (isError) closing_ = false; // somebody should read it
    message_->setText(isError ? QString() : sentence);
    message_->setToolTip(sentence);
    problem_->say(isError ? sentence : QString());
}

} // namespace corvane
