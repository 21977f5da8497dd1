// Base of the measurement tabs: what all of them share, their toolbar, running state, recording flag, log
// context and the lending of their plot. The window drives a tab through the virtual operations and answers
// its requests.
//
// A widget of the workspace, GUI thread only.
#pragma once

#include "AcquisitionRequest.h"
#include "SharedSettings.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiTimeTag.h"
#include "UiTimeTagRecordingConfig.h"

#include <QJsonObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QWidget>

#include <optional>

class QToolBar;

namespace qorn::timetagger::gui {

class BarChartWidget;
class MeasurementToolbar;
class PlotColumn;

class ExperimentTab : public QWidget {
    Q_OBJECT
public:
    explicit ExperimentTab(QWidget* parent = nullptr);
    ~ExperimentTab() override;

    // The tab's type name; also the key in configuration files and settings.
    virtual QString experimentType() const = 0;

    // Life cycle: a fresh acquisition begins; it stops; a paused one goes on.
    virtual void onStart() {}
    virtual void onStop() {}
    virtual void onResume() {}
    // Clears displayed accumulators while the stream keeps running.
    virtual void resetMeasurement() {}

    // The main plot, or null.
    virtual BarChartWidget* plotWidget() const { return nullptr; }

    // The measurement settings as a flat object; unknown and missing keys leave the controls alone.
    virtual QJsonObject saveConfig() const { return {}; }
    virtual void loadConfig(const QJsonObject&) {}

    // Whether the tab can consume a tag stream that another tab has started.
    virtual bool sharesTagStream() const { return true; }
    // Whether the tab needs the tag stream rather than the hardware counters.
    virtual bool requiresTagStreaming() const;
    // What to start for the tab; `streaming` says that only a tag stream will do.
    virtual AcquisitionRequest acquisitionRequest(bool streaming) const;
    // One hardware gate; reaches only the tab that started the acquisition.
    virtual void onCounterSample(const UiCounterSample&) {}
    virtual void onCoincidenceSample(const UiCoincidenceSample&) {}

    // The measurement's log: whether there is one, its columns, and its file name.
    virtual bool supportsLogging() const { return true; }
    virtual QStringList logCsvHeader() const { return {}; }
    virtual QString logFileStem() const { return experimentType(); }
    virtual QString logFileExtension() const { return QStringLiteral("csv"); }

    void setRunningState(bool isRunning);
    bool isRunning() const { return running; }

    // Hands the plot out for another window and takes it back; null when there is none to lend.
    BarChartWidget* borrowPlot();
    void returnPlot();

    // What stands in file names and log headers about the source.
    void setLogContext(const QString& deviceText, const QString& serialText, const QString& sourceText,
                       const QString& transportText);
    QString logSerial() const { return serial; }

    // The recording of the complete tag stream by the next acquisition.
    bool timeTagRecordingEnabled() const;
    UiTimeTagRecordingConfig timeTagRecordingConfig() const;
    QString timeTagRecordingDirectory() const;
    void setTimeTagRecordingDirectory(const QString& directory);

    // The shared settings for configuration files.
    QJsonObject sharedConfig() const;
    void loadSharedConfig(const QJsonObject& object);

    QString settingsKey() const;

Q_SIGNALS:
    void startRequested();
    void pauseRequested();
    void cancelRequested();
    void restartRequested();
    void splitRequested();

public Q_SLOTS:
    void saveImage();
    // A batch of tags in stream order.
    virtual void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>&) {}

protected:
    // Builds the tab's toolbar; the tab places it.
    QToolBar* createMeasurementToolbar(QWidget* parent, bool plotControls, bool splitAction);
    // Builds the column of a tab with one main plot: the plot, and the toolbar below it.
    QWidget* createPlotColumn(BarChartWidget* plot);

private:
    SharedSettings& settings() const;
    void setTimeTagRecordingEnabled(bool enabled);
    void updateTimeTagRecordAction();

    bool running = false;
    QPointer<MeasurementToolbar> toolbar;
    QPointer<PlotColumn> plotColumn;
    QString device;
    QString serial;
    QString source;
    QString streamTransport;
    mutable std::optional<SharedSettings> sharedSettings; // read from the store when first needed
};

} // namespace qorn::timetagger::gui
