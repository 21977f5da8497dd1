// The Counter measurement: counts per gate of each input as a time trace, from the hardware counter or, when
// the tab joins a tag stream, from its tags in gates of the same length.
#pragma once

#include "ExperimentTab.h"

class QDoubleSpinBox;
class QLabel;

namespace qorn::timetagger::gui {

class CounterTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit CounterTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Counter"); }
    void onStart() override;
    void onStop() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override { return plot; }
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    AcquisitionRequest acquisitionRequest(bool streaming) const override;
    void onCounterSample(const UiCounterSample& sample) override;

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;

private:
    double gateSeconds() const;
    void clearSamples();
    void takeSample(const UiCounterSample& sample);
    void closeTagGate();
    double gateOf(const UiCounterSample& sample) const; // s
    void showStatus();
    void refreshPlot();

    QDoubleSpinBox* integration = nullptr;
    QLabel* status = nullptr;
    BarChartWidget* plot = nullptr;
    quint64 sampleCount = 0;
    double elapsedSeconds = 0.0;
    UiCounterSample lastSample;
    QList<double> times;         // s since the start, oldest first
    QList<QList<double>> counts; // per input, parallel to times
    bool tagGateOpen = false;    // a gate that counts tags
    qint64 tagGateStartPs = 0;
    QList<quint64> tagGateCounts;
};

} // namespace qorn::timetagger::gui
