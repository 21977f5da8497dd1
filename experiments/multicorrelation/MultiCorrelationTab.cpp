#include "MultiCorrelationTab.h"

#include "BarChartWidget.h"
#include "MultiCorrelationControls.h"
#include "MultiCorrelationPlots.h"
#include "TabLayout.h"

#include <QLabel>
#include <QSplitter>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr qint64 kRefreshMs = 100;
// A trace of at most so many gates is shown with every gate, a longer one now and then.
constexpr std::size_t kPromptGates = 300;
constexpr int kLongTraceMs = 150;

constexpr QSize kLeastControlsSize{400, 120};
constexpr QSize kLeastPlotsSize{320, 250};

// Rounded as the boxes of the offsets do, but without a negative zero.
double inBoxSteps(double ns) {
    constexpr double kStepsPerNs = 1000.0;
    return std::round(ns * kStepsPerNs) / kStepsPerNs + 0.0;
}

} // namespace

MultiCorrelationTab::MultiCorrelationTab(QWidget* parent)
    : ExperimentTab(parent), traceTimer(new QTimer(this)) {
    clock.start();
    traceTimer->setSingleShot(true);
    traceTimer->setInterval(kLongTraceMs);
    connect(traceTimer, &QTimer::timeout, this, [this] {
        if (traceWaits) {
            requestTrace();
        }
    });
    QSplitter* sides = layOutBesideControls(this);
    controls = new MultiCorrelationControls(makeScrolling(kLeastControlsSize, sides)->place());
    createPlotSide(sides);
    connect(controls, &MultiCorrelationControls::settingsChanged, this,
            &MultiCorrelationTab::onSettingsChanged);
    connect(controls, &MultiCorrelationControls::autoRemoveOffsetsRequested, this,
            &MultiCorrelationTab::autoRemoveOffsets);
    onSettingsChanged();
    status->setText(tr("idle"));
}

void MultiCorrelationTab::createPlotSide(QSplitter* sides) {
    QVBoxLayout* column = layOutResults(sides);
    QWidget* side = column->parentWidget();
    banner = new QLabel(tr("Data reduction active"), side);
    banner->setObjectName(QStringLiteral("banner"));
    banner->setStyleSheet(QStringLiteral("QLabel { background:#332b12; color:#ffd166; border:1px solid "
                                         "#d09b2c; padding:6px 8px; font-weight:600; }"));
    banner->setWordWrap(true);
    banner->hide();
    LateScrollArea* area = makeScrolling(kLeastPlotsSize, side);
    plots = new MultiCorrelationPlots(area->place());
    status = makeStatusLabel(side);
    column->addWidget(banner, 0);
    column->addWidget(area, 1);
    column->addWidget(status, 0);
    column->addWidget(createMeasurementToolbar(side, false, false), 0);
}

BarChartWidget* MultiCorrelationTab::plotWidget() const {
    return plots != nullptr ? plots->histogramPlot() : nullptr;
}

AcquisitionRequest MultiCorrelationTab::acquisitionRequest(bool) const {
    AcquisitionRequest request;
    request.detailText = QT_TRANSLATE_NOOP("Acquisition", "multi correlation (%1, %2)");
    request.batchSize = 65536;
    request.channelMask = 15;
    request.maxUiTagsPerSecond = 16000000;
    request.fixedRateHz.reset();
    return request;
}

void MultiCorrelationTab::onStart() {
    resetAccumulators();
    status->setText(tr("acquiring multi-channel correlations..."));
}

void MultiCorrelationTab::onResume() {
    engine.closeGate();
}

void MultiCorrelationTab::onStop() {
    renderHistogram();
    renderTrace();
    QString text = tr("stopped after %1 trace sample(s), %2 tag(s)")
                       .arg(engine.traceSamples())
                       .arg(engine.processedTags());
    if (engine.processedTags() < engine.sourceTags()) {
        text += tr(" from %1 source tag(s)").arg(engine.sourceTags());
    }
    status->setText(text);
}

void MultiCorrelationTab::resetMeasurement() {
    resetAccumulators();
    status->setText(tr("cleared"));
}

void MultiCorrelationTab::resetAccumulators() {
    engine.reset(clock.elapsed());
    sinceRefresh.start();
    renderHistogram();
    renderTrace();
    updateDataReductionBanner();
}

void MultiCorrelationTab::onSettingsChanged() {
    engine.apply(controls->settings());
    if (isRunning()) {
        engine.closeGate();
        engine.clearWindowCounts();
    }
    plots->arrange(engine.settings());
    renderHistogram();
    renderTrace();
}

void MultiCorrelationTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    const MultiCorrelationEngine::Taken taken = engine.addBatch(tags, clock.elapsed());
    updateDataReductionBanner();
    if (taken.gates > 0) {
        requestTrace();
        showGateStatus();
    }
    if (taken.tags > 0 && (!sinceRefresh.isValid() || sinceRefresh.elapsed() >= kRefreshMs)) {
        renderHistogram();
        sinceRefresh.start();
    }
}

void MultiCorrelationTab::renderHistogram() {
    plots->showHistograms(engine);
}

void MultiCorrelationTab::renderTrace() {
    traceWaits = false;
    plots->showTraces(engine);
}

void MultiCorrelationTab::requestTrace() {
    if (engine.traces().blocksHeld() <= kPromptGates) {
        renderTrace();
    } else if (traceTimer->isActive()) {
        traceWaits = true;
    } else {
        renderTrace();
        traceTimer->start();
    }
}

void MultiCorrelationTab::showGateStatus() {
    QString text = tr("sample %1   gate %2 s   processed %3 tag(s)")
                       .arg(engine.traceSamples())
                       .arg(engine.gateSeconds(), 0, 'f', 3)
                       .arg(engine.processedTags());
    if (engine.processedTags() < engine.sourceTags()) {
        text += tr(" / %1 source").arg(engine.sourceTags());
    }
    status->setText(text);
}

void MultiCorrelationTab::autoRemoveOffsets() {
    const auto corrections = engine.offsetCorrections();
    if (!corrections) {
        status->setText(tr("run correlation data before auto offset removal"));
        return;
    }
    MultiCorrelationSettings settings = controls->settings();
    if (!settings.offsetsEnabled) { // what is in the boxes was not in force
        settings.offsetsNs = {};
        settings.offsetsEnabled = true;
    }
    for (std::size_t channel = 0; channel < corrections->size(); ++channel) {
        settings.offsetsNs[channel] = inBoxSteps(settings.offsetsNs[channel] + (*corrections)[channel]);
    }
    controls->showSettings(settings);
    onSettingsChanged();
    QStringList applied;
    for (std::size_t channel = 0; channel < corrections->size(); ++channel) {
        applied.append(
            tr("Ch%1 %2 ns").arg(channel + 1).arg(engine.settings().offsetsNs[channel], 0, 'f', 3));
    }
    status->setText(tr("applied offsets: %1").arg(applied.join(QStringLiteral(", "))));
}

void MultiCorrelationTab::updateDataReductionBanner() {
    const MultiCorrelationEngine::Reduction reduction = engine.reduction();
    if (reduction.isActive()) {
        QString text = tr("Data reduction active: using a bounded tag sample for multi-correlation (%1 "
                          "processed, %2 skipped")
                           .arg(engine.processedTags())
                           .arg(reduction.skippedTags);
        if (reduction.maxStride >= 2) {
            text += tr(", up to 1/%1 input stride").arg(reduction.maxStride);
        }
        if (reduction.discardedTags > 0) {
            text += tr(", %1 old buffered tag(s) discarded").arg(reduction.discardedTags);
        }
        banner->setText(text + tr(")."));
    }
    banner->setVisible(reduction.isActive());
}

QJsonObject MultiCorrelationTab::saveConfig() const {
    return engine.settings().toJson();
}

void MultiCorrelationTab::loadConfig(const QJsonObject& object) {
    MultiCorrelationSettings settings = engine.settings();
    settings.takeJson(object);
    controls->showSettings(settings);
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
