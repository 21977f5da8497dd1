// The latest errors of a periodic signal's period, tag by tag, in one piece of memory that is used in a
// circle. Owned by the Frequency engine, one thread. Times in ps.
#pragma once

#include <QtGlobal>

#include <cstddef>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class PeriodErrors {
public:
    static constexpr std::size_t kMost = 1'000'000;

    void clear();

    // Takes by how much each time is later than the one before it, less the period, which is not negative.
    // A time that is not later gives no error. Beyond kMost the oldest errors go.
    void append(qint64 previousPs, std::span<const qint64> timesPs, qint64 periodPs);

    std::size_t size() const { return filled; }
    // All errors, in no order.
    std::span<const qint64> values() const { return {storage.data(), filled}; }

private:
    void makeRoom(std::size_t wanted);

    std::vector<qint64> storage;
    std::size_t next = 0; // where the next error goes
    std::size_t filled = 0;
};

} // namespace qorn::timetagger::gui
