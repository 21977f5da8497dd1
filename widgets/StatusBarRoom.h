// Shares the width of a status bar: its flags are whole while the texts beside them can give way, and where
// even that is not enough, the longest flags end early, so that all of them stay in view.
//
// Owned by the status bar, GUI thread only.
#pragma once

#include <QList>
#include <QObject>

class QStatusBar;

namespace qorn::timetagger::gui {

class ElidedLabel;

// The largest width that each of `wanted` may have so that all fit into `room`, when no one gets more than it
// wants: one limit for all, at least 0, in pixels.
int commonLimit(const QList<int>& wanted, int room);

class StatusBarRoom : public QObject {
    Q_OBJECT
public:
    // All labels belong to the bar already. Those that make way do so in their order, the first for every
    // message.
    StatusBarRoom(QStatusBar& bar, QList<ElidedLabel*> flags, QList<ElidedLabel*> makingWay);

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void share();
    void makeWay();

    QStatusBar& statusBar;
    QList<ElidedLabel*> labels;
    QList<ElidedLabel*> waiting;
};

} // namespace qorn::timetagger::gui
