// Opens a tab of every type at the start, lets all share one stream with their logs, a recording and a relay
// receiver, and then closes, stops and resets nothing until the end: only looks at the tabs in turn and moves
// the mouse over their plots. So what a measurement, a log, a recording or a receiver gathers while it lives
// is in the memory that is judged.
//
// Owned by main, GUI thread only. The scene should have no faults: a box is a complaint here.
#pragma once

#include "SoakOperator.h"

#include <QList>
#include <QString>

namespace qorn::soak {

class SteadyOperator : public SoakOperator {
    Q_OBJECT
public:
    // The recording goes on to its next part after so many seconds; 0: it is one file.
    SteadyOperator(SoakWatch& soakWatch, const QString& truthFile, std::uint64_t seed, int rotateSeconds);

    QJsonObject report() const override;

protected:
    void begin() override;
    void act() override;
    void end() override;
    int pauseMs() override;

private:
    struct Measurement {
        timetagger::gui::ExperimentTab* tab = nullptr;
        QString type;
        bool logs = false;
        qint64 logBytes = 0; // when last looked at
    };

    void startLogs();
    void sample();
    void checkThatAllGoesOn();
    qint64 logBytesOf(const Measurement& measurement, qsizetype* files = nullptr) const;
    void movePointer();

    int recordingRotateSeconds;
    QList<Measurement> measurements;
    double lastSample = 0.0;
    double nextTab = 0.0;
    quint64 relayed = 0; // when last looked at
    int tabChanges = 0;
    int pointerMoves = 0;
    qint64 logFiles = 0;
    qint64 loggedBytes = 0;
};

} // namespace qorn::soak
