#include "TraceHistory.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr double kLeastAgeSeconds = 0.001;
constexpr int kLeastPoints = 2;

} // namespace

void TraceHistory::setLimits(double seconds, int points) {
    maxAgeSeconds = std::max(kLeastAgeSeconds, seconds);
    maxPoints = std::max(kLeastPoints, points);
    trim();
}

void TraceHistory::clear() {
    times.clear();
    rows.clear();
}

void TraceHistory::append(double time, const QList<double>& values) {
    times.push_back(time);
    rows.push_back(values);
    trim();
}

void TraceHistory::trim() {
    const auto dropOldest = [this] {
        times.pop_front();
        rows.pop_front();
    };
    while (times.size() > static_cast<std::size_t>(maxPoints)) {
        dropOldest();
    }
    while (times.size() > kLeastPoints && times.front() < times.back() - maxAgeSeconds) {
        dropOldest();
    }
}

QList<double> TraceHistory::latestValues() const {
    return rows.empty() ? QList<double>() : rows.back();
}

QList<double> TraceHistory::xValues() const {
    QList<double> xs;
    if (times.empty()) {
        return xs;
    }
    const double start = times.back() > maxAgeSeconds ? times.back() - maxAgeSeconds : 0.0;
    xs.reserve(static_cast<qsizetype>(times.size()));
    for (const double time : times) {
        xs.append(time - start);
    }
    return xs;
}

QList<double> TraceHistory::ySeries(int index) const {
    QList<double> ys;
    ys.reserve(static_cast<qsizetype>(rows.size()));
    for (const QList<double>& row : rows) {
        ys.append(row.value(index));
    }
    return ys;
}

} // namespace qorn::timetagger::gui
