// What a lag histogram shows: its sums and moments, g2, the points to draw and the fit over them. Pure
// functions over plain values, any thread.
#pragma once

#include "CorrelationSettings.h"
#include "FitOverlays.h"

#include <QList>
#include <QtGlobal>

#include <cstdint>
#include <span>

namespace qorn::timetagger::gui {

// Counts per bin, an odd number of them with lag 0 in the middle, and the tags that they are of.
struct LagCounts {
    std::span<const std::uint64_t> counts;
    qint64 binPs = 1;
    quint64 sourceTags = 0;
    quint64 targetTags = 0;
    qint64 spanPs = 0; // from the first of these tags to the last
};

struct HistogramAnalysis {
    quint64 sourceTags = 0;
    quint64 targetTags = 0;
    quint64 total = 0;
    quint64 peakCount = 0; // of the tallest bin, the first of several
    double peakLagNs = 0.0;
    double meanNs = 0.0; // of the lags, each counted as often as it occurs
    double rmsNs = 0.0;
    double expectedPerBin = 0.0; // accidental pairs; 0 when there is nothing to expect them from
    bool g2Scaled = false;
    double centreValue = 0.0; // of the bin at lag 0, in units of the expected pairs when scaled to g2

    // At most kMostPoints, each the sum of as many bins, the last perhaps of fewer, at their centre; scaled
    // to g2 it is their mean.
    QList<double> xs; // ns
    QList<double> ys;
    double barWidthNs = 0.0;
    double yLimit = 1.0; // what the Y axis has to reach
    PeakFitOverlay overlay;

    static constexpr qsizetype kMostPoints = 4000;
};

HistogramAnalysis analyseHistogram(const LagCounts& histogram, const CorrelationSettings& settings);

} // namespace qorn::timetagger::gui
