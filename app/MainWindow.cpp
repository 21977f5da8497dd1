#include "MainWindow.h"

#include "ActionStates.h"
#include "BarChartWidget.h"
#include "ClockIndicators.h"
#include "ConfigurationFile.h"
#include "ControllerPort.h"
#include "DetachableTabWidget.h"
#include "DeviceActions.h"
#include "DeviceController.h"
#include "ExitPrompt.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "ExperimentTypeText.h"
#include "MeasurementFileNames.h"
#include "MeasurementScheduler.h"
#include "NewExperimentDialog.h"
#include "PlotScheme.h"
#include "SetupPage.h"
#include "SleepingTabs.h"
#include "SplitView.h"
#include "ThemeStyle.h"
#include "WarningBox.h"

#include <QAction>
#include <QActionGroup>
#include <QCloseEvent>
#include <QFileDialog>
#include <QLabel>
#include <QMenuBar>
#include <QMessageBox>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>

namespace qorn::timetagger::gui {
namespace {

constexpr int kClockPollMs = 2000;
constexpr int kOpenedMessageMs = 2000;
constexpr int kSavedMessageMs = 4000;
constexpr const char* kDefaultTheme = "qorn";

// Six pairs are more than a scheme has colours for.
bool showsPairs(const BarChartWidget& plot, const ExperimentTab& tab) {
    return plot.objectName() == QLatin1String("coincidenceTracePlot") ||
           tab.experimentType() == QLatin1String("Multi correlation");
}

// Traces of pairs keep their own colours, on the scheme's ground.
void applyScheme(BarChartWidget& plot, const ExperimentTab& tab, const QString& scheme) {
    if (showsPairs(plot, tab)) {
        const PlotScheme colors = plotScheme(scheme);
        plot.setStyleSheet(QStringLiteral("#%1 { background: %2; color: %3; }")
                               .arg(plot.objectName(), colors.background.name(), colors.foreground.name()));
        return;
    }
    const PlotOptions options = plot.plotOptions();
    plot.setPlotOptions(scheme, options.fontPointSize, options.lineWidth, options.penStyle);
}

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), themeName(QLatin1String(kDefaultTheme)) {
    setWindowTitle(tr("QORN TDC"));
    resize(1220, 760);
    setMinimumSize(900, 600);
    setDockNestingEnabled(true);
    setDockOptions(AllowNestedDocks | AllowTabbedDocks | GroupedDragging);

    controller = new DeviceController(this);
    port = std::make_unique<ControllerPort>(*controller);
    scheduler = new MeasurementScheduler(*port, this);

    pages = new QStackedWidget(this);
    setup = new SetupPage(pages);
    buildWorkspace();
    sleepingTabs = new SleepingTabs(
        *tabs, [this](const SavedExperiment& saved) { return makeExperiment(saved); }, this);
    pages->addWidget(setup);
    pages->addWidget(workspace);
    setCentralWidget(pages);

    buildMenus();
    buildToolbar();
    buildStatusBar();
    applyTheme(themeName);
    mainToolbar->hide();
    menuBar()->hide();

    connectSetupPage();
    connectController();
    connectScheduler();
    connectDeviceActions();
    prepareOpening();
    clockTimer = new QTimer(this);
    clockTimer->setInterval(kClockPollMs);
    connect(clockTimer, &QTimer::timeout, controller, &DeviceController::refreshClockStatus);

    loadConfigFile(defaultConfigPath());
    updateActionStates();
    QTimer::singleShot(0, controller, &DeviceController::discoverDevices);
}

// The controller ends first, while all that its task may still report to stands.
MainWindow::~MainWindow() {
    controller->disconnect(this);
    controller->disconnect(scheduler);
    controller->close();
}

void MainWindow::connectSetupPage() {
    connect(setup, &SetupPage::refreshRequested, controller, &DeviceController::discoverDevices);
    connect(setup, &SetupPage::usbCycleRequested, controller, &DeviceController::cycleUsbDevice);
    connect(setup, &SetupPage::connectRequested, this, [this](const QString& selected) {
        reconnectThen(tr("Reconnecting selected device..."),
                      [this, selected] { openSelectedPort(selected.trimmed()); });
    });
    connect(setup, &SetupPage::relayConnectRequested, this,
            [this](const QString& host, quint16 streamPort, quint16 statusPort) {
                reconnectThen(tr("Connecting to network relay..."), [this, host, streamPort, statusPort] {
                    controller->openRelay(host, streamPort, statusPort);
                });
            });
}

void MainWindow::connectController() {
    connect(controller, &DeviceController::discoveryStarted, setup, &SetupPage::setScanning);
    connect(controller, &DeviceController::devicesDiscovered, setup, &SetupPage::setDevices);
    connect(controller, &DeviceController::usbCycleStarted, setup, &SetupPage::setUsbCycleStarted);
    connect(controller, &DeviceController::usbCycleFinished, setup, &SetupPage::setUsbCycleFinished);
    connect(controller, &DeviceController::opened, this, &MainWindow::onDeviceOpened);
    connect(controller, &DeviceController::openFailed, this, &MainWindow::onDeviceOpenFailed);
    connect(controller, &DeviceController::closed, this, &MainWindow::onDeviceClosed);
    connect(controller, &DeviceController::calibrationRestoreFailed, this,
            [this](const QString&, const QString& text) { statusBar()->showMessage(text, kSavedMessageMs); });
    connect(controller, &DeviceController::captureError, this, &MainWindow::onCaptureError);
    connect(controller, &DeviceController::captureStopped, scheduler,
            &MeasurementScheduler::onCaptureStopped);
    connect(controller, &DeviceController::tagsBatch, scheduler, &MeasurementScheduler::onTagsBatch);
    connect(controller, &DeviceController::counterSample, scheduler, &MeasurementScheduler::onCounterSample);
    connect(controller, &DeviceController::coincidenceSample, scheduler,
            &MeasurementScheduler::onCoincidenceSample);
    connect(controller, &DeviceController::clockStatusChanged, this, &MainWindow::onClockStatusChanged);
}

void MainWindow::connectScheduler() {
    connect(scheduler, &MeasurementScheduler::detailTextChanged, acquisitionDetail, &QLabel::setText);
    connect(scheduler, &MeasurementScheduler::acquisitionIndicatorChanged, this,
            [this](const QString& text, FlagState state) { setStatusFlag(acquisitionFlag, text, state); });
    connect(scheduler, &MeasurementScheduler::experimentActivated, this, &MainWindow::activate);
    connect(scheduler, &MeasurementScheduler::messageShown, this,
            [this](const QString& text, int milliseconds) { statusBar()->showMessage(text, milliseconds); });
    connect(scheduler, &MeasurementScheduler::stateChanged, this, &MainWindow::updateActionStates);
}

void MainWindow::connectDeviceActions() {
    connect(deviceActions, &DeviceActions::messageShown, this,
            [this](const QString& text, int milliseconds) { statusBar()->showMessage(text, milliseconds); });
    connect(deviceActions, &DeviceActions::detailTextChanged, acquisitionDetail, &QLabel::setText);
    connect(deviceActions, &DeviceActions::calibrationIndicatorChanged, this,
            [this](const QString& text, FlagState state) { setStatusFlag(calibrationFlag, text, state); });
    connect(deviceActions, &DeviceActions::testSourceChosen, this, [this](const TestSource& source) {
        scheduler->setSignalSource({source.internal, source.rateKhz});
        updateAllLogContexts();
    });
    connect(deviceActions, &DeviceActions::stateChanged, this, &MainWindow::updateActionStates);
}

// Opens a source, after the one that is open has been closed and the event loop has run once.
void MainWindow::reconnectThen(const QString& status, const std::function<void()>& open) {
    if (!controller->hasSource()) {
        open();
        return;
    }
    setup->setStatus(status);
    controller->close();
    QTimer::singleShot(0, controller, open);
}

// What the next device is to find.
void MainWindow::prepareOpening() {
    const ClockWish& clock = deviceActions->clockWish();
    controller->setSkipCalibrationUpload(setup->skipCalibrationOnConnect());
    controller->setReferenceClockWish(clock.source, clock.signal);
}

void MainWindow::openSelectedPort(const QString& selected) {
    prepareOpening();
    controller->openPort(selected);
    if (controller->hasSource()) {
        setup->rememberConnectedPort(selected);
    }
}

void MainWindow::openStartupPort(const QString& startupPort) {
    const QString trimmed = startupPort.trimmed();
    if (trimmed.isEmpty()) {
        return;
    }
    showConnectPage();
    setup->setStatus(tr("Opening %1...").arg(trimmed));
    prepareOpening();
    controller->openPort(trimmed);
}

void MainWindow::onCloseDevice() {
    controller->close();
}

void MainWindow::onDeviceOpened(const QString& identity) {
    connectionLabel->setText(identity);
    setWindowTitle(tr("QORN TDC \u2014 %1").arg(identity));
    if (controller->hasRelay()) {
        setStatusFlag(calibrationFlag, tr("Cal upload: remote source"), FlagState::Muted);
    } else if (controller->hasHostCalibration()) {
        setStatusFlag(calibrationFlag, tr("Cal upload: pending"), FlagState::Active);
    } else {
        setStatusFlag(calibrationFlag, tr("Cal upload: required"), FlagState::Warning);
    }
    scheduler->forgetAll();
    pages->setCurrentWidget(workspace);
    mainToolbar->hide();
    menuBar()->show();
    statusBar()->showMessage(tr("Device opened"), kOpenedMessageMs);
    if (controller->hasDevice()) {
        clockTimer->start();
        controller->refreshClockStatus();
    } else {
        clockTimer->stop();
        setStatusFlag(clockLockFlag, tr("Clock lock: remote source"), FlagState::Muted);
        setStatusFlag(clockOutFlag, tr("Clock out: remote source"), FlagState::Muted);
    }
    if (tabs->count() == 0) {
        addExperimentTab(createExperiment(QStringLiteral("Counter"), tabs->pageParent()));
    }
    updateAllLogContexts();
    updateActionStates();
}

void MainWindow::onDeviceOpenFailed(const QString& message) {
    setup->setStatus(message);
    showWarning(this, tr("Open failed"), message);
    updateActionStates();
}

void MainWindow::onDeviceClosed() {
    closeAllExperiments();
    connectionLabel->setText(tr("Not connected"));
    setWindowTitle(tr("QORN TDC"));
    setStatusFlag(calibrationFlag, tr("Cal upload: -"), FlagState::Muted);
    setStatusFlag(clockLockFlag, tr("Clock lock: -"), FlagState::Muted);
    setStatusFlag(clockOutFlag, tr("Clock out: -"), FlagState::Muted);
    clockTimer->stop();
    showConnectPage();
    setup->setStatus(tr("Device closed."));
    updateActionStates();
}

void MainWindow::showConnectPage() {
    mainToolbar->hide();
    menuBar()->hide();
    pages->setCurrentWidget(setup);
}

void MainWindow::onCaptureError(const QString& message) {
    showWarning(this, tr("Capture error"), message);
}

void MainWindow::onClockStatusChanged(const UiClockStatus& status) {
    updateClockIndicators(status);
}

void MainWindow::updateClockIndicators(const UiClockStatus& status) {
    if (controller->hasRelay()) {
        return;
    }
    const ClockIndicators indicators = clockIndicatorsFor(status);
    setStatusFlag(clockLockFlag, indicators.lock.text, indicators.lock.state);
    setStatusFlag(clockOutFlag, indicators.output.text, indicators.output.state);
}

void MainWindow::updateActionStates() {
    const ActionStates states = actionStatesFor({controller->hasDevice(), controller->hasRelay(),
                                                 controller->isCapturing(), controller->isCalibrating()});
    closeDeviceAction->setEnabled(states.closeDevice);
    deviceActions->setStates(states);
    newExperimentAction->setEnabled(states.newExperiment);
}

void MainWindow::updateLogContext(ExperimentTab* tab) {
    if (tab != nullptr) {
        tab->setLogContext(controller->sourceIdentity(), controller->sourceSerial(),
                           scheduler->signalModeText(), port->streamTransportText());
    }
}

void MainWindow::updateAllLogContexts() {
    for (ExperimentTab* tab : allExperiments()) {
        updateLogContext(tab);
    }
}

void MainWindow::activate(ExperimentTab* tab) {
    activeExperiment = tab;
    updateLogContext(tab);
    updateActionStates();
}

void MainWindow::onAddExperiment() {
    NewExperimentDialog dialog(offeredExperimentTypes(), this);
    if (dialog.exec() == QDialog::Accepted) {
        addExperimentTab(createExperiment(dialog.selectedType(), tabs->pageParent()));
    }
}

QString MainWindow::nextTitle(const QString& type) {
    return QStringLiteral("%1 %2").arg(experimentTypeText(type)).arg(++tabCounter);
}

void MainWindow::adopt(ExperimentTab* tab) {
    connect(tab, &ExperimentTab::startRequested, this, [this, tab] { scheduler->startExperiment(tab); });
    connect(tab, &ExperimentTab::pauseRequested, this, [this, tab] { scheduler->pauseExperiment(tab); });
    connect(tab, &ExperimentTab::cancelRequested, this, [this, tab] { scheduler->cancelExperiment(tab); });
    connect(tab, &ExperimentTab::restartRequested, this, [this, tab] { scheduler->restartExperiment(tab); });
    connect(tab, &ExperimentTab::splitRequested, this, [this, tab] { openSplitView(tab); });
    applyPlotScheme(tab);
    updateLogContext(tab);
}

void MainWindow::addExperimentTab(ExperimentTab* tab) {
    if (tab == nullptr) {
        return;
    }
    adopt(tab);
    tabs->setCurrentIndex(tabs->addTab(tab, nextTitle(tab->experimentType())));
    activate(tab);
}

void MainWindow::openSplitView(ExperimentTab* tab) {
    if (splitView == nullptr) {
        splitView = new SplitView(this);
    }
    splitView->addExperiment(tab);
}

void MainWindow::closeExperimentTab(int index) {
    sleepingTabs->wake(index);
    auto* tab = qobject_cast<ExperimentTab*>(tabs->widget(index));
    if (tab == nullptr) {
        return;
    }
    scheduler->forgetExperiment(tab);
    if (activeExperiment == tab) {
        activeExperiment.clear();
    }
    if (splitView != nullptr) {
        splitView->removeExperiment(tab); // the plot goes with its tab
    }
    tabs->removeTab(index);
    delete tab;
    updateActionStates();
}

void MainWindow::closeAllExperiments() {
    if (splitView != nullptr) {
        splitView->returnAll();
    }
    tabs->reattachAll();
    while (tabs->count() > 0) {
        QWidget* page = tabs->widget(0);
        tabs->removeTab(0);
        delete page;
    }
    activeExperiment.clear();
    scheduler->forgetAll();
}

void MainWindow::applyTheme(const QString& name) {
    themeName = name;
    const ThemePalette& theme = paletteFor(name);
    applyThemeStyle(theme);
    for (ExperimentTab* tab : allExperiments()) {
        applyPlotScheme(tab);
    }
    for (QAction* action : themeActions->actions()) {
        action->setChecked(&paletteFor(action->data().toString()) == &theme);
    }
}

void MainWindow::applyPlotScheme(ExperimentTab* tab) {
    if (tab == nullptr) {
        return;
    }
    for (BarChartWidget* plot : tab->plots()) {
        applyScheme(*plot, *tab, plotSchemeFor(themeName));
    }
}

QJsonObject MainWindow::collectUiConfig() const {
    return {{QStringLiteral("theme"), themeName},
            {QStringLiteral("geometry"), QString::fromLatin1(saveGeometry().toBase64())},
            {QStringLiteral("currentTab"), tabs->currentIndex()}};
}

QJsonArray MainWindow::collectExperimentsConfig() const {
    QJsonArray experiments;
    for (const ExperimentTab* tab : allExperiments()) {
        experiments.append(QJsonObject{{QStringLiteral("type"), tab->experimentType()},
                                       {QStringLiteral("config"), tab->saveConfig()},
                                       {QStringLiteral("sharedConfig"), tab->sharedConfig()}});
    }
    return experiments;
}

// In tab order, then those that stand in docks.
QList<ExperimentTab*> MainWindow::allExperiments() const {
    QList<QWidget*> widgets;
    for (int index = 0; index < tabs->count(); ++index) {
        widgets.append(tabs->widget(index));
    }
    widgets.append(tabs->detachedPages());
    QList<ExperimentTab*> experiments;
    for (QWidget* widget : widgets) {
        if (auto* tab = qobject_cast<ExperimentTab*>(widget)) {
            experiments.append(tab);
        }
    }
    return experiments;
}

bool MainWindow::saveConfigFile(const QString& path, bool saveUi, bool saveExperiments) {
    Configuration configuration;
    if (saveUi) {
        configuration.ui = collectUiConfig();
    }
    if (saveExperiments) {
        sleepingTabs->wakeAll();
        configuration.experiments = collectExperimentsConfig();
    }
    return writeConfiguration(path, configuration);
}

bool MainWindow::loadConfigFile(const QString& path) {
    const std::optional<Configuration> configuration = readConfiguration(path);
    if (!configuration) {
        return false;
    }
    const QJsonObject ui = configuration->ui.value_or(QJsonObject());
    if (configuration->experiments) { // first: the current tab below is one of these
        applyExperimentsConfig(*configuration->experiments, ui.value(QLatin1String("currentTab")).toInt(-1));
    }
    applyUiConfig(ui);
    return true;
}

void MainWindow::applyExperimentsConfig(const QJsonArray& array, int current) {
    closeAllExperiments();
    QList<SavedExperiment> saved;
    for (const auto& value : array) {
        const QJsonObject entry = value.toObject();
        const QString type = entry.value(QLatin1String("type")).toString();
        if (isExperimentType(type)) {
            const QString key = settingsKeyFor(type);
            SharedSettings shared = SharedSettings::load(key);
            shared.takeJson(entry.value(QLatin1String("sharedConfig")).toObject());
            shared.save(key);
            saved.append({type, nextTitle(type), entry.value(QLatin1String("config")).toObject(), shared});
        }
    }
    sleepingTabs->add(saved, current);
    activate(qobject_cast<ExperimentTab*>(tabs->currentWidget()));
}

// Ready for its place.
ExperimentTab* MainWindow::makeExperiment(const SavedExperiment& saved) {
    ExperimentTab* tab = createExperiment(saved.type, tabs->pageParent());
    tab->loadConfig(saved.config);
    tab->setSharedSettings(saved.shared);
    adopt(tab);
    return tab;
}

void MainWindow::applyUiConfig(const QJsonObject& object) {
    if (const QJsonValue theme = object.value(QLatin1String("theme")); theme.isString()) {
        applyTheme(theme.toString());
    }
    if (const QJsonValue geometry = object.value(QLatin1String("geometry")); geometry.isString()) {
        restoreGeometry(QByteArray::fromBase64(geometry.toString().toLatin1()));
    }
    const int current = object.value(QLatin1String("currentTab")).toInt(-1);
    if (current >= 0 && current < tabs->count()) {
        tabs->setCurrentIndex(current);
    }
}

void MainWindow::saveConfigAs(const QString& title, const QString& done, bool saveUi, bool saveExperiments) {
    const QString path =
        QFileDialog::getSaveFileName(this, title, defaultConfigPath(), tr("Configuration (*.json)"));
    if (path.isEmpty()) {
        return;
    }
    if (saveConfigFile(path, saveUi, saveExperiments)) {
        statusBar()->showMessage(done.arg(path), kSavedMessageMs);
    } else {
        showWarning(this, tr("Save configuration"), tr("Could not write %1").arg(path));
    }
}

void MainWindow::onSaveAll() {
    saveConfigAs(tr("Save configuration (all)"), tr("Saved configuration to %1"), true, true);
}

void MainWindow::onSaveUiConfig() {
    saveConfigAs(tr("Save UI configuration"), tr("Saved UI configuration to %1"), true, false);
}

void MainWindow::onSaveExperimentConfig() {
    saveConfigAs(tr("Save experiment configuration"), tr("Saved experiment configuration to %1"), false,
                 true);
}

void MainWindow::onLoadConfig() {
    const QString path = QFileDialog::getOpenFileName(this, tr("Load configuration"), defaultConfigPath(),
                                                      tr("Configuration (*.json)"));
    if (path.isEmpty()) {
        return;
    }
    if (loadConfigFile(path)) {
        statusBar()->showMessage(tr("Loaded configuration from %1").arg(path), kSavedMessageMs);
    } else {
        showWarning(this, tr("Load configuration"), tr("Could not load %1").arg(path));
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    tabs->reattachAll(); // so that detached tabs are saved as well
    const bool saveExperiments = askToSaveExperiments(this);
    if (!saveConfigFile(defaultConfigPath(), true, saveExperiments)) {
        QMessageBox::warning(this, tr("Save configuration"),
                             tr("Could not write %1").arg(defaultConfigPath()));
    }
    QMainWindow::closeEvent(event);
}

} // namespace qorn::timetagger::gui
