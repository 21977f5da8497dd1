// The window: the connect page and the workspace page, the menus and the status bar, and the experiment tabs.
// It joins the controller, the scheduler and the pages, and has no rules of its own about measurements.
//
// Created by main on its stack, GUI thread only.
#pragma once

#include "ExperimentTab.h"
#include "StatusFlag.h"
#include "UiClockStatus.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

class QAction;
class QActionGroup;
class QLabel;
class QStackedWidget;
class QTimer;
class QToolBar;

namespace qorn::timetagger::gui {

class ControllerPort;
class DetachableTabWidget;
class DeviceActions;
class DeviceController;
class MeasurementScheduler;
class SetupPage;
class SleepingTabs;
class SplitView;
struct SavedExperiment;

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Opens a port named at start. Blank: nothing happens.
    void openStartupPort(const QString& port);

    // Adds a tab under a title with the next number, and makes it current. Takes ownership; null: nothing
    // happens.
    void addExperimentTab(ExperimentTab* tab);
    // Ends and deletes tabs. Neither stops an acquisition that others still use.
    void closeExperimentTab(int index);
    void closeAllExperiments();

    // Configuration files; false when the file could not be written or read. Reading replaces the tabs when
    // the file holds experiments.
    bool saveConfigFile(const QString& path, bool saveUi, bool saveExperiments);
    bool loadConfigFile(const QString& path);

    // Dresses the application and all plots; an unknown name gives the default theme.
    void applyTheme(const QString& name);

    DeviceController& deviceController() { return *controller; }
    MeasurementScheduler& measurementScheduler() { return *scheduler; }
    DetachableTabWidget& experimentTabs() { return *tabs; }
    SetupPage& setupPage() { return *setup; }

public Q_SLOTS:
    void onCloseDevice();
    void onAddExperiment();
    void onDeviceOpened(const QString& identity);
    void onDeviceOpenFailed(const QString& message);
    void onCaptureError(const QString& message);
    void onClockStatusChanged(const qorn::timetagger::gui::UiClockStatus& status);
    void onSaveAll();
    void onSaveUiConfig();
    void onSaveExperimentConfig();
    void onLoadConfig();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    // The parts of the window, built once.
    void buildWorkspace();
    void buildMenus();
    void buildThemeMenu();
    void buildToolbar();
    void buildStatusBar();
    void connectSetupPage();
    void connectController();
    void connectScheduler();
    void connectDeviceActions();

    void reconnectThen(const QString& status, const std::function<void()>& open);
    void openSelectedPort(const QString& port);
    void prepareOpening();
    void onDeviceClosed();
    void showConnectPage();
    void updateActionStates();
    void updateClockIndicators(const UiClockStatus& status);
    void updateLogContext(ExperimentTab* tab);
    void updateAllLogContexts();
    void activate(ExperimentTab* tab);
    // What a tab needs before it gets its place.
    void adopt(ExperimentTab* tab);
    QString nextTitle(const QString& type);
    ExperimentTab* makeExperiment(const SavedExperiment& saved);
    void applyPlotScheme(ExperimentTab* tab);
    void openSplitView(ExperimentTab* tab);

    QList<ExperimentTab*> allExperiments() const;
    QJsonObject collectUiConfig() const;
    QJsonArray collectExperimentsConfig() const;
    void applyUiConfig(const QJsonObject& object);
    // `current` is the index of the tab that is shown then; the last one where there is none.
    void applyExperimentsConfig(const QJsonArray& array, int current);
    void saveConfigAs(const QString& title, const QString& done, bool saveUi, bool saveExperiments);

    DeviceController* controller = nullptr;
    std::unique_ptr<ControllerPort> port;
    MeasurementScheduler* scheduler = nullptr;
    QStackedWidget* pages = nullptr;
    SetupPage* setup = nullptr;
    QWidget* workspace = nullptr;
    DetachableTabWidget* tabs = nullptr;
    SleepingTabs* sleepingTabs = nullptr;
    QToolBar* mainToolbar = nullptr;
    QLabel* connectionLabel = nullptr;
    QLabel* calibrationFlag = nullptr;
    QLabel* clockLockFlag = nullptr;
    QLabel* clockOutFlag = nullptr;
    QLabel* acquisitionFlag = nullptr;
    QLabel* acquisitionDetail = nullptr;
    QString themeName;
    SplitView* splitView = nullptr; // made when first wanted
    QTimer* clockTimer = nullptr;
    QPointer<ExperimentTab> activeExperiment; // to which menus and log context refer
    int tabCounter = 0;                       // numbers titles, only grows
    DeviceActions* deviceActions = nullptr;
    QActionGroup* themeActions = nullptr;
    QAction* closeDeviceAction = nullptr;
    QAction* newExperimentAction = nullptr;
};

} // namespace qorn::timetagger::gui
