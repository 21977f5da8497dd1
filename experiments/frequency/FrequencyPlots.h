// The plots of the Frequency measurement in a splitter: frequency or its offset and drift over time, and the
// histogram of period errors. Shows what the engine holds; owned by its tab, GUI thread only.
#pragma once

#include <QSplitter>

namespace qorn::timetagger::gui {

class BarChartWidget;
class FrequencyEngine;
struct FrequencySettings;

// "1.234500 kHz": in Hz, kHz, MHz or GHz by magnitude.
QString frequencyText(double hz);

class FrequencyPlots : public QSplitter {
    Q_OBJECT
public:
    explicit FrequencyPlots(QWidget* parent = nullptr);

    BarChartWidget* frequencyPlot() const { return frequency; }

    // Which plots there are.
    void arrange(const FrequencySettings& settings);
    void show(const FrequencyEngine& engine);
    void clearStatLines();

private:
    void renderFrequencyTrace(const FrequencyEngine& engine, const QList<double>& xs);
    void renderDriftTrace(const FrequencyEngine& engine, const QList<double>& xs);
    void renderPeriodHistogram(const FrequencyEngine& engine);

    BarChartWidget* frequency = nullptr;
    BarChartWidget* drift = nullptr;
    BarChartWidget* period = nullptr;
};

} // namespace qorn::timetagger::gui
