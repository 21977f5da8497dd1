// The left column of the Frequency measurement: shows settings and gives them back. Owned by its tab, GUI
// thread only.
#pragma once

#include "FrequencySettings.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

namespace qorn::timetagger::gui {

class FrequencyControls : public QWidget {
    Q_OBJECT
public:
    explicit FrequencyControls(QWidget* parent = nullptr);

    // The base is the one that was shown last, with all its digits, until the operator edits it.
    FrequencySettings settings() const;
    // Shows settings without a signal. Of the plots at least one is always on.
    void showSettings(const FrequencySettings& settings);
    void showBase(double hz);
    void showBaseStatus(const QString& text);

Q_SIGNALS:
    // The operator changed something that settings() gives.
    void settingsChanged();

private:
    QWidget* createInput();
    QWidget* createHistogram();
    QWidget* createPlots();
    QWidget* createYAxis();
    QCheckBox* makeCheck(const QString& key, const QString& text, QWidget* parent);
    QSpinBox* makeCount(const QString& key, int least, int most, QWidget* parent);
    QDoubleSpinBox* makeNumber(const QString& key, double least, double most, int decimals, QWidget* parent);
    void updateDependentControls();

    QSpinBox* channel = nullptr;
    QCheckBox* autoBase = nullptr;
    QDoubleSpinBox* base = nullptr;
    double exactBaseHz = 0.0; // what the box shows rounded
    QLabel* baseStatus = nullptr;
    QDoubleSpinBox* bin = nullptr;
    QSpinBox* history = nullptr;
    QDoubleSpinBox* histRange = nullptr;
    QDoubleSpinBox* histBin = nullptr;
    QCheckBox* showOffset = nullptr;
    QCheckBox* showDrift = nullptr;
    QCheckBox* showHistogram = nullptr;
    QComboBox* yAxisMode = nullptr;
    QDoubleSpinBox* yMin = nullptr;
    QDoubleSpinBox* yMax = nullptr;
};

} // namespace qorn::timetagger::gui
