// The Coincidence measurement: singles, pairs, triples and quadruples per gate as a table, the pair rates as
// a bar histogram and, if wanted, over time. Counted by the hardware or, when that cannot or another tab's
// stream runs, from the tags. A view over CoincidenceEngine, GUI thread only.
#pragma once

#include "CoincidenceEngine.h"
#include "ExperimentTab.h"

class QSplitter;

namespace qorn::timetagger::gui {

class CoincidenceControls;
class CoincidenceTable;
class ControlColumn;

class CoincidenceTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit CoincidenceTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Coincidence"); }
    void onStart() override;
    void onStop() override;
    void onResume() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override { return histogram; }
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    bool requiresTagStreaming() const override;
    AcquisitionRequest acquisitionRequest(bool streaming) const override;
    void onCoincidenceSample(const UiCoincidenceSample& sample) override;
    QStringList logCsvHeader() const override;

    // Whether the next start or resume is of the hardware measurement rather than on a tag stream.
    void setHardwareMode(bool hardware) { hardwareMode = hardware; }

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;

private:
    QWidget* createResults();
    void onSettingsChanged();
    void arrange();
    void showGates(std::span<const CoincidenceEngine::Gate> gates);
    void showNothing();
    void showAcquiring();
    void updateHistogram();
    void updateTracePlot();
    void logGates(std::span<const CoincidenceEngine::Gate> gates);

    CoincidenceEngine engine;
    CoincidenceControls* controls = nullptr;
    ControlColumn* column = nullptr; // the controls and the status line
    CoincidenceTable* table = nullptr;
    QSplitter* results = nullptr; // the table and the plots
    QSplitter* plots = nullptr;
    BarChartWidget* histogram = nullptr;
    BarChartWidget* trace = nullptr;
    qint64 gatesSinceTrace = 0; // that the painted trace does not show yet
    bool hardwareMode = true;
};

} // namespace qorn::timetagger::gui
