// How many samples of a counting measurement wait for the GUI thread: one that cannot follow must not fill
// the memory without end. Shared by the measurement's task and the calls that it queues; any thread.
#pragma once

#include <QtGlobal>

#include <mutex>

namespace qorn::timetagger::gui {

class SampleBacklog {
public:
    // More than a minute of the shortest gate.
    static constexpr int kMostSamples = 65536;

    explicit SampleBacklog(int mostSamples = kMostSamples) : most(mostSamples) {}

    // A sample is to be queued. False when there is no room: it is left out, and counted.
    bool enter();
    // The GUI thread has taken one.
    void leave();

    // Samples that were left out so far, if that is to be told now: at the first gap, and `atEnd` when more
    // followed. Else 0.
    quint64 leftOutToTell(bool atEnd);

private:
    std::mutex mutex; // guards all below
    int most;
    int waiting = 0;
    quint64 missing = 0;
    quint64 told = 0; // of the missing ones
};

} // namespace qorn::timetagger::gui
