// The gate of window traces: walks on the time axis of the tags, each gate beginning where the one before
// ended, and counts how many gates a silence takes, however long it is. A plain value; its owner counts.
#pragma once

#include <QtGlobal>

namespace qorn::timetagger::gui {

class GateWalk {
public:
    // Length in ps, at least 1. An open gate is given up.
    void setLength(qint64 ps);
    qint64 lengthPs() const { return static_cast<qint64>(length); }

    // Gives up the open gate: the next event opens one.
    void close() { open = false; }

    // Moves to the gate that holds the event and gives the number of gates that ended on the way: the first
    // is the one that was open, all others are silent. An event on a gate's end belongs to the next one; one
    // before the gate's begin is late and belongs to the open gate.
    quint64 advanceTo(qint64 timePs) {
        // Below the begin the difference wraps to a large number.
        if (open && static_cast<quint64>(timePs) - start < length) [[likely]] {
            return 0;
        }
        return walkTo(timePs);
    }

private:
    quint64 walkTo(qint64 timePs);

    quint64 length = 1;
    quint64 start = 0; // ps on the time axis of the tags, modulo 2^64
    bool open = false;
};

} // namespace qorn::timetagger::gui
