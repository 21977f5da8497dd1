// The Correlation measurement: the histogram of the time differences between two inputs, over the whole run
// and of the moment, with peak alignment, g2 and fits, and what they find as a trace. A view over
// CorrelationEngine, GUI thread only.
#pragma once

#include "AnalysisTrace.h"
#include "CorrelationEngine.h"
#include "CorrelationTexts.h"
#include "ExperimentTab.h"

class QSplitter;
class QTimer;

namespace qorn::timetagger::gui {

class ControlColumn;
class CorrelationControls;
class CorrelationPlots;
class StatisticsTable;

class CorrelationTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit CorrelationTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Correlation"); }
    void onStart() override;
    void onStop() override;
    void onResume() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override;
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    bool requiresTagStreaming() const override { return true; }
    AcquisitionRequest acquisitionRequest(bool streaming) const override;
    QStringList logCsvHeader() const override;

    quint8 channelMask() const { return 15; }

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;
    // Shows what the tags say by now; while the tab runs with a log open, that becomes a row of it.
    void refreshPlot();
    // Makes the lag in the tags at hand the manual offset, or says why that cannot be.
    void onMeasureOffset();

private:
    void createResults(QSplitter* sides);
    void onSettingsChanged();
    void onViewsChanged();
    void onDisplayChanged();
    void onTraceChanged();
    void resetAll();
    void refreshByTimer();
    void renderIntegrated(QList<StatisticsRow>& rows);
    void renderInstant(QList<StatisticsRow>& rows);
    void renderParameterTrace();
    void showHistogram(HistogramView view, const CorrelationResult& result);
    void showAppliedOffset(const QString& text);
    void appendHistogramRow();

    CorrelationEngine engine;
    AnalysisTrace trace;
    ControlColumn* column = nullptr;
    CorrelationControls* controls = nullptr;
    CorrelationPlots* plots = nullptr;
    StatisticsTable* statistics = nullptr;
    QTimer* refreshTimer = nullptr;
    QTimer* noticeTimer = nullptr; // runs while the offset's label keeps what became of measuring
    quint64 loggedRows = 0;
};

} // namespace qorn::timetagger::gui
