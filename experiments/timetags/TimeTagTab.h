// The Time tags measurement: tags per bin of each input as a time trace. The tab from which complete tag
// streams are recorded; the plot is a thinned view, the file is the record.
#pragma once

#include "ExperimentTab.h"
#include "TimeTagEngine.h"

class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;
class QTimer;

namespace qorn::timetagger::gui {

class TimeTagTab : public ExperimentTab {
    Q_OBJECT
public:
    explicit TimeTagTab(QWidget* parent = nullptr);

    QString experimentType() const override { return QStringLiteral("Time tags"); }
    void onStart() override;
    void onStop() override;
    void onResume() override;
    void resetMeasurement() override;
    BarChartWidget* plotWidget() const override { return plot; }
    QJsonObject saveConfig() const override;
    void loadConfig(const QJsonObject& object) override;
    bool requiresTagStreaming() const override { return true; }
    AcquisitionRequest acquisitionRequest(bool streaming) const override;
    bool supportsLogging() const override { return false; }
    QStringList logCsvHeader() const override;
    QString logFileStem() const override { return QStringLiteral("time_tags"); }
    QString logFileExtension() const override { return QStringLiteral("qornts"); }

public Q_SLOTS:
    void onTagsBatch(const QList<qorn::timetagger::gui::UiTimeTag>& tags) override;

private:
    QWidget* createControls();
    void showSettings(const TimeTagSettings& settings);
    void onSettingsChanged();
    void startShowing();
    void resetAll();
    void refreshPlot();
    QString yAxisLabel() const;

    TimeTagEngine engine;
    QDoubleSpinBox* binBox = nullptr;
    QSpinBox* historyBox = nullptr;
    QComboBox* quantityBox = nullptr;
    QComboBox* groupBox = nullptr;
    QComboBox* scaleBox = nullptr;
    QLabel* status = nullptr;
    BarChartWidget* plot = nullptr;
    QTimer* timer = nullptr;
};

} // namespace qorn::timetagger::gui
