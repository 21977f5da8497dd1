// The Correlation tab on tags of the test's own.
#pragma once

#include "CorrelationTab.h"
#include "CorrelationTabReference.h"
#include "StreamTabStage.h"

#include <QTableView>

#include <random>

namespace qorn::testing {

// A row of the statistics.
struct StatRow {
    QString label;
    QString value;

    bool operator==(const StatRow&) const = default;
};

inline void PrintTo(const StatRow& row, std::ostream* out) {
    *out << '"' << row.label.toStdString() << "\": \"" << row.value.toStdString() << '"';
}

class CorrelationStage : public StreamTabStage<timetagger::gui::CorrelationTab> {
public:
    static constexpr int kTimerMs = 100;

    // Sets the controls, starts, and lets the tags come.
    explicit CorrelationStage(const char* config = "{}") {
        tab.loadConfig(parsedJson(config));
        start();
    }
    void refresh() { tick(kTimerMs); }
    void show(const QList<UiTimeTag>& tags) {
        feed(tags);
        refresh();
    }
    ShownPlot integrated() const { return shownBy(plot("integratedPlot")); }
    ShownPlot instant() const { return shownBy(plot("instantPlot")); }
    ShownPlot trace() const { return shownBy(plot("tracePlot")); }
    QString appliedOffset() const { return label("appliedOffset"); }
    StatRow stat(int row) const {
        const QAbstractItemModel& table = *control<QTableView>(tab, QStringLiteral("statistics")).model();
        return {table.index(row, 0).data(Qt::DisplayRole).toString(),
                table.index(row, 1).data(Qt::DisplayRole).toString()};
    }
    // The tallest count that the integrated histogram shows, without decimation.
    double tallest() const {
        const ShownPlot shown = integrated();
        const QList<double> ys = shown.ys.value(0);
        return ys.isEmpty() ? 0.0 : *std::max_element(ys.begin(), ys.end());
    }
};

inline StatRow statRow(const char* label, const QString& value) {
    return {QString::fromUtf8(label), value};
}
inline const StatRow kNoStat{QStringLiteral("-"), QStringLiteral("-")};
inline const QColor kBlue(0x40, 0x9c, 0xff);
inline const QColor kGreen(0x50, 0xc8, 0xa0);
inline const QColor kOrange(0xeb, 0xa0, 0x46);

inline QString fixed3(double value) {
    return QString::number(value, 'f', 3);
}

// `count` pairs of tags, `spacingPs` apart: source at n * spacing, target by the lag later.
inline QList<UiTimeTag> pairsOfTags(int source, int target, qint64 firstPs, qint64 spacingPs, qint64 lagPs,
                                    int count) {
    QList<UiTimeTag> tags;
    for (int number = 0; number < count; ++number) {
        const qint64 time = firstPs + number * spacingPs;
        tags.append({static_cast<quint8>(source), time});
        tags.append({static_cast<quint8>(target), time + lagPs});
    }
    return inTimeOrder(tags);
}

// Tags of all inputs at random times, with many close pairs; the lags of inputs 1 and 2 cluster at `lagPs`.
inline QList<UiTimeTag> randomTags(unsigned seed, int count, qint64 meanSpacingPs, qint64 lagPs = 0) {
    std::mt19937_64 random(seed);
    QList<UiTimeTag> tags;
    qint64 time = 1'000'000;
    for (int number = 0; number < count; ++number) {
        time += static_cast<qint64>(random() % static_cast<std::uint64_t>(2 * meanSpacingPs));
        tags.append({static_cast<quint8>(random() % 4), time});
        if (random() % 2 == 0) {
            const auto spread = static_cast<qint64>(random() % 201 + random() % 201) - 200;
            tags.append({0, time});
            tags.append({1, time + lagPs + spread});
        }
    }
    return inTimeOrder(tags);
}

} // namespace qorn::testing
