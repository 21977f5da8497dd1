// Base of the measurement tabs: what all of them share, their toolbar, running state, recording flag, log and
// the lending of their plot. The window drives a tab through the virtual operations and answers its requests.
//
// A widget of the workspace, GUI thread only.
#pragma once

#include "AcquisitionRequest.h"
#include "LateWidget.h"
#include "MeasurementLog.h"
#include "SharedSettings.h"
#include "UiCoincidenceSample.h"
#include "UiCounterSample.h"
#include "UiTimeTag.h"
#include "UiTimeTagRecordingConfig.h"

#include <QJsonObject>
#include <QPointer>
#include <QString>
#include <QStringList>

#include <optional>

class QTimer;
class QToolBar;

namespace qorn::timetagger::gui {

class BarChartWidget;
class MeasurementToolbar;
class PlotColumn;
struct PlotOptions;

class ExperimentTab : public LateWidget, private LogOwner {
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
    QString logSerial() const { return context.serial; }

    // The measurement's log; runs on whether the acquisition does or not. Starting asks the settings for
    // folder, format and limits, and ends a log that is open; it is false, after a warning, when there is no
    // folder or no file. A blank folder is false without a warning.
    bool startLog();
    bool startLogInDirectory(const QString& directory);
    void stopLog();
    bool isLogOpen() const { return log.isOpen(); }
    QString currentLogPath() const { return log.path(); } // empty while no log is open

    // What a tab hands in; nothing happens while no log is open, and before a row or text goes to the log it
    // may go on to its next file. `flush` hands all so far to the system, so many rows cost one flush.
    void appendLogRow(const QStringList& fields, bool flush);
    void appendLogRows(const QList<QStringList>& rows, bool flush);
    // The text format expects line ends in the text.
    void appendLogText(const QString& text, bool flush);
    void flushLog();
    // Goes on to the next file, or ends the log, when it is time. True when the log may take data now.
    bool rolloverLogIfNeeded();

    // "csv" or "qornlog", by the settings.
    QString measurementLogExtension() const;
    QString defaultLogDirectory() const;
    // Where a file of this measurement would be written now; the first part is 0.
    QString makeLogFilePath(const QString& directory, const QString& extension, int part) const override;
    // One line of CSV without its end.
    static QString csvLine(const QStringList& fields);
    // Opens a log file with its header, and ends it; `error` may be null.
    bool openLogFile(const QString& path, QString* error) override;
    void closeLogFile() override;

    // The recording of the complete tag stream by the next acquisition.
    bool timeTagRecordingEnabled() const;
    UiTimeTagRecordingConfig timeTagRecordingConfig() const;
    QString timeTagRecordingDirectory() const;
    void setTimeTagRecordingDirectory(const QString& directory);

    // The shared settings for configuration files.
    QJsonObject sharedConfig() const;
    void loadSharedConfig(const QJsonObject& object);
    // The same from a record, and the application's stored values stay as they are.
    void setSharedSettings(const SharedSettings& shared);

    // All plots of this tab, the main one first wherever it is.
    QList<BarChartWidget*> plots() const;

    QString settingsKey() const;

Q_SIGNALS:
    void startRequested();
    void pauseRequested();
    void cancelRequested();
    void restartRequested();
    void splitRequested();

public Q_SLOTS:
    // The plot to and from files that the operator chooses, and what it looks like and where this tab's logs
    // and recordings go; each opens its dialog and returns.
    void saveImage();
    void saveDisplayedDataCsv();
    void loadDisplayedData();
    void showPlotSettings();
    // The plot as it stands into the log.
    void appendPlotSnapshot();
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
    void updateLogAction();
    void toggleLog();
    void takePlotOptions(const PlotOptions& look);
    void takeSaveSettings(SharedSettings chosen);
    LogPlan logPlan() const override;
    LogHeader logHeader() const override;

    bool running = false;
    QPointer<MeasurementToolbar> toolbar;
    QPointer<PlotColumn> plotColumn;
    LogContext context;
    mutable std::optional<SharedSettings> sharedSettings; // read from the store when first needed
    QTimer* snapshotTimer = nullptr;                      // made when a log is first started
    SystemLogClock logClock;
    MeasurementLog log{*this, logClock};
};

} // namespace qorn::timetagger::gui
