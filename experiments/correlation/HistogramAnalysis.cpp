#include "HistogramAnalysis.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr double kBarFill = 0.92; // of the room that a bar has
constexpr double kHeadroom = 1.2; // of the Y range above the largest value that is drawn
constexpr double kLeastYLimit = 1.0;
constexpr double kLeastG2Limit = 1.5;

double expectedAccidentals(const LagCounts& histogram) {
    if (histogram.spanPs <= 0) {
        return 0.0;
    }
    return static_cast<double>(histogram.sourceTags) * static_cast<double>(histogram.targetTags) *
           static_cast<double>(histogram.binPs) / static_cast<double>(histogram.spanPs);
}

// Sums, moments and points in one pass over the bins. Lags are in bins from the middle until the end, which
// keeps the moments exact however far away the lags are.
void sumUp(const LagCounts& histogram, HistogramAnalysis& result) {
    const auto bins = static_cast<qsizetype>(histogram.counts.size());
    const qsizetype half = bins / 2;
    const qsizetype stride =
        std::max<qsizetype>((bins + HistogramAnalysis::kMostPoints - 1) / HistogramAnalysis::kMostPoints, 1);
    const double binNs = static_cast<double>(histogram.binPs) / kPsPerNs;
    result.barWidthNs = binNs * static_cast<double>(stride) * kBarFill;
    result.xs.reserve(bins / stride + 1);
    result.ys.reserve(bins / stride + 1);
    qsizetype peak = half;
    double moment = 0.0;
    double secondMoment = 0.0;
    for (qsizetype first = 0; first < bins; first += stride) {
        const qsizetype end = std::min(first + stride, bins);
        quint64 sum = 0;
        for (qsizetype bin = first; bin < end; ++bin) {
            const quint64 count = histogram.counts[static_cast<std::size_t>(bin)];
            const auto lag = static_cast<double>(bin - half);
            const double weighted = static_cast<double>(count) * lag;
            sum += count;
            moment += weighted;
            secondMoment += weighted * lag;
            if (count > result.peakCount) {
                result.peakCount = count;
                peak = bin;
            }
        }
        result.total += sum;
        const double scale = result.g2Scaled ? static_cast<double>(end - first) * result.expectedPerBin : 1.0;
        const qint64 twiceCentre = (first - half) * histogram.binPs + (end - 1 - half) * histogram.binPs;
        result.xs.append(static_cast<double>(twiceCentre) * 0.5 / kPsPerNs);
        result.ys.append(static_cast<double>(sum) / scale);
    }
    result.peakLagNs = static_cast<double>((peak - half) * histogram.binPs) / kPsPerNs;
    if (result.total > 0) {
        const double mean = moment / static_cast<double>(result.total);
        const double variance = secondMoment / static_cast<double>(result.total) - mean * mean;
        result.meanNs = mean * binNs;
        result.rmsNs = std::sqrt(std::max(variance, 0.0)) * binNs;
    }
}

} // namespace

HistogramAnalysis analyseHistogram(const LagCounts& histogram, const CorrelationSettings& settings) {
    HistogramAnalysis result;
    if (histogram.counts.empty()) {
        return result;
    }
    result.sourceTags = histogram.sourceTags;
    result.targetTags = histogram.targetTags;
    result.expectedPerBin = expectedAccidentals(histogram);
    result.g2Scaled = settings.normalizeG2() && result.expectedPerBin > 0.0;
    sumUp(histogram, result);
    const auto centre = static_cast<double>(histogram.counts[histogram.counts.size() / 2]);
    result.centreValue = result.g2Scaled ? centre / result.expectedPerBin : centre;
    result.yLimit = std::max(*std::max_element(result.ys.cbegin(), result.ys.cend()) * kHeadroom,
                             result.g2Scaled ? kLeastG2Limit : kLeastYLimit);
    if (settings.peakFitEnabled()) {
        result.overlay =
            settings.peakAnalysisMode()
                ? makePeakFitOverlay(result.xs, result.ys,
                                     settings.fitMode == CorrelationSettings::FitModel::Lorentzian,
                                     settings.fitTerms)
                : makeExponentialFitOverlay(result.xs, result.ys, settings.antibunchingMode(),
                                            settings.fitTerms);
    }
    return result;
}

} // namespace qorn::timetagger::gui
