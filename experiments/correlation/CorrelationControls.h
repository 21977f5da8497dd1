// The controls of the Correlation measurement: shows settings and gives them back, always such that they
// agree with each other. Owned by its tab, GUI thread only.
#pragma once

#include "CorrelationSettings.h"

#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFormLayout;
class QGroupBox;
class QLabel;
class QPushButton;
class QSpinBox;

namespace qorn::timetagger::gui {

class CorrelationControls : public QWidget {
    Q_OBJECT
public:
    explicit CorrelationControls(QWidget* parent = nullptr);

    CorrelationSettings settings() const;
    // Shows settings, made to agree and rounded as the controls do, without a signal.
    void showSettings(CorrelationSettings settings);
    QString traceText() const; // what the trace is of
    QString analysisText() const;
    // The sentence below the offset's controls.
    void showAppliedOffset(const QString& text);

Q_SIGNALS:
    // The operator changed what is collected; which views there are; how the histograms are drawn; what the
    // trace is of.
    void settingsChanged();
    void viewsChanged();
    void displayChanged();
    void traceChanged();
    void measureOffsetRequested();

private:
    using Change = void (CorrelationControls::*)();

    QGroupBox* createChannels();
    QGroupBox* createHistogram();
    QGroupBox* createViews();
    QGroupBox* createOffset();
    void addFitRows(QFormLayout* form, QWidget* parent);
    void createTraceHistory();
    QCheckBox* makeCheck(const char* key, const QString& text, Change change, QWidget* parent);
    QComboBox* makeChoice(const char* key, const QStringList& names, Change change, QWidget* parent);
    QSpinBox* makeCount(const char* key, int least, int most, Change change, QWidget* parent);
    QDoubleSpinBox* makeNumber(const char* key, const QString& suffix, int decimals, Change change,
                               QWidget* parent);
    void takeEdit(Change change);
    void updateEnabled(const CorrelationSettings& settings);

    QSpinBox* source = nullptr;
    QSpinBox* target = nullptr;
    QDoubleSpinBox* range = nullptr;
    QDoubleSpinBox* bin = nullptr;
    QComboBox* analysis = nullptr;
    QCheckBox* fitEnabled = nullptr;
    QComboBox* fitModel = nullptr;
    QSpinBox* fitTerms = nullptr;
    QComboBox* style = nullptr;
    QComboBox* yAxis = nullptr;
    QCheckBox* viewIntegrated = nullptr;
    QCheckBox* viewInstant = nullptr;
    QDoubleSpinBox* timeConstant = nullptr;
    QCheckBox* viewTrace = nullptr;
    QComboBox* metric = nullptr;
    QDoubleSpinBox* metricHistory = nullptr;
    QComboBox* offsetMode = nullptr;
    QDoubleSpinBox* manualOffset = nullptr;
    QDoubleSpinBox* offsetSearch = nullptr;
    QPushButton* measureOffset = nullptr;
    QLabel* appliedOffset = nullptr;
    QDoubleSpinBox* countHistory = nullptr; // of the count traces, which are not shown
    bool showing = true;                    // the controls are made or change, but not by the operator
};

} // namespace qorn::timetagger::gui
