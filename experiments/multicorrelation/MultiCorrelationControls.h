// The left column of the Multi correlation measurement: shows settings and gives them back. Owned by its tab,
// GUI thread only.
#pragma once

#include "MultiCorrelationSettings.h"
#include "WindowBoxes.h"

#include <QWidget>

#include <array>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

namespace qorn::timetagger::gui {

class PairWindowTable;

class MultiCorrelationControls : public QWidget {
    Q_OBJECT
public:
    explicit MultiCorrelationControls(QWidget* parent = nullptr);

    MultiCorrelationSettings settings() const;
    // Shows settings, rounded as the controls do, without a signal.
    void showSettings(const MultiCorrelationSettings& settings);

Q_SIGNALS:
    // The operator changed something that settings() gives.
    void settingsChanged();
    void autoRemoveOffsetsRequested();

private:
    QWidget* createPairs();
    QWidget* createHistogram();
    QWidget* createWindows();
    QWidget* createOffsets();
    QWidget* createTraces();
    QDoubleSpinBox* makeNumber(const QString& key, double least, double most, double step, int decimals,
                               const QString& suffix, QWidget* parent);
    QComboBox* makeChoice(const QString& key, const QStringList& names, QWidget* parent);
    void applyWindowsToAll();
    void updateEnabled();

    std::array<QCheckBox*, kPairs> pairs{};
    QDoubleSpinBox* range = nullptr;
    QDoubleSpinBox* bin = nullptr;
    WindowBoxes allA;
    WindowBoxes allB;
    PairWindowTable* windows = nullptr;
    QCheckBox* offsetsEnabled = nullptr;
    std::array<QDoubleSpinBox*, timing::kChannels> offsets{};
    QDoubleSpinBox* gate = nullptr;
    QDoubleSpinBox* traceHistory = nullptr;
    QComboBox* rateMode = nullptr;
    QComboBox* split = nullptr;
};

} // namespace qorn::timetagger::gui
