// The controls of the Coincidence measurement. Shows settings and gives them back; owned by its tab, GUI
// thread only.
#pragma once

#include "CoincidenceSettings.h"

#include <QList>
#include <QWidget>

#include <array>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QGroupBox;

namespace qorn::timetagger::gui {

class CoincidenceControls : public QWidget {
    Q_OBJECT
public:
    explicit CoincidenceControls(QWidget* parent = nullptr);

    CoincidenceSettings settings() const;
    // Shows settings, rounded as the controls do, without a signal.
    void showSettings(const CoincidenceSettings& settings);

    // Whether what a running acquisition was started with may be changed; the display always may.
    void setAcquisitionSettingsEnabled(bool enabled);

Q_SIGNALS:
    void settingsChanged();

private:
    QWidget* createAcquisition();
    QWidget* createWindows();
    QWidget* createOffsets();
    QWidget* createTrace();
    void applyWindowToAll();
    void updateEnabled();

    QList<QGroupBox*> acquisitionGroups;
    QDoubleSpinBox* gate = nullptr;
    QComboBox* engine = nullptr;
    QDoubleSpinBox* window = nullptr;
    std::array<QDoubleSpinBox*, kPairs> pairWindows{};
    QCheckBox* offsetsEnabled = nullptr;
    std::array<QDoubleSpinBox*, timing::kChannels> offsets{};
    QCheckBox* showTrace = nullptr;
    QComboBox* split = nullptr;
    QDoubleSpinBox* traceHistory = nullptr;
};

} // namespace qorn::timetagger::gui
