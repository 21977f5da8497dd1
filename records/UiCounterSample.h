// One gate of the hardware counter, or of the same counts made from tags.
#pragma once

#include <QList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

struct UiCounterSample {
    QList<quint64> counts{0, 0, 0, 0}; // events per input in this gate
    quint64 totalCount = 0;            // total of the gate as the source gives it
    quint32 periodCycles = 0;          // real gate length in 300 MHz cycles, 0 when unknown
    double gateSeconds = 0.0;          // from periodCycles when known, else the gate asked for
};

} // namespace qorn::timetagger::gui
