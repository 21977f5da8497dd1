#include "ExperimentTab.h"

#include "BarChartWidget.h"
#include "MeasurementFileNames.h"
#include "MeasurementToolbar.h"
#include "PlotColumn.h"
#include "PlotFileActions.h"
#include "PlotSettingsDialog.h"
#include "WarningBox.h"

#include <QDir>
#include <QJsonDocument>
#include <QTimer>

namespace qorn::timetagger::gui {
namespace {

constexpr int kSnapshotMs = 1000;

} // namespace

ExperimentTab::ExperimentTab(QWidget* parent) : LateWidget(parent) {}

ExperimentTab::~ExperimentTab() = default;

bool ExperimentTab::requiresTagStreaming() const {
    return timeTagRecordingEnabled();
}

AcquisitionRequest ExperimentTab::acquisitionRequest(bool) const {
    return {};
}

QToolBar* ExperimentTab::createMeasurementToolbar(QWidget* parent, bool plotControls, bool splitAction) {
    auto* bar = new MeasurementToolbar(plotWidget(), {supportsLogging(), plotControls, splitAction}, parent);
    connect(bar, &MeasurementToolbar::playTriggered, this, &ExperimentTab::startRequested);
    connect(bar, &MeasurementToolbar::pauseTriggered, this, &ExperimentTab::pauseRequested);
    connect(bar, &MeasurementToolbar::stopTriggered, this, &ExperimentTab::cancelRequested);
    connect(bar, &MeasurementToolbar::resetTriggered, this, &ExperimentTab::restartRequested);
    connect(bar, &MeasurementToolbar::saveImageTriggered, this, &ExperimentTab::saveImage);
    connect(bar, &MeasurementToolbar::saveDataTriggered, this, &ExperimentTab::saveDisplayedDataCsv);
    connect(bar, &MeasurementToolbar::loadDataTriggered, this, &ExperimentTab::loadDisplayedData);
    connect(bar, &MeasurementToolbar::plotSettingsTriggered, this, &ExperimentTab::showPlotSettings);
    connect(bar, &MeasurementToolbar::recordToggled, this, &ExperimentTab::setTimeTagRecordingEnabled);
    connect(bar, &MeasurementToolbar::logTriggered, this, &ExperimentTab::toggleLog);
    connect(bar, &MeasurementToolbar::splitTriggered, this, &ExperimentTab::splitRequested);
    toolbar = bar;
    running = false;
    updateLogAction();
    updateTimeTagRecordAction();
    return bar;
}

QWidget* ExperimentTab::createPlotColumn(BarChartWidget* plot) {
    plotColumn = new PlotColumn(plot, this);
    plotColumn->addBelow(createMeasurementToolbar(plotColumn, true, true));
    return plotColumn;
}

void ExperimentTab::setRunningState(bool isRunning) {
    running = isRunning;
    if (toolbar) {
        toolbar->setRunning(isRunning);
    }
}

BarChartWidget* ExperimentTab::borrowPlot() {
    return plotColumn ? plotColumn->borrowPlot() : nullptr;
}

void ExperimentTab::returnPlot() {
    if (plotColumn) {
        plotColumn->returnPlot();
    }
}

void ExperimentTab::setLogContext(const QString& deviceText, const QString& serialText,
                                  const QString& sourceText, const QString& transportText) {
    context = {deviceText, serialText, sourceText, transportText};
}

QString ExperimentTab::settingsKey() const {
    return settingsKeyFor(experimentType());
}

SharedSettings& ExperimentTab::settings() const {
    if (!sharedSettings) {
        sharedSettings = SharedSettings::load(settingsKey());
    }
    return *sharedSettings;
}

bool ExperimentTab::timeTagRecordingEnabled() const {
    return settings().timeTagsEnabled;
}

void ExperimentTab::setTimeTagRecordingEnabled(bool enabled) {
    settings().timeTagsEnabled = enabled;
    settings().save(settingsKey());
    updateTimeTagRecordAction();
}

void ExperimentTab::updateTimeTagRecordAction() {
    if (toolbar) {
        toolbar->setRecording(settings().timeTagsEnabled);
    }
}

UiTimeTagRecordingConfig ExperimentTab::timeTagRecordingConfig() const {
    const SharedSettings& shared = settings();
    if (!shared.timeTagsEnabled) {
        return {};
    }
    const QString chosen = shared.timeTagsDirectory.trimmed();
    return {makeLogFilePath(chosen.isEmpty() ? defaultLogDirectory() : chosen, QStringLiteral("qornts"), 0),
            shared.timeTagsRotateSeconds, shared.timeTagsMaximumDurationSeconds};
}

QString ExperimentTab::timeTagRecordingDirectory() const {
    return settings().timeTagsDirectory;
}

void ExperimentTab::setTimeTagRecordingDirectory(const QString& directory) {
    const QString trimmed = directory.trimmed();
    if (!trimmed.isEmpty()) {
        settings().timeTagsDirectory = QDir::toNativeSeparators(trimmed);
    }
    settings().save(settingsKey());
}

QJsonObject ExperimentTab::sharedConfig() const {
    return settings().toJson();
}

void ExperimentTab::loadSharedConfig(const QJsonObject& object) {
    SharedSettings shared = settings();
    shared.takeJson(object);
    shared.save(settingsKey());
    setSharedSettings(shared);
}

void ExperimentTab::setSharedSettings(const SharedSettings& shared) {
    sharedSettings = shared;
    updateTimeTagRecordAction();
    updateLogAction();
}

bool ExperimentTab::startLog() {
    return startLogInDirectory(settings().logDirectory);
}

bool ExperimentTab::startLogInDirectory(const QString& directory) {
    const QString folder = directory.trimmed();
    if (folder.isEmpty()) {
        return false;
    }
    stopLog();
    if (!QDir().mkpath(folder)) {
        showWarning(this, tr("Log failed"), tr("Could not create log folder:\n%1").arg(folder));
        return false;
    }
    settings().logDirectory = QDir::toNativeSeparators(folder);
    QString error;
    if (!log.start(error)) {
        showWarning(this, tr("Log failed"),
                    error.isEmpty() ? tr("Could not open measurement log file.") : error);
        return false;
    }
    settings().save(settingsKey());
    if (snapshotTimer == nullptr) {
        snapshotTimer = new QTimer(this);
        snapshotTimer->setInterval(kSnapshotMs);
        connect(snapshotTimer, &QTimer::timeout, this, &ExperimentTab::appendPlotSnapshot);
    }
    snapshotTimer->start();
    updateLogAction();
    appendPlotSnapshot();
    return true;
}

void ExperimentTab::stopLog() {
    if (snapshotTimer != nullptr) {
        snapshotTimer->stop();
    }
    log.stop();
    updateLogAction();
}

void ExperimentTab::toggleLog() {
    if (log.isOpen()) {
        stopLog();
    } else {
        startLog();
    }
}

bool ExperimentTab::rolloverLogIfNeeded() {
    QString error;
    switch (log.prepare(error)) {
    case MeasurementLog::State::Ready:
        return true;
    case MeasurementLog::State::Closed:
        return false;
    case MeasurementLog::State::Ended:
        stopLog();
        return false;
    case MeasurementLog::State::Failed:
        stopLog();
        showWarning(this, tr("Log failed"),
                    error.isEmpty() ? tr("Could not create the next log file.") : error);
        return false;
    }
    return false;
}

void ExperimentTab::appendLogRow(const QStringList& fields, bool flush) {
    appendLogRows({fields}, flush);
}

void ExperimentTab::appendLogRows(const QList<QStringList>& rows, bool flush) {
    if (!rolloverLogIfNeeded()) {
        return;
    }
    for (const QStringList& row : rows) {
        log.writeRow(row);
    }
    if (flush) {
        log.flush();
    }
}

void ExperimentTab::appendLogText(const QString& text, bool flush) {
    if (!rolloverLogIfNeeded()) {
        return;
    }
    log.writeText(text);
    if (flush) {
        log.flush();
    }
}

void ExperimentTab::appendPlotSnapshot() {
    const BarChartWidget* plot = plotWidget();
    if (plot == nullptr || !rolloverLogIfNeeded()) {
        return;
    }
    log.writeSnapshot({[plot] { return plot->toBinary(); }, [plot] { return plot->toCsv(); }});
    log.flush();
}

void ExperimentTab::flushLog() {
    log.flush();
}

bool ExperimentTab::openLogFile(const QString& path, QString* error) {
    return log.openFile(path, error);
}

void ExperimentTab::closeLogFile() {
    log.closeFile();
}

void ExperimentTab::updateLogAction() {
    if (toolbar) {
        toolbar->setLogging(log.isOpen(), measurementLogExtension());
    }
}

LogPlan ExperimentTab::logPlan() const {
    const SharedSettings& shared = settings();
    return {shared.logDirectory, shared.logFormat, shared.logRotateSeconds, shared.logMaximumDurationSeconds};
}

LogHeader ExperimentTab::logHeader() const {
    return {experimentType(), context, QJsonDocument(saveConfig()).toJson(QJsonDocument::Compact),
            logCsvHeader()};
}

QString ExperimentTab::measurementLogExtension() const {
    return logExtension(settings().logFormat);
}

QString ExperimentTab::defaultLogDirectory() const {
    return gui::defaultLogDirectory();
}

QString ExperimentTab::makeLogFilePath(const QString& directory, const QString& extension, int part) const {
    return makeMeasurementFilePath(directory, {logFileStem(), context.serial, extension, logFileExtension(),
                                               part, logClock.localTime()});
}

QString ExperimentTab::csvLine(const QStringList& fields) {
    return gui::csvLine(fields);
}

void ExperimentTab::saveImage() {
    savePlotImage(plotWidget(), this);
}

void ExperimentTab::saveDisplayedDataCsv() {
    savePlotData(plotWidget(), this);
}

void ExperimentTab::loadDisplayedData() {
    loadPlotData(plotWidget(), this);
}

QList<BarChartWidget*> ExperimentTab::plots() const {
    QList<BarChartWidget*> all = findChildren<BarChartWidget*>();
    if (BarChartWidget* main = plotWidget()) { // perhaps lent to another window
        all.removeOne(main);
        all.prepend(main);
    }
    return all;
}

void ExperimentTab::showPlotSettings() {
    const BarChartWidget* plot = plotWidget();
    const PlotAndSaveSettings initial{plot != nullptr ? plot->plotOptions() : PlotOptions(), settings()};
    auto* dialog = new PlotSettingsDialog(initial, {supportsLogging(), true}, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const PlotAndSaveSettings chosen = dialog->settings();
        takePlotOptions(chosen.look);
        takeSaveSettings(chosen.saving);
    });
    dialog->open();
}

// The plots of a tab look alike.
void ExperimentTab::takePlotOptions(const PlotOptions& look) {
    for (BarChartWidget* plot : plots()) {
        plot->setPlotOptions(look.colorScheme, look.fontPointSize, look.lineWidth, look.penStyle);
    }
}

// But for the recording flag, which the toolbar may have changed behind the dialog.
void ExperimentTab::takeSaveSettings(SharedSettings chosen) {
    chosen.timeTagsEnabled = settings().timeTagsEnabled;
    chosen.logDirectory = QDir::toNativeSeparators(chosen.logDirectory);
    chosen.timeTagsDirectory = QDir::toNativeSeparators(chosen.timeTagsDirectory);
    settings() = chosen;
    settings().save(settingsKey());
    updateLogAction();
}

} // namespace qorn::timetagger::gui
