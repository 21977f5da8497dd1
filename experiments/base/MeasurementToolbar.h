// The toolbar of a measurement tab: play, pause, stop, reset, the plot's file and recording actions, and the
// plot's view controls. Owned by the tab, which connects the actions.
#pragma once

#include <QToolBar>

namespace qorn::timetagger::gui {

class BarChartWidget;

class MeasurementToolbar : public QToolBar {
    Q_OBJECT
public:
    // `plot` may be null, and then there are no view controls and no split action.
    MeasurementToolbar(BarChartWidget* plot, bool plotControls, bool splitAction, QWidget* parent = nullptr);

    // Which actions make sense while the tab's measurement runs or not.
    void setRunning(bool running);
    // Shows whether the next acquisition records; emits nothing.
    void setRecording(bool enabled);

Q_SIGNALS:
    void playTriggered();
    void pauseTriggered();
    void stopTriggered();
    void resetTriggered();
    void saveImageTriggered();
    void recordToggled(bool enabled);
    void splitTriggered();

private:
    void addRunActions();
    void addFileActions();
    void addViewActions(BarChartWidget* plot);

    QAction* play = nullptr;
    QAction* pause = nullptr;
    QAction* stop = nullptr;
    QAction* reset = nullptr;
    QAction* record = nullptr;
};

} // namespace qorn::timetagger::gui
