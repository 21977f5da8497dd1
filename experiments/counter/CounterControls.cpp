#include "CounterControls.h"

#include "ChoiceBox.h"
#include "ControlNames.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

template <typename Choice>
Choice choiceOf(const QComboBox* box) {
    return static_cast<Choice>(box->currentIndex());
}

} // namespace

CounterControls::CounterControls(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QWidget* part : {createChannels(), createAcquisition(), createDisplay(), createHistory(),
                          createYAxis(), createStatistics(), createCoincidences()}) {
        column->addWidget(part);
    }
    column->addStretch(1);
    showSettings(CounterSettings());
}

QCheckBox* CounterControls::makeCheck(const QString& key, const QString& text, QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    box->setObjectName(key);
    connect(box, &QCheckBox::toggled, this, &CounterControls::updateDependentControls);
    connect(box, &QCheckBox::toggled, this, &CounterControls::settingsChanged);
    return box;
}

QComboBox* CounterControls::makeChoice(const QString& key, const QStringList& names, QWidget* parent) {
    QComboBox* box = makeChoiceBox(staticMetaObject.className(), names, parent);
    box->setObjectName(key);
    connect(box, &QComboBox::currentIndexChanged, this, &CounterControls::updateDependentControls);
    connect(box, &QComboBox::currentIndexChanged, this, &CounterControls::settingsChanged);
    return box;
}

QDoubleSpinBox* CounterControls::makeNumber(const QString& key, double least, double most, int decimals,
                                            QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(key);
    box->setDecimals(decimals);
    box->setRange(least, most);
    box->setKeyboardTracking(false); // half a number would restart what it changes
    connect(box, &QDoubleSpinBox::valueChanged, this, &CounterControls::settingsChanged);
    return box;
}

QDoubleSpinBox* CounterControls::makeNanoseconds(const QString& key, double least, double most,
                                                 QWidget* parent) {
    QDoubleSpinBox* box = makeNumber(key, least, most, 6, parent);
    box->setSingleStep(0.1);
    box->setSuffix(tr(" ns"));
    box->setSizePolicy(QSizePolicy::Ignored, box->sizePolicy().verticalPolicy()); // for what stands in it
    return box;
}

QWidget* CounterControls::createChannels() {
    auto* group = new QGroupBox(tr("Channels"), this);
    auto* row = new QHBoxLayout(group);
    row->setSpacing(2);
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        channels[channel] = makeCheck(numberedName("channels", channel), tr("Ch %1").arg(channel + 1), group);
        row->addWidget(channels[channel]);
    }
    return group;
}

QWidget* CounterControls::createAcquisition() {
    auto* group = new QGroupBox(tr("Acquisition"), this);
    auto* form = new QFormLayout(group);
    integration = makeNumber(QStringLiteral("integrationSec"), CounterSettings::kLeastIntegrationSeconds,
                             CounterSettings::kMostIntegrationSeconds, 3, group);
    integration->setSingleStep(0.1);
    integration->setSuffix(tr(" s"));
    rateMode = makeChoice(QStringLiteral("rateMode"), CounterSettings::rateModeNames(), group);
    form->addRow(tr("Integration"), integration);
    form->addRow(tr("Rate"), rateMode);
    return group;
}

QWidget* CounterControls::createDisplay() {
    auto* group = new QGroupBox(tr("Display"), this);
    auto* column = new QVBoxLayout(group);
    showHistogram = makeCheck(QStringLiteral("showHistogram"), tr("Show count histogram"), group);
    showHistogram->setToolTip(tr("Show the count distribution next to the live count traces."));
    column->addWidget(showHistogram);
    return group;
}

QWidget* CounterControls::createHistory() {
    auto* group = new QGroupBox(tr("Histogram"), this);
    auto* form = new QFormLayout(group);
    historyMode = makeChoice(QStringLiteral("display"), CounterSettings::historyModeNames(), group);
    historyBins = new QSpinBox(group);
    historyBins->setObjectName(QStringLiteral("historyBins"));
    historyBins->setRange(CounterSettings::kLeastHistoryBins, CounterSettings::kMostHistoryBins);
    historyBins->setKeyboardTracking(false);
    connect(historyBins, &QSpinBox::valueChanged, this, &CounterControls::settingsChanged);
    timeWindow = makeNumber(QStringLiteral("timeWindowSec"), CounterSettings::kLeastWindowSeconds,
                            CounterSettings::kMostWindowSeconds, 1, group);
    timeWindow->setSuffix(tr(" s"));
    form->addRow(tr("Mode"), historyMode);
    form->addRow(tr("Bins"), historyBins);
    form->addRow(tr("Time window"), timeWindow);
    return group;
}

QWidget* CounterControls::createYAxis() {
    auto* group = new QGroupBox(tr("Y axis"), this);
    auto* form = new QFormLayout(group);
    yAxisMode = makeChoice(QStringLiteral("yAxisMode"), CounterSettings::yAxisModeNames(), group);
    yMin = makeNumber(QStringLiteral("yMin"), -CounterSettings::kMostYLimit, CounterSettings::kMostYLimit, 2,
                      group);
    yMax = makeNumber(QStringLiteral("yMax"), -CounterSettings::kMostYLimit, CounterSettings::kMostYLimit, 2,
                      group);
    form->addRow(tr("Mode"), yAxisMode);
    form->addRow(tr("Min"), yMin);
    form->addRow(tr("Max"), yMax);
    return group;
}

QWidget* CounterControls::createStatistics() {
    auto* part = new QWidget(this);
    auto* column = new QVBoxLayout(part);
    column->setContentsMargins(0, 0, 0, 0);
    showStats = makeCheck(QStringLiteral("showStats"), tr("Per-channel statistics"), part);
    showStats->setToolTip(
        tr("Show running mean, max and standard deviation of the per-interval counts on each channel."));
    showMaxMarkers = makeCheck(QStringLiteral("showMaxMarkers"), tr("Show max markers"), part);
    showMaxMarkers->setToolTip(
        tr("Draw a small colored marker on the Y axis at each channel's best value since reset."));
    auto* resetMax = new QPushButton(tr("Reset max"), part);
    resetMax->setObjectName(QStringLiteral("resetMax"));
    resetMax->setToolTip(tr("Clear the per-channel max; mean and std keep accumulating."));
    connect(resetMax, &QPushButton::clicked, this, &CounterControls::resetMaxRequested);
    column->addWidget(showStats);
    column->addWidget(showMaxMarkers);
    column->addWidget(resetMax);
    return part;
}

QWidget* CounterControls::createCoincidences() {
    auto* group = new QGroupBox(tr("Coincidences"), this);
    auto* column = new QVBoxLayout(group);
    coincidenceEnabled =
        makeCheck(QStringLiteral("coincidenceEnabled"), tr("Enable coincidence traces"), group);
    coincidenceEnabled->setToolTip(
        tr("When enabled, this counter view streams time tags and computes counter traces plus "
           "timestamp-window coincidences from the same data."));
    coincidenceBody = createCoincidenceBody(group);
    column->addWidget(coincidenceEnabled);
    column->addWidget(coincidenceBody);
    return group;
}

QWidget* CounterControls::createCoincidenceBody(QWidget* parent) {
    auto* body = new QWidget(parent);
    auto* form = new QFormLayout(body);
    form->setContentsMargins(0, 0, 0, 0);
    coincidenceWindow =
        makeNanoseconds(QStringLiteral("coincidenceWindowNs"), 0.0, CounterSettings::kMostWindowNs, body);
    coincidenceWindow->setToolTip(tr("Global value copied to every selected pair window."));
    auto* applyToAll = new QPushButton(tr("Apply to all"), body);
    applyToAll->setObjectName(QStringLiteral("applyToAll"));
    connect(applyToAll, &QPushButton::clicked, this, &CounterControls::applyWindowToAll);
    offsetsEnabled =
        makeCheck(QStringLiteral("coincidenceOffsetsEnabled"), tr("Enable software offsets"), body);
    offsetsEnabled->setToolTip(tr("Apply the per-channel timestamp offsets below before coincidence tests."));
    split = makeChoice(QStringLiteral("coincidenceSplit"), CounterSettings::splitNames(), body);
    coincidenceHistory =
        makeNumber(QStringLiteral("coincidenceHistorySec"), CounterSettings::kLeastWindowSeconds,
                   CounterSettings::kMostWindowSeconds, 1, body);
    coincidenceHistory->setSuffix(tr(" s"));
    form->addRow(tr("Set all windows"), coincidenceWindow);
    form->addRow(QString(), applyToAll);
    form->addRow(createPairs(body));
    form->addRow(offsetsEnabled);
    form->addRow(createOffsets(body));
    form->addRow(tr("Plot split"), split);
    form->addRow(tr("Trace window"), coincidenceHistory);
    return body;
}

QWidget* CounterControls::createPairs(QWidget* parent) {
    auto* part = new QWidget(parent);
    auto* grid = new QGridLayout(part);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->addWidget(new QLabel(tr("Pairs"), part), 0, 0);
    grid->addWidget(new QLabel(tr("Pair windows"), part), 0, 1);
    grid->setColumnStretch(1, 1);
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const QString label = CounterSettings::pairLabel(static_cast<int>(pair));
        pairs[pair] = makeCheck(numberedName("coincidencePairs", pair), label, part);
        pairWindows[pair] = makeNanoseconds(numberedName("coincidencePairWindowsNs", pair), 0.0,
                                            CounterSettings::kMostWindowNs, part);
        pairWindows[pair]->setToolTip(tr("Coincidence full-width window for %1.").arg(label));
        pairWindows[pair]->setAccessibleName(tr("Pair window %1").arg(label));
        const int row = static_cast<int>(pair) + 1;
        grid->addWidget(pairs[pair], row, 0);
        grid->addWidget(pairWindows[pair], row, 1);
    }
    return part;
}

QWidget* CounterControls::createOffsets(QWidget* parent) {
    auto* part = new QWidget(parent);
    auto* form = new QFormLayout(part);
    form->setContentsMargins(0, 0, 0, 0);
    form->addRow(new QLabel(tr("Offset values"), part));
    for (std::size_t channel = 0; channel < offsets.size(); ++channel) {
        offsets[channel] =
            makeNanoseconds(numberedName("coincidenceOffsetsNs", channel), -CounterSettings::kMostOffsetNs,
                            CounterSettings::kMostOffsetNs, part);
        form->addRow(tr("Ch %1").arg(channel + 1), offsets[channel]);
    }
    return part;
}

CounterSettings CounterControls::settings() const {
    CounterSettings result;
    for (std::size_t channel = 0; channel < channels.size(); ++channel) {
        result.channels[channel] = channels[channel]->isChecked();
        result.offsetsNs[channel] = offsets[channel]->value();
    }
    result.integrationSeconds = integration->value();
    result.rateMode = choiceOf<CounterSettings::RateMode>(rateMode);
    result.showHistogram = showHistogram->isChecked();
    result.historyMode = choiceOf<CounterSettings::HistoryMode>(historyMode);
    result.historyBins = historyBins->value();
    result.timeWindowSeconds = timeWindow->value();
    result.yAxisMode = choiceOf<CounterSettings::YAxisMode>(yAxisMode);
    result.yMin = yMin->value();
    result.yMax = yMax->value();
    result.showStats = showStats->isChecked();
    result.showMaxMarkers = showMaxMarkers->isChecked();
    result.coincidenceEnabled = coincidenceEnabled->isChecked();
    result.coincidenceWindowNs = coincidenceWindow->value();
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        result.pairWindowsNs[pair] = pairWindows[pair]->value();
        result.pairs[pair] = pairs[pair]->isChecked();
    }
    result.offsetsEnabled = offsetsEnabled->isChecked();
    result.split = choiceOf<CounterSettings::PlotSplit>(split);
    result.coincidenceHistorySeconds = coincidenceHistory->value();
    return result;
}

void CounterControls::showSettings(const CounterSettings& settings) {
    {
        const QSignalBlocker blocker(this);
        for (std::size_t channel = 0; channel < channels.size(); ++channel) {
            channels[channel]->setChecked(settings.channels[channel]);
            offsets[channel]->setValue(settings.offsetsNs[channel]);
        }
        integration->setValue(settings.integrationSeconds);
        rateMode->setCurrentIndex(static_cast<int>(settings.rateMode));
        showHistogram->setChecked(settings.showHistogram);
        historyMode->setCurrentIndex(static_cast<int>(settings.historyMode));
        historyBins->setValue(settings.historyBins);
        timeWindow->setValue(settings.timeWindowSeconds);
        yAxisMode->setCurrentIndex(static_cast<int>(settings.yAxisMode));
        yMin->setValue(settings.yMin);
        yMax->setValue(settings.yMax);
        showStats->setChecked(settings.showStats);
        showMaxMarkers->setChecked(settings.showMaxMarkers);
        coincidenceEnabled->setChecked(settings.coincidenceEnabled);
        coincidenceWindow->setValue(settings.coincidenceWindowNs);
        for (std::size_t pair = 0; pair < kPairs; ++pair) {
            pairWindows[pair]->setValue(settings.pairWindowsNs[pair]);
            pairs[pair]->setChecked(settings.pairs[pair]);
        }
        offsetsEnabled->setChecked(settings.offsetsEnabled);
        split->setCurrentIndex(static_cast<int>(settings.split));
        coincidenceHistory->setValue(settings.coincidenceHistorySeconds);
    }
    updateDependentControls();
}

void CounterControls::applyWindowToAll() {
    {
        const QSignalBlocker blocker(this);
        for (std::size_t pair = 0; pair < kPairs; ++pair) {
            if (pairs[pair]->isChecked()) {
                pairWindows[pair]->setValue(coincidenceWindow->value());
            }
        }
    }
    Q_EMIT settingsChanged();
}

void CounterControls::updateDependentControls() {
    if (coincidenceHistory == nullptr) {
        return; // not built yet
    }
    const bool custom = choiceOf<CounterSettings::YAxisMode>(yAxisMode) == CounterSettings::YAxisMode::Custom;
    yMin->setEnabled(custom);
    yMax->setEnabled(custom);
    coincidenceBody->setVisible(coincidenceEnabled->isChecked());
    for (QDoubleSpinBox* offset : offsets) {
        offset->setEnabled(offsetsEnabled->isChecked());
    }
}

} // namespace qorn::timetagger::gui
