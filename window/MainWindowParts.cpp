// SPDX-License-Identifier: Apache-2.0
// What the window is made of: menus, tool bars, panels. What they do stands in MainWindow.cpp.
#include "Fiber/FragmentBox.hpp"
#include "window/AssignBar.hpp"
#include "window/Child.hpp"
#include "window/ClassPanel.hpp"
#include "window/HistoryPanel.hpp"
#include "window/Icons.hpp"
#include "window/MainWindow.hpp"
#include "window/ProblemStrip.hpp"
#include "window/SaveStrip.hpp"
#include "window/SelectionPanel.hpp"
#include "window/ShownPanel.hpp"
#include "window/StartPage.hpp"
#include "window/Wording.hpp"

#include <QActionGroup>
#include <QComboBox>
#include <QDockWidget>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableWidget>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include <array>
#include <set>

namespace corvane {
namespace {

struct ToolText {
    Tool tool;
    const char *name, *text;
    Qt::Key key;
};

constexpr std::array<ToolText, 9> Tools{{
    {Tool::Move, "move", "Move the picture", Qt::Key_M},
    {Tool::Lasso, "lasso", "Lasso", Qt::Key_L},
    {Tool::Polygon, "polygon", "Polygon", Qt::Key_P},
    {Tool::Rectangle, "rectangle", "Rectangle", Qt::Key_R},
    {Tool::Circle, "circle", "Circle", Qt::Key_C},
    {Tool::Paint, "paint", "Paint", Qt::Key_B},
    {Tool::Above, "above", "Above a line", Qt::Key_A},
    {Tool::Below, "below", "Below a line", Qt::Key_U},
    {Tool::Profile, "profile", "Profile along a line", Qt::Key_S},
}};

struct HowText {
    Selecting how;
    const char *name, *text, *help;
};

constexpr std::array<HowText, 3> Hows{{
    {Selecting::Replace, "replace", "Replace", "A stroke selects anew"},
    {Selecting::Add, "add", "Add", "A stroke adds to what is selected (Shift)"},
    {Selecting::Remove, "remove", "Remove", "A stroke takes points out of what is selected (Ctrl)"},
}};

struct ColoursText {
    ViewColours colours;
    const char* text;
};

const std::array<ColoursText, 6>& usualColours() {
    static const std::array<ColoursText, 6> texts{{{{ColourBy::Class, {}, false}, "Class"},
                                                   {{ColourBy::Height, {}, false}, "Height"},
                                                   {{ColourBy::Intensity, {}, false}, "Intensity"},
                                                   {{ColourBy::Return, {}, false}, "Return"},
                                                   {{ColourBy::Rgb, {}, false}, "RGB"},
                                                   {{ColourBy::Class, {}, true}, "Ground surface"}}};
    return texts;
}

/// Coordinates, and what has a colouring of its own.
bool isUsualField(const std::string& name) {
    static const std::set<std::string> usual{Fiber::PositionsName, "Intensity", "ReturnNumber", "Red", "Green", "Blue"};
    return usual.contains(name);
}

constexpr int ViewMenu = 2;  // of the bar
constexpr int IconSide = 22; // logical pixels

} // namespace

QAction* MainWindow::add(QMenu* menu, const char* name, const QString& text, const QKeySequence& key,
                         std::function<void()> function) {
    QAction* action = menu->addAction(text);
    action->setObjectName(QLatin1String(name));
    action->setShortcut(key);
    if (!key.isEmpty()) action->setToolTip(QStringLiteral("%1 (%2)").arg(text, key.toString(QKeySequence::NativeText)));
    connect(action, &QAction::triggered, this, [function = std::move(function)] { function(); });
    return action;
}

void MainWindow::addFileMenu() {
    QMenu* menu = menuBar()->addMenu(QStringLiteral("&File"));
    add(menu, "open", QStringLiteral("&Open…"), QKeySequence::Open, [this] { chooseFile(); });
    recent_ = menu->addMenu(QStringLiteral("Open &recent"));
    connect(recent_, &QMenu::aboutToShow, this, [this] { fillRecent(); });
    add(menu, "sample", QStringLiteral("Open a sa&mple survey"), {}, [this] { openSample(); });
    menu->addSeparator();
    add(menu, "save", QStringLiteral("&Save"), QKeySequence::Save, [this] { save(); });
    add(menu, "saveCopy", QStringLiteral("Save a &copy…"), QKeySequence(QStringLiteral("Ctrl+Shift+S")),
        [this] { saveCopy(); });
    add(menu, "record", QStringLiteral("Save what was done as a &network…"), {}, [this] { chooseRecord(); });
    menu->addSeparator();
    add(menu, "quit", QStringLiteral("&Quit"), QKeySequence::Quit, [this] { close(); });
}

void MainWindow::addEditMenu() {
    QMenu* menu = menuBar()->addMenu(QStringLiteral("&Edit"));
    add(menu, "undo", QStringLiteral("&Undo"), QKeySequence::Undo, [this] { work_->undo(); });
    add(menu, "redo", QStringLiteral("&Redo"), QKeySequence(QStringLiteral("Ctrl+Shift+Z")), [this] { work_->redo(); });
    menu->addSeparator();
    add(menu, "undoMask", QStringLiteral("Undo the selection's last change"), QKeySequence(QStringLiteral("Alt+Z")),
        [this] { work_->undoMask(); });
    add(menu, "redoMask", QStringLiteral("Redo it"), QKeySequence(QStringLiteral("Alt+Shift+Z")),
        [this] { work_->redoMask(); });
    add(menu, "clear", QStringLiteral("&Clear the selection"), QKeySequence(QStringLiteral("Ctrl+D")),
        [this] { work_->clearSelection(); });
    menu->addSeparator();
    add(menu, "apply", QStringLiteral("&Apply the class"), {}, [this] { work_->apply(); });
    add(menu, "cancel", QStringLiteral("Ca&ncel what is under way"), QKeySequence(QStringLiteral("Ctrl+.")),
        [this] { work_->cancel(); });
    add(menu, "swap", QStringLiteral("E&xchange the classes"), {}, [this] {
        Choices changed = work_->choices();
        swapClasses(changed);
        work_->choose(changed);
    });
}

void MainWindow::addViewMenu() {
    QMenu* menu = menuBar()->addMenu(QStringLiteral("&View"));
    add(menu, "fit", QStringLiteral("&Fit"), {}, [this] { work_->fit(); });
    add(menu, "back", QStringLiteral("&Previous view"), QKeySequence(QStringLiteral("Alt+Left")),
        [this] { work_->grid().active().lookBack(); });
    add(menu, "info", QStringLiteral("&Point under the cursor"), {}, [this] { work_->askPointInfo(); });
    menu->addSeparator();
    viewCounts_ = childOf<QActionGroup>(static_cast<QObject*>(this));
    for (const int count : {1, 2, 4}) {
        const QString text = count == 1 ? QStringLiteral("One view") : QStringLiteral("%1 views").arg(count);
        QAction* action = add(menu, "", text, QKeySequence(QStringLiteral("Ctrl+%1").arg(count)), [this, count] {
            work_->setViews(count);
            settings_.setViews(count);
        });
        action->setObjectName(QStringLiteral("views%1").arg(count));
        action->setCheckable(true);
        action->setData(count);
        viewCounts_->addAction(action);
    }
    QAction* follow = add(menu, "follow", QStringLiteral("The plan &follows the profile"), {}, [] {});
    follow->setCheckable(true);
    connect(follow, &QAction::toggled, this, [this](bool on) { work_->grid().setFollow(on); });
    add(menu, "showAll", QStringLiteral("Show &all points"), {}, [this] { work_->setNotShown({}); });
    menu->addSeparator();
    auto* themes = childOf<QActionGroup>(static_cast<QObject*>(this));
    for (const Theme theme : {Theme::Auto, Theme::Light, Theme::Dark}) {
        QAction* action =
            add(menu, "", QStringLiteral("Colours of the window: %1").arg(nameOf(theme)), {}, [this, theme] {
                settings_.setTheme(nameOf(theme));
                setTheme(theme);
            });
        action->setObjectName(QStringLiteral("theme-") + nameOf(theme));
        action->setCheckable(true);
        themes->addAction(action);
    }
}

void MainWindow::addTools(QToolBar& bar) {
    tools_ = childOf<QActionGroup>(static_cast<QObject*>(this));
    QMenu* menu = menuBar()->addMenu(QStringLiteral("&Tools"));
    for (const ToolText& tool : Tools) {
        QAction* action = add(menu, tool.name, QString::fromLatin1(tool.text), {},
                              [this, tool] { work_->choose(&Choices::tool, tool.tool); });
        const QString key = QKeySequence(tool.key).toString();
        action->setText(action->text() + QLatin1Char('\t') + key);
        action->setToolTip(QStringLiteral("%1 (%2)").arg(QString::fromLatin1(tool.text), key));
        action->setCheckable(true);
        action->setData(static_cast<int>(tool.tool));
        action->setProperty("key", static_cast<int>(tool.key));
        tools_->addAction(action);
        bar.addAction(action);
    }
    menu->addSeparator();
    menu->addActions(hows_->actions());
    QAction* atOnce = add(menu, "atOnce", QStringLiteral("Apply each stroke at &once"), {}, [] {});
    atOnce->setCheckable(true);
    connect(atOnce, &QAction::toggled, this, [this](bool on) { work_->choose(&Choices::atOnce, on); });
    menu->addMenu(&assign_->classesToChange());
}

void MainWindow::addColours(QToolBar& bar) {
    colours_ = childOf<QComboBox>(static_cast<QWidget*>(&bar));
    colours_->setFocusPolicy(Qt::NoFocus);
    colours_->setToolTip(QStringLiteral("By what the points of the view are coloured"));
    connect(colours_, QOverload<int>::of(&QComboBox::activated), this, [this](int row) { colourBy(row); });
    bar.addWidget(colours_);
    coloursMenu_ = menuBar()->actions()[ViewMenu]->menu()->addMenu(QStringLiteral("&Colours"));
    fillColours({});
}

/// The usual ones, and the other fields of the survey.
void MainWindow::fillColours(const std::vector<std::string>& fields) {
    colours_->clear();
    colourings_.clear();
    for (const ColoursText& usual : usualColours()) {
        colours_->addItem(QString::fromLatin1(usual.text));
        colourings_.push_back(usual.colours);
    }
    for (const std::string& field : fields) {
        if (isUsualField(field)) continue;
        colours_->addItem(QString::fromStdString(field));
        colourings_.push_back({ColourBy::Field, field, false});
    }
    coloursMenu_->clear();
    for (int row = 0; row < colours_->count(); ++row)
        coloursMenu_->addAction(buttonText(colours_->itemText(row)), this, [this, row] { colourBy(row); });
}

void MainWindow::colourBy(int row) {
    work_->setColours(work_->grid().active().number(), colourings_[static_cast<std::size_t>(row)]);
}

void MainWindow::addToolBars() {
    QToolBar* bar = addToolBar(QStringLiteral("Edit"));
    bar->setObjectName(QStringLiteral("editBar"));
    for (const char* name : {"open", "save", "undo", "redo"}) bar->addAction(action(QLatin1String(name)));
    bar->addSeparator();
    AssignBar::Actions actions;
    actions.assignTo = [this](int value) { work_->choose(&Choices::to, value); };
    actions.changeFrom = [this](std::set<int> classes) { work_->choose(&Choices::from, std::move(classes)); };
    actions.swap = [this] { action(QStringLiteral("swap"))->trigger(); };
    actions.apply = [this] { work_->apply(); };
    actions.atOnce = [this](bool on) { work_->choose(&Choices::atOnce, on); };
    actions.depth = [this](double depth) { work_->choose(&Choices::depth, depth); };
    assign_ = childOf<AssignBar>(static_cast<QWidget*>(bar), std::move(actions));
    bar->addWidget(assign_);
    bar->addSeparator();
    hows_ = childOf<QActionGroup>(static_cast<QObject*>(this));
    for (const HowText& how : Hows) {
        QAction* action = bar->addAction(QString::fromLatin1(how.text));
        action->setObjectName(QLatin1String(how.name));
        action->setToolTip(QString::fromLatin1(how.help));
        action->setCheckable(true);
        action->setData(static_cast<int>(how.how));
        hows_->addAction(action);
        connect(action, &QAction::triggered, this, [this, how] { work_->choose(&Choices::how, how.how); });
    }
    bar->addSeparator();
    addColours(*bar);
    bar->addAction(action(QStringLiteral("fit")));
    auto tools = std::make_unique<QToolBar>(QStringLiteral("Tools"));
    tools->setObjectName(QStringLiteral("toolBar"));
    addTools(*tools);
    for (QToolBar* each : {bar, tools.get()}) each->setIconSize({IconSide, IconSide});
    addToolBar(Qt::LeftToolBarArea, tools.release()); // the window owns it
}

void MainWindow::addMiddle() {
    middle_ = childOf<QStackedWidget>(static_cast<QWidget*>(this));
    StartPage::Actions actions;
    actions.chooseFile = [this] { chooseFile(); };
    actions.openSample = [this] { openSample(); };
    actions.open = [this](const QString& path) { open(path); };
    start_ = childOf<StartPage>(static_cast<QWidget*>(middle_), std::move(actions));
    auto* canvas = childOf<QWidget>(static_cast<QWidget*>(middle_));
    auto* column = childOf<QVBoxLayout>(canvas);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(&work_->grid(), 1);
    const auto saveAlways = [this](bool inPlace) {
        saveInPlace_ = inPlace;
        save();
    };
    saveStrip_ = childOf<SaveStrip>(canvas, SaveStrip::Actions{[saveAlways] { saveAlways(true); },
                                                               [saveAlways] { saveAlways(false); },
                                                               [this] { work_->grid().active().setFocus(); }});
    column->addWidget(saveStrip_);
    hint_ = childOf<QLabel>(canvas);
    hint_->setContentsMargins(10, 4, 10, 4);
    hint_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont small = hint_->font();
    small.setPointSizeF(small.pointSizeF() * 0.88);
    hint_->setFont(small);
    column->addWidget(hint_);
    middle_->addWidget(start_);
    middle_->addWidget(canvas);
    auto* centre = childOf<QWidget>(static_cast<QWidget*>(this));
    auto* centred = childOf<QVBoxLayout>(centre);
    centred->setContentsMargins(0, 0, 0, 0);
    centred->setSpacing(0);
    centred->addWidget(middle_, 1);
    problem_ = childOf<ProblemStrip>(centre);
    centred->addWidget(problem_);
    setCentralWidget(centre);
    setAcceptDrops(true);
}

QDockWidget* MainWindow::addDock(const char* name, const QString& title, QWidget* content) {
    auto* dock = childOf<QDockWidget>(static_cast<QWidget*>(this), title);
    dock->setObjectName(QLatin1String(name));
    dock->setWidget(content); // owns it
    addDockWidget(Qt::RightDockWidgetArea, dock);
    menuBar()->actions()[ViewMenu]->menu()->addAction(dock->toggleViewAction());
    return dock;
}

void MainWindow::addPanels() {
    auto* self = static_cast<QWidget*>(this);
    ClassPanel::Actions actions;
    actions.show = [this](int value, bool shown) { work_->showClass(value, shown); };
    actions.showOnly = [this](int value) { work_->showOnlyClass(value); };
    actions.lock = [this](int value, bool locked) { work_->setLocked(value, locked); };
    actions.chooseTarget = [this](int value) { work_->choose(&Choices::to, value); };
    actions.chooseSource = [this](int value) {
        Choices changed = work_->choices();
        if (!changed.from.erase(value)) changed.from.insert(value);
        work_->choose(changed);
    };
    classes_ = childOf<ClassPanel>(self, std::move(actions));
    addDock("classesDock", QStringLiteral("Classes"), classes_);
    auto* tabs = childOf<QTabWidget>(self);
    data_ = childOf<HistoryPanel>(self, QStringLiteral("As the survey was"),
                                  [this](int done) { work_->goToStep(Which::Data, done); });
    mask_ = childOf<HistoryPanel>(self, QStringLiteral("Nothing selected"),
                                  [this](int done) { work_->goToStep(Which::Mask, done); });
    tabs->addTab(data_, QStringLiteral("Edits"));
    tabs->addTab(mask_, QStringLiteral("Selection"));
    tabs->setDocumentMode(true);
    addDock("historyDock", QStringLiteral("History"), tabs);
    selection_ = childOf<SelectionPanel>(self);
    QDockWidget* selectionDock = addDock("selectionDock", QStringLiteral("Selection"), selection_);
    shown_ = childOf<ShownPanel>(self, [this](const NotShown& notShown) { work_->setNotShown(notShown); });
    QDockWidget* shownDock = addDock("shownDock", QStringLiteral("Shown"), shown_);
    tabifyDockWidget(selectionDock, shownDock);
    selectionDock->raise();
    point_ = childOf<QTableWidget>(self);
    point_->setColumnCount(2);
    point_->horizontalHeader()->hide();
    point_->horizontalHeader()->setStretchLastSection(true);
    point_->verticalHeader()->hide();
    point_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    point_->setShowGrid(false);
    pointDock_ = addDock("pointDock", QStringLiteral("Point"), point_);
    pointDock_->hide();
    QList<QDockWidget*> docks;
    for (const char* name : {"classesDock", "historyDock", "selectionDock"})
        docks += findChild<QDockWidget*>(QLatin1String(name));
    resizeDocks(docks, {12, 7, 6}, Qt::Vertical); // shares
    constexpr int width = 440;                    // logical pixels, for names of classes and their numbers
    resizeDocks({docks.front()}, {width}, Qt::Horizontal);
}

void MainWindow::addStatusBar() {
    auto* bar = static_cast<QWidget*>(statusBar());
    message_ = childOf<QLabel>(bar);
    message_->setTextFormat(Qt::PlainText);
    message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    message_->setContentsMargins(8, 0, 0, 0);
    progress_ = childOf<QProgressBar>(bar);
    progress_->setMaximumWidth(160);
    progress_->setTextVisible(false);
    cancel_ = childOf<QToolButton>(bar);
    cancel_->setText(QStringLiteral("Cancel"));
    cancel_->setFocusPolicy(Qt::NoFocus);
    connect(cancel_, &QToolButton::clicked, this, [this] { work_->cancel(); });
    drawn_ = childOf<QLabel>(bar);
    cursor_ = childOf<QLabel>(bar);
    cursor_->setContentsMargins(8, 0, 8, 0);
    statusBar()->addWidget(message_, 1);
    for (QWidget* widget : {static_cast<QWidget*>(drawn_), static_cast<QWidget*>(progress_),
                            static_cast<QWidget*>(cancel_), static_cast<QWidget*>(cursor_)})
        statusBar()->addPermanentWidget(widget);
    progress_->hide();
    cancel_->hide();
}

void MainWindow::setIcons() {
    const QColor ink = palette().color(QPalette::ButtonText);
    for (QAction* action : tools_->actions()) action->setIcon(toolIcon(static_cast<Tool>(action->data().toInt()), ink));
    const std::array<std::pair<const char*, Sign>, 5> signs{
        {{"open", Sign::Open}, {"save", Sign::Save}, {"undo", Sign::Undo}, {"redo", Sign::Redo}, {"fit", Sign::Fit}}};
    for (const auto& [name, sign] : signs) action(QLatin1String(name))->setIcon(signIcon(sign, ink));
}

/// The row of the combo for what the view is coloured by.
void MainWindow::showChoices() {
    const Choices& choices = work_->choices();
    for (QAction* action : tools_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(choices.tool));
    for (QAction* action : hows_->actions())
        action->setChecked(action->data().toInt() == static_cast<int>(choices.how));
    for (QAction* action : viewCounts_->actions()) action->setChecked(action->data().toInt() == work_->grid().count());
    const ViewColours present = work_->colours(work_->grid().active().number());
    for (std::size_t row = 0; row < colourings_.size(); ++row)
        if (colourings_[row] == present) colours_->setCurrentIndex(static_cast<int>(row));
    assign_->setChoices(choices);
    action(QStringLiteral("atOnce"))->setChecked(choices.atOnce);
    hint_->setText(hintText());
}

} // namespace corvane
