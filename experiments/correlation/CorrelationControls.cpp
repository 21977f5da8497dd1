#include "CorrelationControls.h"

#include "ChoiceBox.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

using Settings = CorrelationSettings;

constexpr int kLagDecimals = 3;
constexpr double kLagStep = 0.001;

template <typename Choice>
Choice choiceOf(const QComboBox* box) {
    return static_cast<Choice>(box->currentIndex());
}

template <typename Choice>
void showChoice(QComboBox* box, Choice choice) {
    box->setCurrentIndex(static_cast<int>(choice));
}

} // namespace

CorrelationControls::CorrelationControls(QWidget* parent) : QWidget(parent) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    for (QGroupBox* group : {createChannels(), createHistogram(), createViews(), createOffset()}) {
        column->addWidget(group);
    }
    column->addStretch(1);
    createTraceHistory();
    showSettings(Settings());
    showing = false;
}

QCheckBox* CorrelationControls::makeCheck(const char* key, const QString& text, Change change,
                                          QWidget* parent) {
    auto* box = new QCheckBox(text, parent);
    box->setObjectName(QLatin1String(key));
    connect(box, &QCheckBox::toggled, this, [this, change] { takeEdit(change); });
    return box;
}

QComboBox* CorrelationControls::makeChoice(const char* key, const QStringList& names, Change change,
                                           QWidget* parent) {
    QComboBox* box = makeChoiceBox(staticMetaObject.className(), names, parent);
    box->setObjectName(QLatin1String(key));
    connect(box, &QComboBox::currentIndexChanged, this, [this, change] { takeEdit(change); });
    return box;
}

QSpinBox* CorrelationControls::makeCount(const char* key, int least, int most, Change change,
                                         QWidget* parent) {
    auto* box = new QSpinBox(parent);
    box->setObjectName(QLatin1String(key));
    box->setRange(least, most);
    connect(box, &QSpinBox::valueChanged, this, [this, change] { takeEdit(change); });
    return box;
}

QDoubleSpinBox* CorrelationControls::makeNumber(const char* key, const QString& suffix, int decimals,
                                                Change change, QWidget* parent) {
    auto* box = new QDoubleSpinBox(parent);
    box->setObjectName(QLatin1String(key));
    box->setDecimals(decimals);
    box->setSuffix(suffix);
    box->setKeyboardTracking(false); // half a number would throw away what was collected
    box->setSizePolicy(QSizePolicy::Ignored, box->sizePolicy().verticalPolicy()); // for what stands in it
    connect(box, &QDoubleSpinBox::valueChanged, this, [this, change] { takeEdit(change); });
    return box;
}

QGroupBox* CorrelationControls::createChannels() {
    auto* group = new QGroupBox(tr("Channels"), this);
    auto* form = new QFormLayout(group);
    source = makeCount("sourceChannel", 1, timing::kChannels, &CorrelationControls::settingsChanged, group);
    target = makeCount("targetChannel", 1, timing::kChannels, &CorrelationControls::settingsChanged, group);
    form->addRow(tr("Source"), source);
    form->addRow(tr("Target"), target);
    return group;
}

QGroupBox* CorrelationControls::createHistogram() {
    auto* group = new QGroupBox(tr("Histogram"), this);
    auto* form = new QFormLayout(group);
    range = makeNumber("rangeNs", tr(" ns"), kLagDecimals, &CorrelationControls::settingsChanged, group);
    range->setRange(Settings::kLeastRangeNs, Settings::kMostRangeNs);
    range->setSingleStep(kLagStep);
    bin = makeNumber("binNs", tr(" ns"), kLagDecimals, &CorrelationControls::settingsChanged, group);
    bin->setRange(Settings::kLeastBinNs, Settings::kMostBinNs);
    bin->setSingleStep(kLagStep);
    bin->setToolTip(tr("Histogram bins must be at least 4 ps."));
    form->addRow(tr("Half-range"), range);
    form->addRow(tr("Bin width"), bin);
    addFitRows(form, group);
    style = makeChoice("histogram", Settings::styleNames(), &CorrelationControls::displayChanged, group);
    yAxis = makeChoice("normalize", Settings::yAxisNames(), &CorrelationControls::displayChanged, group);
    yAxis->setToolTip(tr("Counts: raw lag-histogram entries per bin.\n"
                         "g2(tau): normalized by the accidental-coincidence rate\n"
                         "(N_src * N_tgt * bin / T), so the uncorrelated baseline is 1."));
    form->addRow(tr("Style"), style);
    form->addRow(tr("Y axis"), yAxis);
    return group;
}

void CorrelationControls::addFitRows(QFormLayout* form, QWidget* parent) {
    analysis =
        makeChoice("analysisMode", Settings::analysisNames(), &CorrelationControls::settingsChanged, parent);
    fitEnabled = makeCheck("fitEnabled", tr("Show peak fit"), &CorrelationControls::displayChanged, parent);
    fitEnabled->setToolTip(tr("Overlay a Gaussian/Lorentzian fit and report fit width. Disabled by default "
                              "so the universal histogram remains raw."));
    fitModel =
        makeChoice("fitMode", Settings::fitModelNames(), &CorrelationControls::settingsChanged, parent);
    fitTerms = makeCount("fitTerms", Settings::kLeastFitTerms, Settings::kMostFitTerms,
                         &CorrelationControls::settingsChanged, parent);
    fitTerms->setToolTip(tr("Number of peak or exponential terms used by the fit overlay."));
    form->addRow(tr("Analysis"), analysis);
    form->addRow(fitEnabled);
    form->addRow(tr("Fit model"), fitModel);
    form->addRow(tr("Fit terms"), fitTerms);
}

QGroupBox* CorrelationControls::createViews() {
    auto* group = new QGroupBox(tr("Views"), this);
    auto* form = new QFormLayout(group);
    viewIntegrated =
        makeCheck("viewIntegrated", tr("Integrated histogram"), &CorrelationControls::viewsChanged, group);
    viewIntegrated->setToolTip(tr("Accumulate cross-correlation statistics across the whole run."));
    viewInstant =
        makeCheck("viewInstant", tr("Instantaneous histogram"), &CorrelationControls::viewsChanged, group);
    timeConstant = makeNumber("instantWindowMs", tr(" ms"), 2, &CorrelationControls::settingsChanged, group);
    timeConstant->setRange(Settings::kLeastInstantMs, Settings::kMostInstantMs);
    timeConstant->setSingleStep(1.0);
    timeConstant->setToolTip(tr("Time constant: instantaneous histogram window length."));
    viewTrace = makeCheck("viewParameters", tr("Analysis trace"), &CorrelationControls::viewsChanged, group);
    viewTrace->setToolTip(tr("Plot a selected analysis or fit parameter over time."));
    metric =
        makeChoice("parameterMetric", Settings::metricNames(), &CorrelationControls::traceChanged, group);
    metricHistory = makeNumber("parameterHistoryS", tr(" s"), 1, &CorrelationControls::traceChanged, group);
    metricHistory->setRange(Settings::kLeastHistorySeconds, Settings::kMostHistorySeconds);
    metricHistory->setSingleStep(1.0);
    metricHistory->setToolTip(tr("Time window shown for the selected analysis trace."));
    form->addRow(viewIntegrated);
    form->addRow(viewInstant);
    form->addRow(tr("Time constant"), timeConstant);
    form->addRow(viewTrace);
    form->addRow(tr("Trace"), metric);
    form->addRow(tr("Trace history"), metricHistory);
    return group;
}

QGroupBox* CorrelationControls::createOffset() {
    auto* group = new QGroupBox(tr("Offset"), this);
    auto* form = new QFormLayout(group);
    offsetMode =
        makeChoice("offsetMode", Settings::offsetModeNames(), &CorrelationControls::settingsChanged, group);
    manualOffset =
        makeNumber("manualOffsetNs", tr(" ns"), kLagDecimals, &CorrelationControls::settingsChanged, group);
    manualOffset->setRange(-Settings::kMostOffsetNs, Settings::kMostOffsetNs);
    manualOffset->setSingleStep(kLagStep);
    offsetSearch =
        makeNumber("offsetSearchNs", tr(" ns"), kLagDecimals, &CorrelationControls::settingsChanged, group);
    offsetSearch->setRange(Settings::kLeastSearchNs, Settings::kMostSearchNs);
    offsetSearch->setSingleStep(10.0);
    offsetSearch->setToolTip(tr("Auto-offset search window. Keep this below the signal period for periodic "
                                "sources, otherwise auto-centering may lock to a repeated side peak."));
    measureOffset = new QPushButton(tr("Measure offset now"), group);
    measureOffset->setObjectName(QStringLiteral("measureOffset"));
    measureOffset->setToolTip(tr("Cross-correlate the current source/target tags, then fix that lag as the "
                                 "Manual offset so the peak sits at zero."));
    connect(measureOffset, &QPushButton::clicked, this, &CorrelationControls::measureOffsetRequested);
    appliedOffset = new QLabel(group);
    appliedOffset->setObjectName(QStringLiteral("appliedOffset"));
    appliedOffset->setWordWrap(true);
    form->addRow(tr("Mode"), offsetMode);
    form->addRow(tr("Manual"), manualOffset);
    form->addRow(tr("Search"), offsetSearch);
    form->addRow(measureOffset);
    form->addRow(appliedOffset);
    return group;
}

// Kept for its setting, in no row of the form.
void CorrelationControls::createTraceHistory() {
    countHistory = makeNumber("traceHistoryS", tr(" s"), 1, &CorrelationControls::settingsChanged, this);
    countHistory->setRange(Settings::kLeastHistorySeconds, Settings::kMostHistorySeconds);
    countHistory->setSingleStep(1.0);
    countHistory->setToolTip(tr("Count-trace history window shown on screen."));
    countHistory->setEnabled(false);
    countHistory->hide();
}

CorrelationSettings CorrelationControls::settings() const {
    Settings result;
    result.sourceChannel = source->value();
    result.targetChannel = target->value();
    result.rangeNs = range->value();
    result.binNs = bin->value();
    result.analysisMode = choiceOf<CorrelationAnalysis>(analysis);
    result.fitEnabled = fitEnabled->isChecked();
    result.fitMode = choiceOf<Settings::FitModel>(fitModel);
    result.fitTerms = fitTerms->value();
    result.histogram = choiceOf<Settings::Style>(style);
    result.normalize = choiceOf<Settings::YAxis>(yAxis);
    result.viewIntegrated = viewIntegrated->isChecked();
    result.viewInstant = viewInstant->isChecked();
    result.instantWindowMs = timeConstant->value();
    result.viewParameters = viewTrace->isChecked();
    result.parameterMetric = choiceOf<Settings::Metric>(metric);
    result.parameterHistoryS = metricHistory->value();
    result.offsetMode = choiceOf<OffsetMode>(offsetMode);
    result.manualOffsetNs = manualOffset->value();
    result.offsetSearchNs = offsetSearch->value();
    result.traceHistoryS = countHistory->value();
    return result;
}

void CorrelationControls::showSettings(CorrelationSettings settings) {
    settings.reconcile();
    const QScopedValueRollback quietly(showing, true);
    source->setValue(settings.sourceChannel);
    target->setValue(settings.targetChannel);
    range->setValue(settings.rangeNs);
    bin->setValue(settings.binNs);
    showChoice(analysis, settings.analysisMode);
    fitEnabled->setChecked(settings.fitEnabled);
    showChoice(fitModel, settings.fitMode);
    fitTerms->setValue(settings.fitTerms);
    showChoice(style, settings.histogram);
    showChoice(yAxis, settings.normalize);
    viewIntegrated->setChecked(settings.viewIntegrated);
    viewInstant->setChecked(settings.viewInstant);
    timeConstant->setValue(settings.instantWindowMs);
    viewTrace->setChecked(settings.viewParameters);
    showChoice(metric, settings.parameterMetric);
    metricHistory->setValue(settings.parameterHistoryS);
    showChoice(offsetMode, settings.offsetMode);
    manualOffset->setValue(settings.manualOffsetNs);
    offsetSearch->setValue(settings.offsetSearchNs);
    countHistory->setValue(settings.traceHistoryS);
    updateEnabled(settings);
}

void CorrelationControls::takeEdit(Change change) {
    if (!showing) {
        showSettings(settings());
        (this->*change)();
    }
}

// What has no effect as things are set cannot be changed.
void CorrelationControls::updateEnabled(const CorrelationSettings& settings) {
    const bool peak = settings.peakAnalysisMode();
    fitEnabled->setEnabled(settings.analysisMode != CorrelationAnalysis::None);
    fitModel->setEnabled(peak && settings.fitEnabled);
    fitTerms->setEnabled(settings.peakFitEnabled());
    yAxis->setEnabled(!settings.antibunchingMode() && !settings.lifetimeMode());
    timeConstant->setEnabled(settings.viewInstant);
    metric->setEnabled(settings.viewParameters);
    metricHistory->setEnabled(settings.viewParameters);
    offsetMode->setEnabled(peak);
    manualOffset->setEnabled(peak && settings.offsetMode == OffsetMode::Manual);
    offsetSearch->setEnabled(peak && settings.offsetMode == OffsetMode::Auto);
    measureOffset->setEnabled(peak);
}

QString CorrelationControls::traceText() const {
    return metric->currentText();
}

QString CorrelationControls::analysisText() const {
    return analysis->currentText();
}

void CorrelationControls::showAppliedOffset(const QString& text) {
    appliedOffset->setText(text);
}

} // namespace qorn::timetagger::gui
