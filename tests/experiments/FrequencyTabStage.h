// The Frequency tab on tags of the test's own, and its measurement as a direct reference computes it.
#pragma once

#include "FrequencyTab.h"
#include "StreamTabStage.h"

#include <cmath>
#include <optional>

namespace qorn::testing {

class FrequencyStage : public StreamTabStage<timetagger::gui::FrequencyTab> {
public:
    static constexpr int kTimerMs = 200;

    // Without a base of the operator's the first bin gives it.
    void setBase(double hz) {
        box("autoBaseFrequency").setChecked(false);
        number("baseHz").setValue(hz);
    }
    void showAllPlots() {
        box("showOffsetPlot").setChecked(true);
        box("showDriftPlot").setChecked(true);
        box("showHistogramPlot").setChecked(true);
    }
    void refresh() { tick(kTimerMs); }
    ShownPlot frequency() const { return shownBy(plot("frequencyPlot")); }
    ShownPlot drift() const { return shownBy(plot("driftPlot")); }
    ShownPlot histogram() const { return shownBy(plot("periodPlot")); }
    QString base() const { return label("baseStatus"); }
};

// Tags of input 1 whose period changes from bin to bin: each bin ends with the first tag at or behind its
// length, which begins the next.
inline QList<UiTimeTag> changingPeriods(const std::vector<qint64>& periodsPs, qint64 binPs) {
    QList<UiTimeTag> tags{{0, 0}};
    qint64 time = 0;
    for (const qint64 period : periodsPs) {
        const qint64 begin = time;
        while (time - begin < binPs) {
            time += period;
            tags.append({0, time});
        }
    }
    return tags;
}

inline constexpr qint64 kMillisecondPs = 1'000'000'000;

// A closed bin.
struct FrequencyBin {
    double time;
    qint64 tags;
    double span;
    double frequency;
    double base;
    double drift;
    qint64 firstPs;
    qint64 lastPs;
};

// The measurement in its plainest form, from all tags of the input at once.
struct FrequencyReference {
    qint64 binPs = kSecondPs / 10;
    std::optional<double> base; // none: the first bin gives it
    std::vector<FrequencyBin> bins;
    std::vector<qint64> periodErrors;

    void measure(const std::vector<qint64>& times) {
        std::size_t first = 0;
        for (std::size_t tag = 0; tag < times.size(); ++tag) {
            if (tag > 0 && base && *base > 0.0 && times[tag] > times[tag - 1]) {
                periodErrors.push_back(times[tag] - times[tag - 1] - std::llround(1e12 / *base));
            }
            if (times[tag] - times[first] >= binPs) {
                close(times, first, tag - 1);
                first = tag;
            }
        }
    }

private:
    void close(const std::vector<qint64>& times, std::size_t first, std::size_t last) {
        const qint64 span = times[last] - times[first];
        if (span <= 0) {
            return;
        }
        FrequencyBin bin{};
        bin.time = static_cast<double>(times[first] + binPs - times[0]) / 1e12;
        bin.tags = static_cast<qint64>(last - first) + 1;
        bin.span = static_cast<double>(span) / 1e12;
        bin.frequency = static_cast<double>(last - first) / bin.span;
        if (!base) {
            base = bin.frequency;
        }
        bin.base = *base;
        bin.drift = *base > 0.0 ? (bin.frequency / *base - 1.0) * 1e6 : 0.0;
        bin.firstPs = times[first];
        bin.lastPs = times[last];
        bins.push_back(bin);
    }
};

} // namespace qorn::testing
