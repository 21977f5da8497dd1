#include "FrequencyEngine.h"

#include "SaturatedTime.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerSecond = 1e12;
constexpr double kPpm = 1e6;
constexpr double kLongestPeriodPs = 4e18; // about what an integer holds
constexpr std::size_t kPieceTags = 1024;  // looked at together; their times fit into the nearest cache

double seconds(qint64 ps) {
    return static_cast<double>(ps) / kPsPerSecond;
}

} // namespace

FrequencyEngine::FrequencyEngine() {
    apply(FrequencySettings());
    reset();
}

void FrequencyEngine::apply(const FrequencySettings& newSettings) {
    const bool otherInput = newSettings.channelIndex() != current.channelIndex();
    const bool detects = newSettings.autoBaseFrequency && !current.autoBaseFrequency && binsEnded == 0;
    current = newSettings;
    binPs = current.binPs();
    if (otherInput) {
        reset();
        return;
    }
    basePending = current.autoBaseFrequency && (basePending || detects);
    base = basePending ? 0.0 : std::max(current.baseHz, 0.0);
    trimHistory();
}

void FrequencyEngine::reset() {
    breakOff();
    originPs.reset();
    brokenPs.reset();
    bins.clear();
    binsEnded = 0;
    periodErrors.clear();
    basePending = current.autoBaseFrequency;
    base = basePending ? 0.0 : std::max(current.baseHz, 0.0);
}

void FrequencyEngine::breakOff() {
    brokenPs = lastTagPs ? lastTagPs : brokenPs;
    lastTagPs.reset();
    open.reset();
}

void FrequencyEngine::addBatch(std::span<const UiTimeTag> tags, const BinSink& sink) {
    const auto channel = static_cast<quint8>(current.channelIndex());
    std::array<qint64, kPieceTags> times;
    while (!tags.empty()) {
        const auto piece = tags.first(std::min(tags.size(), kPieceTags));
        std::size_t count = 0;
        for (const UiTimeTag& tag : piece) { // no branch: which input comes next is not to be foretold
            times[count] = tag.timePs;
            count += tag.channel == channel ? 1 : 0;
        }
        addTimes({times.data(), count}, sink);
        tags = tags.subspan(piece.size());
    }
}

// Goes from bin to bin: the tags in the open one, and the tag after them, which opens the next.
void FrequencyEngine::addTimes(std::span<const qint64> timesPs, const BinSink& sink) {
    while (!timesPs.empty()) {
        const std::size_t inside = countInOpenBin(timesPs);
        const auto taken = timesPs.first(std::min(inside + 1, timesPs.size()));
        recordErrors(taken);
        if (inside > 0) {
            open->tags += inside;
            open->lastPs = timesPs[inside - 1];
        }
        if (inside < timesPs.size()) {
            openBinAt(timesPs[inside], sink);
        }
        timesPs = timesPs.subspan(taken.size());
    }
}

// How many of the next tags belong to the open bin. One that is earlier than its start by more than a bin is
// on another time axis.
std::size_t FrequencyEngine::countInOpenBin(std::span<const qint64> timesPs) const {
    if (!open) {
        return 0;
    }
    const qint64 least = saturatedDifference(open->firstPs, binPs);
    const qint64 end = saturatedSum(open->firstPs, binPs);
    const auto outside = std::find_if(timesPs.begin(), timesPs.end(),
                                      [&](qint64 time) { return time < least || time >= end; });
    return static_cast<std::size_t>(outside - timesPs.begin());
}

void FrequencyEngine::recordErrors(std::span<const qint64> timesPs) {
    if (base > 0.0) {
        const auto period =
            static_cast<qint64>(std::llround(std::min(kPsPerSecond / base, kLongestPeriodPs)));
        periodErrors.append(lastTagPs.value_or(timesPs.front()), timesPs, period);
    }
    lastTagPs = timesPs.back();
}

void FrequencyEngine::openBinAt(qint64 timePs, const BinSink& sink) {
    if (!originPs) {
        originPs = timePs;
    }
    if (open && timePs >= open->firstPs) {
        finishCurrentBin(sink);
    } else if (const std::optional<qint64> before = open ? open->lastPs : std::exchange(brokenPs, {});
               before && timePs < *before) { // the time axis began anew: the run goes on from where it was
        originPs = originGoingOn(*originPs, *before, timePs);
    }
    open = OpenBin{timePs, timePs, 1};
}

void FrequencyEngine::finishCurrentBin(const BinSink& sink) {
    const qint64 spanPs = saturatedDifference(open->lastPs, open->firstPs);
    if (open->tags < 2 || spanPs <= 0) {
        return;
    }
    Bin bin;
    bin.spanSeconds = seconds(spanPs);
    bin.frequencyHz = static_cast<double>(open->tags - 1) * kPsPerSecond / static_cast<double>(spanPs);
    captureAutoBase(bin.frequencyHz);
    bin.number = ++binsEnded;
    bin.timeSeconds = seconds(saturatedDifference(saturatedSum(open->firstPs, binPs), *originPs));
    bin.tags = open->tags;
    bin.baseHz = base;
    bin.driftPpm = base > 0.0 ? (bin.frequencyHz / base - 1.0) * kPpm : 0.0;
    bin.firstPs = open->firstPs;
    bin.lastPs = open->lastPs;
    bins.push_back({bin.timeSeconds, bin.frequencyHz, bin.driftPpm});
    trimHistory();
    sink(bin);
}

void FrequencyEngine::captureAutoBase(double frequencyHz) {
    if (basePending && std::isfinite(frequencyHz) && frequencyHz > 0.0) {
        basePending = false;
        base = frequencyHz;
        current.baseHz = frequencyHz;
    }
}

void FrequencyEngine::trimHistory() {
    const auto limit = static_cast<std::size_t>(current.historyLimit());
    if (bins.size() > limit) {
        bins.erase(bins.begin(), bins.end() - static_cast<std::ptrdiff_t>(limit));
    }
}

std::optional<double> FrequencyEngine::latestFrequencyHz() const {
    return bins.empty() ? std::nullopt : std::optional(bins.back().frequencyHz);
}

std::optional<double> FrequencyEngine::latestDriftPpm() const {
    return bins.empty() ? std::nullopt : std::optional(bins.back().driftPpm);
}

QList<double> FrequencyEngine::rollingXValues() const {
    QList<double> xs;
    if (bins.empty()) {
        return xs;
    }
    const double window = current.plotWindowSeconds();
    const double last = bins.back().timeSeconds;
    const double origin = last > window ? last - window : 0.0;
    xs.reserve(static_cast<qsizetype>(bins.size()));
    for (const KeptBin& bin : bins) {
        xs.append(bin.timeSeconds - origin);
    }
    return xs;
}

QList<double> FrequencyEngine::frequencyOffsets() const {
    QList<double> values;
    values.reserve(static_cast<qsizetype>(bins.size()));
    for (const KeptBin& bin : bins) {
        values.append(bin.frequencyHz - base);
    }
    return values;
}

QList<double> FrequencyEngine::drifts() const {
    QList<double> values;
    values.reserve(static_cast<qsizetype>(bins.size()));
    for (const KeptBin& bin : bins) {
        values.append(bin.driftPpm);
    }
    return values;
}

PeriodHistogram FrequencyEngine::histogram() const {
    return periodHistogram(periodErrors.values(), current.histRangePs(), current.histBinWidthPs());
}

} // namespace qorn::timetagger::gui
