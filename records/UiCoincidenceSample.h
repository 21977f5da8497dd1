// One gate of coincidence counts, hardware or software.
#pragma once

#include <QList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

struct UiCoincidenceSample {
    QList<quint64> singles{0, 0, 0, 0};
    QList<quint64> pairs{0, 0, 0, 0, 0, 0}; // 12, 13, 14, 23, 24, 34
    QList<quint64> triples{0, 0, 0, 0};     // 123, 124, 134, 234
    quint64 quadruple = 0;                  // 1234
    quint64 totalCount = 0;
    quint32 periodCycles = 0; // real gate length in 300 MHz cycles, 0 when unknown
    quint32 windowCycles = 0; // real coincidence window in 300 MHz cycles
    double gateSeconds = 0.0; // from periodCycles when known, else the gate asked for
};

} // namespace qorn::timetagger::gui
