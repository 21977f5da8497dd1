// The parts of the main window that are built once: workspace, menus, toolbar and status bar.
#include "MainWindow.h"

#include "DetachableTabWidget.h"
#include "DeviceActions.h"
#include "DeviceController.h"
#include "ElidedLabel.h"
#include "ExperimentTab.h"
#include "LossIndicator.h"
#include "StatusBarRoom.h"
#include "WorkspaceShortcuts.h"

#include <QAction>
#include <QActionGroup>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

// The themes offered, by the names under which configurations keep them.
constexpr const char* kThemeNames[] = {
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::MainWindow", "qorn"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::MainWindow", "Dark"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::MainWindow", "Bright"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::MainWindow", "High contrast"),
    QT_TRANSLATE_NOOP("qorn::timetagger::gui::MainWindow", "Classic")};

constexpr int kRelayWatchMs = 500; // a loss is told within a second

// Room of the status bar's texts in characters, at least and at most. Which instrument it is matters more
// than the detail, whose whole text stands in its tool tip. The room of the flags is given to them.
constexpr int kFlagLeast = 0;
constexpr int kFlagMost = 100;
constexpr int kConnectionLeast = 16;
constexpr int kConnectionMost = 60;
constexpr int kDetailLeast = 4;
constexpr int kDetailMost = 30;

} // namespace

void MainWindow::buildWorkspace() {
    workspace = new QWidget(pages);
    auto* layout = new QVBoxLayout(workspace);
    layout->setContentsMargins(10, 8, 10, 10);
    layout->setSpacing(8);
    tabs = new DetachableTabWidget(workspace);
    tabs->setObjectName(QStringLiteral("ExperimentTabs"));
    tabs->setDocumentMode(false);
    tabs->setMovable(true);
    tabs->setTabsClosable(true);
    layout->addWidget(tabs, 1);
    connect(tabs, &DetachableTabWidget::addRequested, this, &MainWindow::onAddExperiment);
    connect(tabs, &QTabWidget::tabCloseRequested, this, &MainWindow::closeExperimentTab);
    connect(tabs, &QTabWidget::currentChanged, this, [this](int index) {
        if (auto* tab = qobject_cast<ExperimentTab*>(tabs->widget(index))) {
            activate(tab);
        }
    });
    auto* shortcuts = new WorkspaceShortcuts(*workspace, *tabs);
    connect(shortcuts, &WorkspaceShortcuts::closeRequested, this, &MainWindow::closeExperimentTab);
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    closeDeviceAction = file->addAction(tr("&Close device"), this, &MainWindow::onCloseDevice);
    file->addSeparator();
    file->addAction(tr("&Load configuration..."), this, &MainWindow::onLoadConfig);
    file->addSeparator();
    file->addAction(tr("Save &all..."), this, &MainWindow::onSaveAll);
    file->addAction(tr("Save &UI config..."), this, &MainWindow::onSaveUiConfig);
    file->addAction(tr("Save &experiment config..."), this, &MainWindow::onSaveExperimentConfig);
    file->addSeparator();
    file->addAction(tr("E&xit"), this, &MainWindow::close);

    deviceActions = new DeviceActions(*controller, *menuBar()->addMenu(tr("&Device")), *this, this);

    QMenu* experiments = menuBar()->addMenu(tr("&Experiments"));
    newExperimentAction =
        experiments->addAction(tr("&New experiment..."), this, &MainWindow::onAddExperiment);
    newExperimentAction->setShortcut(DetachableTabWidget::addKey());
    buildThemeMenu();
}

void MainWindow::buildThemeMenu() {
    QMenu* themes = menuBar()->addMenu(tr("&View"))->addMenu(tr("&Theme"));
    themeActions = new QActionGroup(this);
    themeActions->setExclusive(true);
    for (const char* name : kThemeNames) {
        QAction* action = themes->addAction(tr(name));
        action->setCheckable(true);
        action->setData(QLatin1String(name));
        themeActions->addAction(action);
    }
    connect(themeActions, &QActionGroup::triggered, this,
            [this](const QAction* action) { applyTheme(action->data().toString()); });
}

void MainWindow::buildToolbar() {
    mainToolbar = addToolBar(tr("Main"));
    mainToolbar->setObjectName(QStringLiteral("MainToolBar"));
    mainToolbar->setMovable(false);
    mainToolbar->setFloatable(false);
}

void MainWindow::buildStatusBar() {
    const auto add = [this](ElidedLabel* flag) {
        flag->setObjectName(QStringLiteral("StatusFlag"));
        flag->setAlignment(Qt::AlignCenter);
        setStatusFlag(flag, flag->text(), FlagState::Muted);
        statusBar()->addPermanentWidget(flag, 0);
        return flag;
    };
    QList<ElidedLabel*> flags;
    const auto addFlag = [&](const QString& text) {
        auto* flag = add(new ElidedLabel(text, kFlagLeast, kFlagMost, this));
        flag->setElision(Qt::ElideLeft); // the value stands at the end
        flags.append(flag);
        return flag;
    };
    auto* connection = new ElidedLabel(tr("Not connected"), kConnectionLeast, kConnectionMost, this);
    connection->setElision(Qt::ElideMiddle); // the serial stands at the end
    connection->setAccessibleDescription(tr("Connection"));
    connectionLabel = connection;
    statusBar()->addPermanentWidget(connectionLabel, 1);
    calibrationFlag = addFlag(tr("Cal upload: -"));
    clockLockFlag = addFlag(tr("Clock lock: -"));
    clockOutFlag = addFlag(tr("Clock out: -"));
    acquisitionFlag = addFlag(tr("Acquisition: idle"));
    auto* detail = add(new ElidedLabel(tr("idle"), kDetailLeast, kDetailMost, this));
    detail->setAccessibleDescription(tr("Acquisition detail"));
    acquisitionDetail = detail;
    auto* losses = new LossIndicator(this); // makes way for nothing
    statusBar()->addPermanentWidget(losses, 0);
    losses->hide(); // a status bar shows what it is given
    connect(controller, &DeviceController::tagFlowChanged, losses, &LossIndicator::takeFlow);
    // The relay server has clients, and loses tags, beyond the end of a capture too.
    auto* relayWatch = new QTimer(losses);
    connect(relayWatch, &QTimer::timeout, losses,
            [this, losses] { losses->takeRelayLosses(controller->relayServerStats().tags_lost); });
    relayWatch->start(kRelayWatchMs);
    flags.append(losses);
    new StatusBarRoom(*statusBar(), flags, {connection, detail, flags[2], flags[0], flags[1], flags[3]});
}

} // namespace qorn::timetagger::gui
