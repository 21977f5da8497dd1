// Turns the system's wish that the program ends (SIGTERM, SIGINT, SIGHUP) into a signal in the event loop,
// where it can end as on a close of the window: a log-off or a shutdown must not cut a recording off.
//
// Made by main, one of it, GUI thread only.
#pragma once

#include <QObject>

namespace qorn::timetagger::gui {

class TerminationSignals : public QObject {
    Q_OBJECT
public:
    // From here on a signal no longer ends the program, the first time; the second one of its kind does. One
    // that is ignored, as nohup has it, stays ignored.
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

Q_SIGNALS:
    void received();

private:
    int readEnd = -1;
};

} // namespace qorn::timetagger::gui
