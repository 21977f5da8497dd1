// A capture of another host's tags whose every fault is drawn from a seed: what the other host sends, how it
// ends, how time passes, who is held up and when the capture is stopped.
#pragma once

#include "PlannedCapture.h"
#include "RelaySupport.h"

namespace qorn::timetagger::gui::test {

// One run, over when run() returns.
class PlannedRelayCapture {
public:
    enum class End { Silent, Closed, Reset, InvalidRecord };

    PlannedRelayCapture(unsigned seed, relay::RelayServer& onward, const std::string& folder);
    void run(RawPublisher& publisher);
    // Of the tags that the other host sends, the first `count` that the mask lets through.
    Tags masked(std::size_t count) const;

    CapturePlan plan;
    End end;
    quint8 mask;
    ManualClock clock;
    std::atomic<bool> stop{false};
    std::atomic<bool> allSent{false};
    Tags sent; // or meant to be, had the capture not gone first
    PlannedEvents events{plan, [this] { return allSent.load(); }, stop};
    QString recordingPath;
    std::string failure; // text
    quint64 publishedBefore = 0;
    relay::RelayServer* onward = nullptr;

private:
    void send(RawPublisher& publisher);

    std::mt19937 random; // of the other host's thread
};

} // namespace qorn::timetagger::gui::test
