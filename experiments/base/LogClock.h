// The times that a measurement log needs: a steady one for its limits and the clock on the wall for its
// texts. Passed in, so that tests of durations do not wait.
#pragma once

#include <QDateTime>

#include <chrono>

namespace qorn::timetagger::gui {

class LogClock {
public:
    virtual ~LogClock() = default;
    virtual std::chrono::steady_clock::time_point steady() const = 0;
    virtual QDateTime localTime() const = 0;
};

// The clocks of the system.
class SystemLogClock final : public LogClock {
public:
    std::chrono::steady_clock::time_point steady() const override { return std::chrono::steady_clock::now(); }
    QDateTime localTime() const override { return QDateTime::currentDateTime(); }
};

} // namespace qorn::timetagger::gui
