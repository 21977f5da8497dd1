#include "GuiCalls.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>

#include <utility>

namespace qorn::timetagger::gui {

void GuiCalls::post(std::function<void()> call) {
    const std::lock_guard lock(mutex);
    calls.push_back(std::move(call));
    schedule();
}

void GuiCalls::schedule() {
    if (!std::exchange(scheduled, true)) {
        QMetaObject::invokeMethod(
            &receiver, [this] { carryOut(); }, Qt::QueuedConnection);
    }
}

void GuiCalls::carryOut() {
    using Clock = std::chrono::steady_clock;
    {
        const std::lock_guard lock(mutex);
        scheduled = false;
    }
    const QPointer<QObject> alive(&receiver);
    const Clock::time_point end = Clock::now() + kSlice;
    do {
        const std::function<void()> call = takeNext();
        if (!call) {
            return;
        }
        call();
    } while (alive && Clock::now() < end);
}

// The next slice is asked for ahead of the call, which may run an event loop.
std::function<void()> GuiCalls::takeNext() {
    const std::lock_guard lock(mutex);
    if (calls.empty()) {
        return {};
    }
    std::function<void()> call = std::move(calls.front());
    calls.pop_front();
    if (!calls.empty()) {
        schedule();
    }
    return call;
}

} // namespace qorn::timetagger::gui
