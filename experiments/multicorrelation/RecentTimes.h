// The latest times of one input: a bounded queue in order of arrival, in contiguous storage. Times mostly
// ascend; where they step back a new ascending run begins, so that a search stays one per run.
//
// Owned by PairCorrelator, one thread.
#pragma once

#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class RecentTimes {
public:
    static constexpr std::size_t kMostTimes = 8192;

    std::size_t size() const { return times.size() - head; }
    void clear();

    // True when the oldest time had to go for it.
    bool append(qint64 timePs);

    // Drops times from the front up to the first that is not older.
    void dropOlderThan(qint64 timePs) {
        const std::size_t before = head;
        while (head < times.size() && times[head] < timePs) {
            ++head;
        }
        if (head != before) {
            afterDrop();
        }
    }

    // Gives all times from `leastPs` to `mostPs`, both inclusive, to `visit` as spans.
    template <typename Visitor>
    void visitBetween(qint64 leastPs, qint64 mostPs, const Visitor& visit) const {
        std::size_t begin = head;
        for (const std::size_t end : steps) {
            visitRun(begin, end, leastPs, mostPs, visit);
            begin = end;
        }
        visitRun(begin, times.size(), leastPs, mostPs, visit);
    }

private:
    void afterDrop() {
        if (head == times.size()) {
            times.clear();
            head = 0;
        }
        if (!steps.empty()) [[unlikely]] {
            forgetPassedSteps();
        }
    }
    void forgetPassedSteps();
    void makeRoom();

    template <typename Visitor>
    void visitRun(std::size_t begin, std::size_t end, qint64 leastPs, qint64 mostPs,
                  const Visitor& visit) const {
        if (begin == end) {
            return;
        }
        const qint64* first = times.data() + begin;
        const qint64* last = times.data() + end;
        if (*first < leastPs) {
            first = std::lower_bound(first, last, leastPs);
        }
        if (first != last && *(last - 1) > mostPs) {
            last = std::upper_bound(first, last, mostPs);
        }
        if (first != last) {
            visit(std::span<const qint64>(first, last));
        }
    }

    std::vector<qint64> times; // those from `head` on are held
    std::size_t head = 0;
    std::vector<std::size_t> steps; // places after `head` at which a time is below the one before it
};

} // namespace qorn::timetagger::gui
