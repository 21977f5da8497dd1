// A bounded, sliding record of samples of several values, from which a trace plot takes its x values and one
// series at a time. A plain value, used on the GUI thread.
#pragma once

#include <QList>

#include <deque>

namespace qorn::timetagger::gui {

class TraceHistory {
public:
    // Age in seconds, at least 0.001, and number of samples, at least 2; smaller values count as these.
    void setLimits(double seconds, int points);
    void clear();

    // Takes a sample, time in seconds, oldest first.
    void append(double time, const QList<double>& values);
    // Drops the oldest samples beyond the limits. Two samples stay whatever their age, so that there is a
    // line to draw.
    void trim();

    // The newest sample's values; empty when there is none.
    QList<double> latestValues() const;
    // Times within the window, which ends at the newest sample: 0 to the age limit in seconds; the plain
    // times while less than that has passed.
    QList<double> xValues() const;
    // The value at `index` of every sample; 0 where a sample has fewer.
    QList<double> ySeries(int index) const;

private:
    double maxAgeSeconds = 10.0;
    int maxPoints = 2000;
    std::deque<double> times;
    std::deque<QList<double>> rows;
};

} // namespace qorn::timetagger::gui
