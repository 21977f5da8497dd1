// A gate of fixed length that walks on the time axis of the tags: it opens at an event, and each next one
// begins where the one before ended, so that silent gates are seen too. Knows times only; its owner counts.
#pragma once

#include <QtGlobal>

namespace qorn::timetagger::gui {

class TagGate {
public:
    // A silence of more gates than this is no run of empty gates but a jump of the time axis.
    static constexpr qint64 kMostGatesInARow = 100'000;
    // An event so much older than the gate's begin is behind a jump of the time axis. Software offsets of
    // up to 1 s move events less.
    static constexpr qint64 kLongestStepBackPs = 10'000'000'000'000;

    // What happened on the way to an event: so many gates ended, the first with what had been counted before,
    // the others empty. After a restart the open gate begins at the event, and what was counted in a gate
    // that did not end is in no gate.
    struct Step {
        qint64 endedGates = 0;
        bool restarted = false;
    };

    // Length in ps, at least 1. Another length gives up the open gate.
    void setLength(qint64 ps);
    qint64 lengthPs() const { return length; }

    // Gives up the open gate: the next event opens one.
    void close() { open = false; }
    bool isOpen() const { return open; }

    // Moves to the gate that holds the event. An event on a gate's end belongs to the next one.
    Step advanceTo(qint64 timePs) {
        if (open && timePs >= start && timePs < end) [[likely]] {
            return {};
        }
        return walkTo(timePs);
    }

private:
    Step walkTo(qint64 timePs);
    void openAt(qint64 timePs);

    qint64 length = 1;
    bool open = false;
    qint64 start = 0; // ps on the time axis of the tags; the gate holds start <= t < end
    qint64 end = 1;
};

} // namespace qorn::timetagger::gui
