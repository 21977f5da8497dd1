// The Counter measurement: counts per gate of each input as time traces, with statistics, best values and a
// histogram. Samples come from the hardware counter or, with coincidences or in a tag stream, from the tags,
// and then pair rates are shown beside them. A view over CounterEngine and CounterTagEngine.
#pragma once

#include "CounterEngine.h"
#include "CounterTagEngine.h"
#include "ExperimentTab.h"

class QSplitter;
class QTimer;

namespace qorn::timetagger::gui {

class ControlColumn;
class CounterControls;
class CounterPlots;

class CounterTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit CounterTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Counter"); }
    void onStart() override;
    void onStop() override;
    void onResume() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override;
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    bool requiresTagStreaming() const override;
    AcquisitionRequest acquisitionRequest(bool streaming) const override;
    void onCounterSample(const UiCounterSample& sample) override;
    QStringList logCsvHeader() const override;

    quint8 channelMask() const { return engine.settings().channelMask(); }
    QList<int> selectedChannels() const { return engine.settings().selectedChannels(); }
    double gateSeconds() const { return engine.settings().gateSeconds(); }
    bool coincidenceEnabled() const { return engine.settings().coincidenceEnabled; }

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;
    // Clears the maxima of all inputs; mean and deviation go on.
    void resetMax();

protected:
    bool event(QEvent* event) override;

private:
    void createPlotSide(QSplitter* sides);
    void takeSettings(const CounterSettings& settings);
    void onSettingsChanged();
    void resetCounters();
    void requestRender();
    void renderPending();
    void render();
    void showTagStatus(const CounterTagEngine::Gate& gate);

    CounterEngine engine;
    CounterTagEngine tagEngine;
    CounterControls* controls = nullptr;
    CounterPlots* plots = nullptr;
    ControlColumn* column = nullptr;
    QTimer* renderTimer = nullptr; // runs while a long history is not to be shown again
    bool rendersLater = false;     // there is more than the plots show
};

} // namespace qorn::timetagger::gui
