#include "ExperimentTab.h"

#include "BarChartWidget.h"
#include "MeasurementFileNames.h"
#include "MeasurementToolbar.h"
#include "PlotColumn.h"

#include <QDir>
#include <QFileDialog>
#include <QMessageBox>

namespace qorn::timetagger::gui {

ExperimentTab::ExperimentTab(QWidget* parent) : QWidget(parent) {}

ExperimentTab::~ExperimentTab() = default;

bool ExperimentTab::requiresTagStreaming() const {
    return timeTagRecordingEnabled();
}

AcquisitionRequest ExperimentTab::acquisitionRequest(bool) const {
    return {};
}

QToolBar* ExperimentTab::createMeasurementToolbar(QWidget* parent, bool plotControls, bool splitAction) {
    auto* bar = new MeasurementToolbar(plotWidget(), plotControls, splitAction, parent);
    connect(bar, &MeasurementToolbar::playTriggered, this, &ExperimentTab::startRequested);
    connect(bar, &MeasurementToolbar::pauseTriggered, this, &ExperimentTab::pauseRequested);
    connect(bar, &MeasurementToolbar::stopTriggered, this, &ExperimentTab::cancelRequested);
    connect(bar, &MeasurementToolbar::resetTriggered, this, &ExperimentTab::restartRequested);
    connect(bar, &MeasurementToolbar::saveImageTriggered, this, &ExperimentTab::saveImage);
    connect(bar, &MeasurementToolbar::recordToggled, this, &ExperimentTab::setTimeTagRecordingEnabled);
    connect(bar, &MeasurementToolbar::splitTriggered, this, &ExperimentTab::splitRequested);
    toolbar = bar;
    running = false;
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
    device = deviceText;
    serial = serialText;
    source = sourceText;
    streamTransport = transportText;
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
    const MeasurementFileName name{logFileStem(),      serial, QStringLiteral("qornts"),
                                   logFileExtension(), 0,      QDateTime::currentDateTime()};
    return {makeMeasurementFilePath(chosen.isEmpty() ? defaultLogDirectory() : chosen, name),
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
    settings().takeJson(object);
    settings().save(settingsKey());
    updateTimeTagRecordAction();
}

void ExperimentTab::saveImage() {
    BarChartWidget* plot = plotWidget();
    if (plot == nullptr) {
        return;
    }
    QString filter;
    QString path = QFileDialog::getSaveFileName(this, tr("Save Plot Image"), QString(),
                                                tr("PNG image (*.png);;JPEG image (*.jpg *.jpeg)"), &filter);
    if (path.isEmpty()) {
        return;
    }
    if (QFileInfo(path).suffix().isEmpty()) {
        path += filter.contains(QLatin1String("jpg")) ? QLatin1String(".jpg") : QLatin1String(".png");
    }
    if (!plot->grab().save(path)) {
        QMessageBox::warning(this, tr("Save failed"), tr("Could not write image file."));
    }
}

} // namespace qorn::timetagger::gui
