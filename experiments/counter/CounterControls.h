// The left column of the Counter measurement: shows settings and gives them back. Owned by its tab, GUI
// thread only.
#pragma once

#include "CounterSettings.h"

#include <QWidget>

#include <array>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QSpinBox;

namespace qorn::timetagger::gui {

class CounterControls : public QWidget {
    Q_OBJECT
public:
    explicit CounterControls(QWidget* parent = nullptr);

    CounterSettings settings() const;
    // Shows settings, rounded as the controls do, without a signal.
    void showSettings(const CounterSettings& settings);

Q_SIGNALS:
    // The operator changed something that settings() gives.
    void settingsChanged();
    void resetMaxRequested();

private:
    QWidget* createChannels();
    QWidget* createAcquisition();
    QWidget* createDisplay();
    QWidget* createHistory();
    QWidget* createYAxis();
    QWidget* createStatistics();
    QWidget* createCoincidences();
    QWidget* createCoincidenceBody(QWidget* parent);
    QWidget* createPairs(QWidget* parent);
    QWidget* createOffsets(QWidget* parent);
    QCheckBox* makeCheck(const QString& key, const QString& text, QWidget* parent);
    QComboBox* makeChoice(const QString& key, const QStringList& names, QWidget* parent);
    QDoubleSpinBox* makeNumber(const QString& key, double least, double most, int decimals, QWidget* parent);
    QDoubleSpinBox* makeNanoseconds(const QString& key, double least, double most, QWidget* parent);
    void applyWindowToAll();
    void updateDependentControls();

    std::array<QCheckBox*, timing::kChannels> channels{};
    QDoubleSpinBox* integration = nullptr;
    QComboBox* rateMode = nullptr;
    QCheckBox* showHistogram = nullptr;
    QComboBox* historyMode = nullptr;
    QSpinBox* historyBins = nullptr;
    QDoubleSpinBox* timeWindow = nullptr;
    QComboBox* yAxisMode = nullptr;
    QDoubleSpinBox* yMin = nullptr;
    QDoubleSpinBox* yMax = nullptr;
    QCheckBox* showStats = nullptr;
    QCheckBox* showMaxMarkers = nullptr;
    QCheckBox* coincidenceEnabled = nullptr;
    QWidget* coincidenceBody = nullptr; // everything that only coincidences need
    QDoubleSpinBox* coincidenceWindow = nullptr;
    std::array<QCheckBox*, kPairs> pairs{};
    std::array<QDoubleSpinBox*, kPairs> pairWindows{};
    QCheckBox* offsetsEnabled = nullptr;
    std::array<QDoubleSpinBox*, timing::kChannels> offsets{};
    QComboBox* split = nullptr;
    QDoubleSpinBox* coincidenceHistory = nullptr;
};

} // namespace qorn::timetagger::gui
