// Experiments of a loaded configuration that nobody has looked at yet. A tab takes milliseconds to make and
// to style, so only the one on top is made at once. Another is made when it is shown, detached or asked for,
// and otherwise when the window has been painted: one in each turn of the event loop, which stays quick that
// way.
//
// Owned by the window that owns the tab widget, GUI thread only. The pages that wait belong to the tab
// widget.
#pragma once

#include "SharedSettings.h"

#include <QJsonObject>
#include <QObject>
#include <QString>

#include <functional>

class QTimer;

namespace qorn::timetagger::gui {

class DetachableTabWidget;
class ExperimentTab;

struct SavedExperiment {
    QString type;
    QString title; // of its tab
    QJsonObject config;
    SharedSettings shared;
};

class SleepingTabs : public QObject {
    Q_OBJECT
public:
    // Makes a tab with these settings, in a place of the tab widget; never null.
    using Maker = std::function<ExperimentTab*(const SavedExperiment&)>;

    SleepingTabs(DetachableTabWidget& tabs, Maker maker, QObject* parent);

    // Adds tabs in this order; the one at `current`, or the last where there is none, is made at once and
    // shown.
    void add(const QList<SavedExperiment>& experiments, int current);

    // Makes the tab at an index, unless there is one already. Its place, its title and the current tab stay.
    void wake(int index);
    void wakeAll();

private:
    void wakeNext();

    DetachableTabWidget& tabs;
    Maker make;
    QTimer* idle;
};

} // namespace qorn::timetagger::gui
