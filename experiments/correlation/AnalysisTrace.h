// What an analysis found at a time, and the trace of one of these values over a run. Plain values, used on
// the GUI thread.
#pragma once

#include "CorrelationSettings.h"
#include "TraceHistory.h"

#include <QList>
#include <QtGlobal>

#include <array>

namespace qorn::timetagger::gui {

struct AnalysisValues {
    std::array<double, 7> metrics{}; // in the order of CorrelationSettings::Metric
    double timeSeconds = 0.0;        // since the first tag of the run
    qint64 stampPs = 0;              // time of the latest tag that took part, 0 without tags
    bool valid = false;

    double of(CorrelationSettings::Metric metric) const { return metrics[static_cast<std::size_t>(metric)]; }
};

class AnalysisTrace {
public:
    AnalysisTrace();
    // How much of the past stays, in s.
    void setWindow(double seconds);
    void clear();
    // Takes a sample of the metric, once for the same tags.
    void take(const AnalysisValues& values, CorrelationSettings::Metric metric);

    // Parallel lists; seconds within the window, which slides.
    QList<double> xValues() const { return history.xValues(); }
    QList<double> yValues() const { return history.ySeries(0); }

private:
    TraceHistory history;
    qint64 takenStampPs = 0;
    double latestSeconds = 0.0;
};

} // namespace qorn::timetagger::gui
