// A token by which late results of an earlier task are known and dropped.
#pragma once

#include <QtGlobal>

#include <atomic>

namespace qorn::timetagger::gui {

class Generation {
public:
    // Begins a new generation and returns it.
    quint64 begin() { return ++value; }
    bool isCurrent(quint64 generation) const { return value == generation; }

private:
    std::atomic<quint64> value{0};
};

} // namespace qorn::timetagger::gui
