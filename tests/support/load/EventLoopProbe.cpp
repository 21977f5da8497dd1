#include "EventLoopProbe.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>
#include <chrono>

namespace qorn::bench {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr std::chrono::milliseconds kInterval{5};

class StampedEvent : public QEvent {
public:
    StampedEvent() : QEvent(kind()) {}

    static Type kind() {
        static const int number = registerEventType();
        return static_cast<Type>(number);
    }

    Clock::time_point posted = Clock::now();
};

} // namespace

EventLoopProbe::~EventLoopProbe() {
    stop();
}

void EventLoopProbe::start() {
    thread = std::jthread([this](const std::stop_token& stopToken) {
        for (auto next = Clock::now(); !stopToken.stop_requested(); next += kInterval) {
            std::this_thread::sleep_until(next);
            QCoreApplication::postEvent(this, new StampedEvent);
        }
    });
}

void EventLoopProbe::stop() {
    thread = std::jthread();
}

double EventLoopProbe::percentileMs(double part) const {
    if (waitsMs.empty()) {
        return 0.0;
    }
    std::vector<double> sorted = waitsMs;
    std::sort(sorted.begin(), sorted.end());
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

bool EventLoopProbe::event(QEvent* event) {
    if (event->type() == StampedEvent::kind()) {
        const auto* stamped = static_cast<StampedEvent*>(event);
        waitsMs.push_back(Milliseconds(Clock::now() - stamped->posted).count());
        return true;
    }
    return QObject::event(event);
}

} // namespace qorn::bench
