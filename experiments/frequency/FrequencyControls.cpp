#include "FrequencyControls.h"

#include "ChoiceBox.h"
#include "TimeTag.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {

FrequencyControls::FrequencyControls(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QWidget* part : {createInput(), createHistogram(), createPlots(), createYAxis()}) {
        column->addWidget(part);
    }
    column->addStretch(1);
    showSettings(FrequencySettings());
}

QCheckBox* FrequencyControls::makeCheck(const QString& key, const QString& text, QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    box->setObjectName(key);
    connect(box, &QCheckBox::toggled, this, &FrequencyControls::updateDependentControls);
    connect(box, &QCheckBox::toggled, this, &FrequencyControls::settingsChanged);
    return box;
}

QSpinBox* FrequencyControls::makeCount(const QString& key, int least, int most, QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(key);
    box->setRange(least, most);
    box->setKeyboardTracking(false); // half a number would drop what it leaves no room for
    connect(box, &QSpinBox::valueChanged, this, &FrequencyControls::settingsChanged);
    return box;
}

QDoubleSpinBox* FrequencyControls::makeNumber(const QString& key, double least, double most, int decimals,
                                              QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(key);
    box->setDecimals(decimals);
    box->setRange(least, most);
    box->setKeyboardTracking(false);
    box->setSizePolicy(QSizePolicy::Ignored, box->sizePolicy().verticalPolicy()); // for what stands in it
    connect(box, &QDoubleSpinBox::valueChanged, this, &FrequencyControls::settingsChanged);
    return box;
}

QWidget* FrequencyControls::createInput() {
    auto* group = new QGroupBox(tr("Input"), this);
    auto* form = new QFormLayout(group);
    channel = makeCount(QStringLiteral("channel"), 1, timing::kChannels, group);
    autoBase = makeCheck(QStringLiteral("autoBaseFrequency"), tr("Auto detect base at start"), group);
    autoBase->setToolTip(tr("Use the first completed frequency bin as the base for this measurement."));
    base = new QDoubleSpinBox(group);
    base->setObjectName(QStringLiteral("baseHz"));
    base->setDecimals(FrequencySettings::kBaseDecimals);
    base->setRange(0.0, FrequencySettings::kMostBaseHz);
    base->setKeyboardTracking(false);
    base->setSizePolicy(QSizePolicy::Ignored, base->sizePolicy().verticalPolicy());
    base->setSingleStep(100.0);
    base->setSuffix(tr(" Hz"));
    base->setToolTip(tr("Expected/base frequency. Used for ppm drift and period-error histogram."));
    connect(base, &QDoubleSpinBox::valueChanged, this, [this](double hz) {
        exactBaseHz = hz;
        Q_EMIT settingsChanged();
    });
    baseStatus = new QLabel(tr("Base: detecting at start"), group);
    baseStatus->setObjectName(QStringLiteral("baseStatus"));
    baseStatus->setWordWrap(true);
    bin = makeNumber(QStringLiteral("binSeconds"), FrequencySettings::kLeastBinSeconds,
                     FrequencySettings::kMostBinSeconds, 6, group);
    bin->setSingleStep(0.001);
    bin->setSuffix(tr(" s"));
    bin->setToolTip(tr("Integration bin for the frequency trace. Frequency is computed from tag-to-tag span "
                       "inside each bin."));
    history = makeCount(QStringLiteral("historyBins"), FrequencySettings::kLeastHistoryBins,
                        FrequencySettings::kMostHistoryBins, group);
    form->addRow(tr("Channel"), channel);
    form->addRow(autoBase);
    form->addRow(tr("Base"), base);
    form->addRow(tr("Detected"), baseStatus);
    form->addRow(tr("Bin"), bin);
    form->addRow(tr("History"), history);
    return group;
}

QWidget* FrequencyControls::createHistogram() {
    auto* group = new QGroupBox(tr("Period histogram"), this);
    auto* form = new QFormLayout(group);
    histRange = makeNumber(QStringLiteral("histRangeNs"), FrequencySettings::kLeastHistRangeNs,
                           FrequencySettings::kMostHistRangeNs, 3, group);
    histRange->setSingleStep(10.0);
    histRange->setSuffix(tr(" ns"));
    histRange->setToolTip(tr("Half-range around the expected period. If base is zero, this is the raw period "
                             "range around zero."));
    histBin = makeNumber(QStringLiteral("histBinPs"), FrequencySettings::kLeastHistBinPs,
                         FrequencySettings::kMostHistBinPs, 1, group);
    histBin->setSingleStep(10.0);
    histBin->setSuffix(tr(" ps"));
    form->addRow(tr("Half-range"), histRange);
    form->addRow(tr("Bin"), histBin);
    return group;
}

QWidget* FrequencyControls::createPlots() {
    auto* group = new QGroupBox(tr("Plots"), this);
    auto* column = new QVBoxLayout(group);
    showOffset = makeCheck(QStringLiteral("showOffsetPlot"), tr("Frequency offset"), group);
    showDrift = makeCheck(QStringLiteral("showDriftPlot"), tr("Frequency drift"), group);
    showHistogram = makeCheck(QStringLiteral("showHistogramPlot"), tr("Period histogram"), group);
    for (QCheckBox* box : {showOffset, showDrift, showHistogram}) {
        column->addWidget(box);
    }
    return group;
}

QWidget* FrequencyControls::createYAxis() {
    auto* group = new QGroupBox(tr("Trace Y axis"), this);
    auto* form = new QFormLayout(group);
    yAxisMode = makeChoiceBox(staticMetaObject.className(), FrequencySettings::yAxisModeNames(), group);
    yAxisMode->setObjectName(QStringLiteral("yAxisMode"));
    connect(yAxisMode, &QComboBox::currentIndexChanged, this, &FrequencyControls::updateDependentControls);
    connect(yAxisMode, &QComboBox::currentIndexChanged, this, &FrequencyControls::settingsChanged);
    constexpr double kMost = FrequencySettings::kMostYLimit;
    yMin = makeNumber(QStringLiteral("yMin"), -kMost, kMost, 6, group);
    yMax = makeNumber(QStringLiteral("yMax"), -kMost, kMost, 6, group);
    form->addRow(tr("Mode"), yAxisMode);
    form->addRow(tr("Min"), yMin);
    form->addRow(tr("Max"), yMax);
    return group;
}

FrequencySettings FrequencyControls::settings() const {
    FrequencySettings result;
    result.channel = channel->value();
    result.autoBaseFrequency = autoBase->isChecked();
    result.baseHz = exactBaseHz;
    result.binSeconds = bin->value();
    result.historyBins = history->value();
    result.histRangeNs = histRange->value();
    result.histBinPs = histBin->value();
    result.showOffsetPlot = showOffset->isChecked();
    result.showDriftPlot = showDrift->isChecked();
    result.showHistogramPlot = showHistogram->isChecked();
    result.yAxisMode = static_cast<FrequencySettings::YAxisMode>(yAxisMode->currentIndex());
    result.yMin = yMin->value();
    result.yMax = yMax->value();
    return result;
}

void FrequencyControls::showSettings(const FrequencySettings& settings) {
    {
        const QSignalBlocker blocker(this);
        channel->setValue(settings.channel);
        autoBase->setChecked(settings.autoBaseFrequency);
        bin->setValue(settings.binSeconds);
        history->setValue(settings.historyBins);
        histRange->setValue(settings.histRangeNs);
        histBin->setValue(settings.histBinPs);
        const QSignalBlocker plotBlockers[] = {QSignalBlocker(showOffset), QSignalBlocker(showDrift),
                                               QSignalBlocker(showHistogram)};
        showOffset->setChecked(settings.showOffsetPlot);
        showDrift->setChecked(settings.showDriftPlot);
        showHistogram->setChecked(settings.showHistogramPlot);
        yAxisMode->setCurrentIndex(static_cast<int>(settings.yAxisMode));
        yMin->setValue(settings.yMin);
        yMax->setValue(settings.yMax);
    }
    showBase(settings.baseHz);
    updateDependentControls();
}

void FrequencyControls::showBase(double hz) {
    const QSignalBlocker blocker(base);
    base->setValue(hz);
    exactBaseHz = hz;
}

void FrequencyControls::showBaseStatus(const QString& text) {
    baseStatus->setText(text);
}

void FrequencyControls::updateDependentControls() {
    if (yMax == nullptr) {
        return; // not built yet
    }
    if (!showOffset->isChecked() && !showDrift->isChecked() && !showHistogram->isChecked()) {
        const QSignalBlocker blocker(showOffset);
        showOffset->setChecked(true);
    }
    const bool custom = yAxisMode->currentIndex() == static_cast<int>(FrequencySettings::YAxisMode::Custom);
    yMin->setEnabled(custom);
    yMax->setEnabled(custom);
    base->setEnabled(!autoBase->isChecked());
}

} // namespace qorn::timetagger::gui
