// The Multi correlation measurement: lag histograms of up to six pairs of inputs at once, what two windows of
// each count per gate, and the offsets that bring all peaks to zero. At rates beyond what can be correlated a
// sample of the tags, which a banner tells. A view over MultiCorrelationEngine, GUI thread only.
#pragma once

#include "ExperimentTab.h"
#include "MultiCorrelationEngine.h"

#include <QElapsedTimer>

class QLabel;
class QSplitter;
class QTimer;

namespace qorn::timetagger::gui {

class MultiCorrelationControls;
class MultiCorrelationPlots;

class MultiCorrelationTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit MultiCorrelationTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Multi correlation"); }
    void onStart() override;
    void onStop() override;
    void onResume() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override;
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    bool requiresTagStreaming() const override { return true; }
    AcquisitionRequest acquisitionRequest(bool streaming) const override;

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;
    // Brings the pairs' peaks to zero lag by the offsets of the inputs, which it switches on.
    void autoRemoveOffsets();

private:
    void createPlotSide(QSplitter* sides);
    void onSettingsChanged();
    void resetAccumulators();
    void renderHistogram();
    void renderTrace();
    void requestTrace();
    void showGateStatus();
    void updateDataReductionBanner();

    MultiCorrelationEngine engine;
    MultiCorrelationControls* controls = nullptr;
    MultiCorrelationPlots* plots = nullptr;
    QLabel* banner = nullptr;
    QLabel* status = nullptr;
    QElapsedTimer clock;          // of the engine's rate estimates
    QElapsedTimer sinceRefresh;   // of the histograms
    QTimer* traceTimer = nullptr; // runs while a long trace is not to be shown again
    bool traceWaits = false;      // there is more than the traces show
};

} // namespace qorn::timetagger::gui
