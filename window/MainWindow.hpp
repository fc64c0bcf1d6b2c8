// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "session/WindowLibrary.hpp"
#include "window/Settings.hpp"
#include "window/Workplace.hpp"

#include <QMainWindow>

#include <memory>
#include <thread>

class QActionGroup;
class QComboBox;
class QDockWidget;
class QLabel;
class QProgressBar;
class QStackedWidget;
class QTableWidget;
class QToolBar;
class QToolButton;

namespace corvane {

class AssignBar;
class ClassPanel;
class HistoryPanel;
class ProblemStrip;
class SaveStrip;
class SelectionPanel;
class ShownPanel;
class StartPage;

/// The window: views in the middle, panels around them, and everything that can be done as actions with keys.
class MainWindow : public QMainWindow {
public:
    explicit MainWindow(const WindowOptions& options);
    ~MainWindow() override;

    /// As bytes, since names of files need not be UTF-8.
    void open(const std::string& path);
    void open(const QString& path);

    void open(const std::string& path, const StorePlace& store);

    /// Writes what was done since then as a network file, when the update thread has come to that.
    void saveRecord(const QString& path);

    Workplace& work() { return *work_; }

    /// The action of that name, e.g. "undo"; null when there is none.
    QAction* action(const QString& name) const;

    /// The last sentence that was said, and whether it was of an error.
    const QString& said() const { return said_; }
    bool failed() const { return failed_; }

private:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool useKey(QKeyEvent& event);

    Workplace::Events workEvents();
    QAction* add(QMenu* menu, const char* name, const QString& text, const QKeySequence& key,
                 std::function<void()> function);
    void addFileMenu();
    void addEditMenu();
    void addViewMenu();
    void addToolBars();
    void addTools(QToolBar& bar);
    void fillColours(const std::vector<std::string>& fields);
    void addColours(QToolBar& bar);
    void colourBy(int row);
    void addMiddle();
    void addPanels();
    void addStatusBar();
    void restoreWindow(const WindowOptions& options);
    QDockWidget* addDock(const char* name, const QString& title, QWidget* content);

    void setTheme(Theme theme);
    void setIcons();
    void chooseFile();
    void openSample();
    void offerStoreElsewhere();
    void save();
    void saveCopy();
    void chooseRecord();
    void sayRecorded(const std::string& path);
    void fillRecent();

    void showState();
    void showChoices();
    void showProgress(std::uint64_t done, std::uint64_t total, const QString& work);
    void showPointInfo(const std::vector<std::pair<std::string, std::string>>& fields);
    void say(const QString& sentence, bool isError);
    void showNothing();
    void closeWhenDone();
    QString hintText() const;

    std::optional<bool> saveInPlace_; // none: nobody was asked yet
    Settings settings_;               // a picture for a script is the same whatever somebody chose by hand
    QString said_;
    bool failed_ = false;
    std::string opening_;  // the last file that was to be opened
    bool closing_ = false; // as soon as nothing is under way
    std::unique_ptr<Workplace> work_;
    std::jthread sample_; // that is being written

    // Their parent is this.
    QStackedWidget* middle_ = nullptr;
    StartPage* start_ = nullptr;
    AssignBar* assign_ = nullptr;
    ClassPanel* classes_ = nullptr;
    HistoryPanel *data_ = nullptr, *mask_ = nullptr;
    SelectionPanel* selection_ = nullptr;
    ShownPanel* shown_ = nullptr;
    QTableWidget* point_ = nullptr;
    SaveStrip* saveStrip_ = nullptr;
    QWidget* pointDock_ = nullptr;
    QMenu* coloursMenu_ = nullptr;
    ProblemStrip* problem_ = nullptr;
    QLabel *hint_ = nullptr, *message_ = nullptr, *cursor_ = nullptr, *drawn_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QToolButton* cancel_ = nullptr;
    QComboBox* colours_ = nullptr;
    std::vector<ViewColours> colourings_; // by row of the box
    QMenu* recent_ = nullptr;
    QActionGroup *tools_ = nullptr, *viewCounts_ = nullptr, *hows_ = nullptr;
};

} // namespace corvane
