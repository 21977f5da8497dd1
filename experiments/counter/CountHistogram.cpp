#include "CountHistogram.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kLeastBins = 10.0;
constexpr double kMostBins = 100.0;
constexpr double kEdgeTolerance = 1e-9; // of a bin: a value on an edge is in the upper bin, rounded or not

struct Bins {
    double start = 0.0; // lower edge of the first
    double width = 1.0;
    qsizetype count = 1;
};

Bins binsFor(const CounterTraces& traces, bool wholeNumbers) {
    const double lowest = traces.lowest;
    const double range = traces.highest - lowest;
    const double wanted =
        std::clamp(std::ceil(std::sqrt(static_cast<double>(traces.xs.size()))), kLeastBins, kMostBins);
    if (!(range > 0.0)) {
        return {lowest - 0.5, 1.0, 1};
    }
    if (wholeNumbers) {
        const double width = std::max(std::ceil((range + 1.0) / wanted), 1.0);
        return {lowest - 0.5, width, static_cast<qsizetype>(std::ceil((range + 1.0) / width))};
    }
    return {lowest, range / wanted, static_cast<qsizetype>(wanted)};
}

} // namespace

CountHistogram countHistogram(const CounterTraces& traces, bool wholeNumbers) {
    CountHistogram result;
    result.heights.resize(traces.ys.size());
    if (traces.xs.isEmpty() || traces.ys.isEmpty()) {
        return result;
    }
    const Bins bins = binsFor(traces, wholeNumbers);
    result.binWidth = bins.width;
    result.centres.reserve(bins.count);
    for (qsizetype bin = 0; bin < bins.count; ++bin) {
        result.centres.append(bins.start + (static_cast<double>(bin) + 0.5) * bins.width);
    }
    result.xRange = {result.centres.first() - bins.width, result.centres.last() + bins.width};
    for (qsizetype trace = 0; trace < traces.ys.size(); ++trace) {
        QList<double>& heights = result.heights[trace];
        heights.fill(0.0, bins.count);
        for (const double value : traces.ys.at(trace)) {
            const double bin = (value - bins.start) / bins.width + kEdgeTolerance;
            heights[std::clamp<qsizetype>(static_cast<qsizetype>(bin), 0, bins.count - 1)] += 1.0;
        }
        result.highest = std::max(result.highest, *std::max_element(heights.cbegin(), heights.cend()));
    }
    return result;
}

} // namespace qorn::timetagger::gui
