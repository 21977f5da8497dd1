// The Multi correlation tab on tags of the test's own.
#pragma once

#include "MultiCorrelationReference.h"
#include "MultiCorrelationTab.h"
#include "StreamTabStage.h"

#include <numeric>
#include <random>

namespace qorn::testing {

class MultiCorrelationStage : public StreamTabStage<timetagger::gui::MultiCorrelationTab> {
public:
    // Sets the controls and starts.
    explicit MultiCorrelationStage(const char* config = "{}") {
        tab.loadConfig(parsedJson(config));
        start();
    }
    // Lets the tags come, and stops, which shows all that was counted.
    void show(const QList<UiTimeTag>& tags) {
        feed(tags);
        pause();
    }
    ShownPlot histogram() const { return shownBy(plot("histogramPlot")); }
    ShownPlot trace() const { return shownBy(plot("tracePlot")); }
    const QLabel& banner() const { return control<QLabel>(tab, QStringLiteral("banner")); }
    QString bannerText() const { return banner().isVisible() ? banner().text() : QString(); }
    // The counts of a pair, 0 to 5, as shown; all must be selected.
    QList<double> counts(int pair) const { return histogram().ys.value(pair); }
    double total(int pair) const {
        const QList<double> shown = counts(pair);
        return std::accumulate(shown.begin(), shown.end(), 0.0);
    }
};

inline const QStringList& pairLabels() {
    static const QStringList labels = texts({"1-2", "1-3", "1-4", "2-3", "2-4", "3-4"});
    return labels;
}

inline const QList<QColor>& multiPairColors() {
    static const QList<QColor> colors{QColor(0x40, 0x9c, 0xff), QColor(0x50, 0xc8, 0xa0),
                                      QColor(0xeb, 0xa0, 0x46), QColor(0xdc, 0x78, 0xaa),
                                      QColor(0xaa, 0x8c, 0xff), QColor(0xe6, 0xd2, 0x64)};
    return colors;
}

inline QList<double> asDoubles(const std::vector<quint64>& counts) {
    QList<double> values;
    for (const quint64 count : counts) {
        values.append(static_cast<double>(count));
    }
    return values;
}

// Pulses on all inputs, each input later than the first by its delay; `spacingPs` apart.
inline QList<UiTimeTag> delayedPulses(const std::array<qint64, 4>& delaysPs, qint64 firstPs, qint64 spacingPs,
                                      int count) {
    QList<UiTimeTag> tags;
    for (int pulse = 0; pulse < count; ++pulse) {
        for (int input = 0; input < 4; ++input) {
            tags.append({static_cast<quint8>(input),
                         firstPs + pulse * spacingPs + delaysPs[static_cast<std::size_t>(input)]});
        }
    }
    return inTimeOrder(tags);
}

// Tags of all inputs, also of some that do not exist, close to each other.
inline QList<UiTimeTag> crowdedTags(unsigned seed, int count, qint64 meanSpacingPs) {
    std::mt19937_64 random(seed);
    QList<UiTimeTag> tags;
    qint64 time = 5'000'000'000;
    for (int number = 0; number < count; ++number) {
        time += static_cast<qint64>(random() % static_cast<std::uint64_t>(2 * meanSpacingPs));
        tags.append({static_cast<quint8>(random() % 40 == 0 ? 4 + random() % 200 : random() % 4), time});
    }
    return tags;
}

} // namespace qorn::testing
