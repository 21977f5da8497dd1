// How long the GUI thread's event loop keeps an event waiting: a thread posts one every few milliseconds,
// whether the one before was handled or not, so that a long wait counts as often as it would be felt.
#pragma once

#include <QObject>

#include <stop_token>
#include <thread>
#include <vector>

namespace qorn::bench {

class EventLoopProbe : public QObject {
public:
    // Created, started, asked and destroyed on the GUI thread.
    EventLoopProbe() = default;
    ~EventLoopProbe() override;

    void start();
    void stop();

    // Forgets the waits so far, and their memory.
    void clear() { waitsMs = {}; }

    std::size_t count() const { return waitsMs.size(); }
    // The wait in ms that so large a part of the events (0 to 1) did not exceed; 0 without any.
    double percentileMs(double part) const;

protected:
    bool event(QEvent* event) override;

private:
    std::jthread thread;
    std::vector<double> waitsMs;
};

} // namespace qorn::bench
