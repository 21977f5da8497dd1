// The plots of the Multi correlation measurement in a splitter: the lag histograms of the selected pairs, and
// what their windows counted per gate. Shows what the engine holds; owned by its tab, GUI thread only.
#pragma once

#include <QSplitter>

namespace qorn::timetagger::gui {

class BarChartWidget;
class MultiCorrelationEngine;
struct MultiCorrelationSettings;

class MultiCorrelationPlots : public QSplitter {
    Q_OBJECT
public:
    explicit MultiCorrelationPlots(QWidget* parent = nullptr);

    BarChartWidget* histogramPlot() const { return histogram; }

    // How the plots stand.
    void arrange(const MultiCorrelationSettings& settings);
    void showHistograms(const MultiCorrelationEngine& engine);
    void showTraces(const MultiCorrelationEngine& engine);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    BarChartWidget* addPlot(const char* name);
    void fitLegends();

    BarChartWidget* histogram = nullptr;
    BarChartWidget* trace = nullptr;
    qsizetype shownPairs = 0;
};

} // namespace qorn::timetagger::gui
