// The toolbar of a measurement tab: play, pause, stop, reset, the plot's file and recording actions, and the
// plot's view controls. Owned by the tab, which connects the actions.
#pragma once

#include <QKeySequence>
#include <QList>
#include <QToolBar>

namespace qorn::timetagger::gui {

class BarChartWidget;

// What a tab's toolbar has beside the actions that all have. View controls and split need a plot.
struct MeasurementToolbarParts {
    bool log = false;
    bool plotControls = false;
    bool split = false;
};

class MeasurementToolbar : public QToolBar {
    Q_OBJECT
public:
    // `plot` may be null.
    MeasurementToolbar(BarChartWidget* plot, MeasurementToolbarParts parts, QWidget* parent = nullptr);

    // Which actions make sense while the tab's measurement runs or not.
    void setRunning(bool running);
    // Shows whether the next acquisition records; emits nothing.
    void setRecording(bool enabled);
    // Shows whether a log is being written, into a file of this extension.
    void setLogging(bool open, const QString& extension);

    // The keys of play, pause, stop, reset and saving the image. The toolbar tells them and does not watch
    // them: of several tabs in sight, only the window knows which one is meant.
    static QList<QKeySequence> keys();
    // Triggers the action of one of these keys, unless it is disabled.
    void press(const QKeySequence& key);

Q_SIGNALS:
    void playTriggered();
    void pauseTriggered();
    void stopTriggered();
    void resetTriggered();
    void saveImageTriggered();
    void saveDataTriggered();
    void loadDataTriggered();
    void plotSettingsTriggered();
    void recordToggled(bool enabled);
    void logTriggered();
    void splitTriggered();

protected:
    bool event(QEvent* event) override;

private:
    void addRunActions();
    void addFileActions();
    void addLogAction();
    void addPlotSettingsAction();
    void addViewActions(BarChartWidget* plot);
    void tellKeys();
    void openToKeyboard();

    QAction* play = nullptr;
    QAction* pause = nullptr;
    QAction* stop = nullptr;
    QAction* reset = nullptr;
    QAction* image = nullptr;
    QAction* record = nullptr;
    QAction* log = nullptr; // only where there is a log
};

} // namespace qorn::timetagger::gui
