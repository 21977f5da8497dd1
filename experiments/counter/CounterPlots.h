// The plots of the Counter measurement in a splitter: count traces, and if wanted their histogram and the
// traces of pair rates. Shows what the engines hold; owned by its tab, GUI thread only.
#pragma once

#include <QSplitter>

namespace qorn::timetagger::gui {

class BarChartWidget;
class CounterEngine;
class CounterTagEngine;
struct CounterSettings;
struct CounterTraces;

class CounterPlots : public QSplitter {
    Q_OBJECT
public:
    explicit CounterPlots(QWidget* parent = nullptr);

    BarChartWidget* tracePlot() const { return trace; }

    // Which plots there are, and how they stand.
    void arrange(const CounterSettings& settings);
    // Hidden plots are left as they are.
    void showCounts(const CounterEngine& engine);
    void showCoincidences(const CounterTagEngine& engine, const CounterSettings& settings);
    // Statistics lines and markers of the best values, as far as the settings ask for them.
    void showStatistics(const CounterEngine& engine);

private:
    static QString valueLabel(const CounterSettings& settings);
    // Of the selected inputs.
    static QStringList channelLabels(const CounterSettings& settings);
    static QList<QColor> channelSeriesColors(const CounterSettings& settings);
    void showTrace(const CounterEngine& engine, const CounterTraces& traces);
    void showHistogram(const CounterEngine& engine, const CounterTraces& traces);

    BarChartWidget* trace = nullptr;
    BarChartWidget* histogram = nullptr;
    BarChartWidget* coincidences = nullptr;
};

} // namespace qorn::timetagger::gui
