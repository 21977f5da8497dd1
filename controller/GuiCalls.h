// Calls on their way to the GUI thread, which carries them out in order and in slices: however many wait,
// painting, input and events that go past them come in between.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <mutex>

class QObject;

namespace qorn::timetagger::gui {

class GuiCalls {
public:
    // A slice ends with the first call that is done behind this time.
    static constexpr std::chrono::milliseconds kSlice{20};

    // The calls are carried out on the thread of `owner`, which this is a part of.
    explicit GuiCalls(QObject& owner) : receiver(owner) {}
    GuiCalls(const GuiCalls&) = delete;
    GuiCalls& operator=(const GuiCalls&) = delete;

    // Queues a call. It must not throw; it may run an event loop, which carries out those behind it, and may
    // destroy the owner. Any thread.
    void post(std::function<void()> call);

private:
    void carryOut();
    std::function<void()> takeNext();
    void schedule();

    QObject& receiver;
    std::mutex mutex; // guards all below
    std::deque<std::function<void()>> calls;
    bool scheduled = false; // carryOut() is
};

} // namespace qorn::timetagger::gui
