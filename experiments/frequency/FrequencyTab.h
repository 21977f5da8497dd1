// The Frequency measurement: frequency, offset and drift of one input in bins, and a histogram of its period
// errors. A view over FrequencyEngine.
#pragma once

#include "ExperimentTab.h"
#include "FrequencyEngine.h"

class QSplitter;
class QTimer;

namespace qorn::timetagger::gui {

class FrequencyControls;
class FrequencyPlots;

class FrequencyTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit FrequencyTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Frequency"); }
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

    // The bit of the selected input.
    quint8 channelMask() const { return engine.settings().channelMask(); }

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;

private:
    void createPlotSide(QSplitter* sides);
    void onSettingsChanged();
    void resetAll();
    void refreshPlots();
    void updateBaseStatusLabel();

    FrequencyEngine engine;
    FrequencyControls* controls = nullptr;
    FrequencyPlots* plots = nullptr;
    QTimer* timer = nullptr;
};

} // namespace qorn::timetagger::gui
