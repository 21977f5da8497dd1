#include "PairCorrelator.h"

#include "SaturatedTime.h"

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

// Whether |lag - centre| is at most the half width.
bool contains(const LagWindow& window, qint64 lagPs) {
    const qint64 fromBegin = lagPs - window.centerPs + window.halfWidthPs;
    return fromBegin >= 0 && fromBegin <= 2 * window.halfWidthPs;
}

} // namespace

void PairCorrelator::apply(const MultiCorrelationSettings& settings) {
    lagBins = settings.lagBins();
    windows = settings.lagWindows();
    partners = {};
    for (std::size_t channel = 0; channel < partners.size(); ++channel) {
        for (std::size_t other = 0; other < partners.size(); ++other) {
            const int pair = pairIndex(static_cast<int>(channel), static_cast<int>(other));
            if (pair >= 0 && settings.pairs[static_cast<std::size_t>(pair)]) {
                Partners& found = partners[channel];
                found.list[found.size++] = {other, static_cast<std::size_t>(pair), other > channel};
            }
        }
    }
    for (std::vector<quint64>& histogram : histograms) {
        histogram.assign(static_cast<std::size_t>(lagBins.binCount), 0);
    }
    forgetTimes();
}

void PairCorrelator::reset() {
    for (std::vector<quint64>& histogram : histograms) {
        std::fill(histogram.begin(), histogram.end(), 0);
    }
    clearWindowCounts();
    forgetTimes();
    discarded = 0;
}

void PairCorrelator::forgetTimes() {
    for (RecentTimes& times : buffers) {
        times.clear();
    }
}

std::size_t PairCorrelator::deepestBuffer() const {
    std::size_t deepest = 0;
    for (const RecentTimes& times : buffers) {
        deepest = std::max(deepest, times.size());
    }
    return deepest;
}

void PairCorrelator::add(qint64 timePs, std::size_t channel) {
    const qint64 oldest = saturatedDifference(timePs, lagBins.rangePs);
    for (RecentTimes& times : buffers) {
        times.dropOlderThan(oldest);
    }
    const qint64 newest = saturatedSum(timePs, lagBins.rangePs);
    const Partners& found = partners[channel];
    for (std::size_t i = 0; i < found.size; ++i) {
        const Partner& partner = found.list[i];
        buffers[partner.channel].visitBetween(oldest, newest, [&](std::span<const qint64> times) {
            if (partner.isSecond) {
                addCorrelations<true>(partner.pair, timePs, times);
            } else {
                addCorrelations<false>(partner.pair, timePs, times);
            }
        });
    }
    discarded += buffers[channel].append(timePs) ? 1 : 0;
}

// All lags are within the range, so they and the bins fit in 32 bits, which divide faster.
template <bool kPartnerIsSecond>
void PairCorrelator::addCorrelations(std::size_t pair, qint64 timePs, std::span<const qint64> partnerTimes) {
    const std::span<quint64> histogram(histograms[pair]);
    const PairLagWindows pairWindows = windows[pair];
    const qint64 range = lagBins.rangePs;
    const auto binPs = static_cast<quint32>(lagBins.binPs);
    quint64 inA = 0;
    quint64 inB = 0;
    for (const qint64 partnerTime : partnerTimes) {
        const qint64 lag = kPartnerIsSecond ? partnerTime - timePs : timePs - partnerTime;
        const quint32 bin = static_cast<quint32>(lag + range) / binPs;
        if (bin < histogram.size()) {
            ++histogram[bin];
        }
        inA += contains(pairWindows.a, lag) ? 1 : 0;
        inB += contains(pairWindows.b, lag) ? 1 : 0;
    }
    counts[2 * pair] += inA;
    counts[2 * pair + 1] += inB;
}

} // namespace qorn::timetagger::gui
