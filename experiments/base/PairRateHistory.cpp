#include "PairRateHistory.h"

namespace qorn::timetagger::gui {

void PairRateHistory::append(double timeSeconds, const std::array<double, kPairs>& rates) {
    samples.push_back({timeSeconds, rates});
}

void PairRateHistory::trimToCount(std::size_t most) {
    while (samples.size() > most) {
        samples.pop_front();
    }
}

void PairRateHistory::trimToAge(double seconds) {
    while (!samples.empty() && samples.back().time - samples.front().time > seconds) {
        samples.pop_front();
    }
}

QList<double> PairRateHistory::times() const {
    QList<double> result;
    result.reserve(static_cast<qsizetype>(samples.size()));
    for (const Sample& sample : samples) {
        result.append(sample.time);
    }
    return result;
}

QList<double> PairRateHistory::rates(std::size_t pair) const {
    QList<double> result;
    result.reserve(static_cast<qsizetype>(samples.size()));
    for (const Sample& sample : samples) {
        result.append(sample.rates[pair]);
    }
    return result;
}

} // namespace qorn::timetagger::gui
