#include "CoincidenceTab.h"

#include "BarChartWidget.h"
#include "ChannelColors.h"
#include "CoincidenceControls.h"
#include "CoincidenceCounts.h"
#include "CoincidenceTable.h"
#include "ControlColumn.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <QHBoxLayout>
#include <QSplitter>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <numeric>

namespace qorn::timetagger::gui {
namespace {

using Gate = CoincidenceEngine::Gate;

constexpr double kHeadroom = 1.15; // of the Y ranges above the largest rate
constexpr double kBarWidth = 0.55;
constexpr int kControlsWidth = 290;
constexpr int kLeastPlotsHeight = 230;         // of plots below the table: room for six entries of the legend
constexpr qsizetype kMostPlottedPoints = 8000; // of one trace; a plot is rarely wider than half of that

double yLimit(double largest) {
    return std::max(kHeadroom * largest, 1.0);
}

} // namespace

CoincidenceTab::CoincidenceTab(QWidget* parent) : ExperimentTab(parent) {
    column = new ControlColumn(kControlsWidth, this);
    controls = new CoincidenceControls(column->place());
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(column, 0);
    layout->addWidget(createResults(), 1);
    connect(controls, &CoincidenceControls::settingsChanged, this, &CoincidenceTab::onSettingsChanged);
    onSettingsChanged();
    showNothing();
    column->showStatus(tr("idle"));
}

QWidget* CoincidenceTab::createResults() {
    auto* side = new QWidget(this);
    results = new QSplitter(side);
    results->setChildrenCollapsible(false);
    table = new CoincidenceTable(results);
    plots = new QSplitter(results);
    plots->setChildrenCollapsible(false);
    results->setStretchFactor(0, 0);
    results->setStretchFactor(1, 1);

    histogram = makePlot("histogramPlot", {}, plots);
    histogram->setAxisLabels(tr("pair"), tr("coincidence rate (Hz)"));
    QList<double> pairs(kPairs);
    std::iota(pairs.begin(), pairs.end(), 0.0);
    histogram->setXTickLabels(pairs, pairLabels());
    histogram->setXRange(-0.5, kPairs - 0.5);
    trace = makePlot("coincidenceTracePlot", {}, plots);
    trace->setAxisLabels(tr("Time (s)"), tr("Coincidence rate (Hz)"));

    auto* layout = new QVBoxLayout(side);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(results, 1);
    layout->addWidget(createMeasurementToolbar(side, false, false), 0);
    return side;
}

void CoincidenceTab::onSettingsChanged() {
    engine.apply(controls->settings());
    arrange();
    updateTracePlot();
}

// Plots side by side need the width that the table beside them takes, so then it stands above them.
void CoincidenceTab::arrange() {
    const bool sideBySide = engine.settings().split == CoincidenceSettings::Split::SideBySide;
    const bool showTrace = engine.settings().showTrace;
    plots->setOrientation(sideBySide ? Qt::Horizontal : Qt::Vertical);
    results->setOrientation(sideBySide && showTrace ? Qt::Vertical : Qt::Horizontal);
    plots->setMinimumHeight(results->orientation() == Qt::Vertical ? kLeastPlotsHeight : 0);
    trace->setVisible(showTrace);
}

bool CoincidenceTab::requiresTagStreaming() const {
    return ExperimentTab::requiresTagStreaming() || !engine.settings().hardwareModeSelected() ||
           !engine.settings().hardwareSettingsSupported();
}

AcquisitionRequest CoincidenceTab::acquisitionRequest(bool streaming) const {
    AcquisitionRequest request;
    request.fixedRateHz.reset();
    if (streaming) {
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "coincidence (%1, %2)");
        request.batchSize = 65536;
        request.maxUiTagsPerSecond = 16000000;
    } else {
        request.kind = AcquisitionRequest::Kind::HardwareCoincidence;
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "coincidence (%1, hardware)");
        request.coincidence = engine.settings().hardwareConfig();
    }
    return request;
}

void CoincidenceTab::showAcquiring() {
    controls->setAcquisitionSettingsEnabled(false);
    column->showStatus(hardwareMode && !requiresTagStreaming()
                           ? tr("acquiring hardware coincidences...")
                           : tr("acquiring coincidences from the tag stream..."));
}

void CoincidenceTab::onStart() {
    engine.reset();
    showNothing();
    showAcquiring();
}

void CoincidenceTab::onResume() {
    engine.resume();
    showAcquiring();
}

void CoincidenceTab::onStop() {
    controls->setAcquisitionSettingsEnabled(true);
    updateTracePlot();
    column->showStatus(tr("stopped after %1 sample(s)").arg(engine.sampleCount()));
}

void CoincidenceTab::resetMeasurement() {
    engine.reset();
    showNothing();
    column->showStatus(tr("cleared"));
}

void CoincidenceTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    showGates(engine.addTags(tags));
}

void CoincidenceTab::onCoincidenceSample(const UiCoincidenceSample& sample) {
    showGates({&engine.addSample(sample), 1});
}

// However many gates have ended at once, the latest is painted.
void CoincidenceTab::showGates(std::span<const Gate> gates) {
    if (gates.empty()) {
        return;
    }
    const Gate& gate = engine.latestGate();
    table->showGate(gate, engine.accumulated());
    updateHistogram();
    // A long trace is painted again when its newest samples fill a point of it.
    gatesSinceTrace += static_cast<qint64>(gates.size());
    if (gatesSinceTrace * kMostPlottedPoints >= static_cast<qint64>(engine.trace().size())) {
        updateTracePlot();
    }
    logGates(gates);
    column->showStatus(tr("sample %1   gate %2 s   window %3 ns   total %4")
                           .arg(gate.sample)
                           .arg(gate.seconds, 0, 'f', 3)
                           .arg(engine.settings().windowNs, 0, 'f', 3)
                           .arg(gate.counts.pairSum));
}

void CoincidenceTab::showNothing() {
    table->showGate(engine.latestGate(), engine.accumulated());
    updateHistogram();
    updateTracePlot();
}

void CoincidenceTab::updateHistogram() {
    const Gate& gate = engine.latestGate();
    QList<double> pairs;
    QList<double> rates;
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        pairs.append(static_cast<double>(pair));
        rates.append(CoincidenceEngine::rate(gate.counts.pairs[pair], gate));
    }
    histogram->setBars(pairs, rates, kBarWidth);
    histogram->setYRange(0.0, yLimit(*std::max_element(rates.begin(), rates.end())));
}

void CoincidenceTab::updateTracePlot() {
    gatesSinceTrace = 0;
    if (!engine.settings().showTrace) {
        return;
    }
    const double window = engine.settings().traceHistorySec;
    QList<double> times = engine.trace().times();
    const double begin = times.isEmpty() ? 0.0 : std::max(times.constLast() - window, 0.0);
    for (double& time : times) { // the window slides with the run
        time -= begin;
    }
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    double largest = 0.0;
    for (std::size_t pair = 0; pair < kPairs; ++pair) {
        const Trace thinned = thinnedTrace(times, engine.trace().rates(pair), kMostPlottedPoints);
        for (const double rate : thinned.ys) {
            largest = std::max(largest, rate);
        }
        xs.append(thinned.xs);
        ys.append(thinned.ys);
    }
    trace->setSeries(xs, ys, pairLabels(), pairColors(), BarChartWidget::SeriesMode::Lines);
    trace->setXRange(0.0, window);
    trace->setYRange(0.0, yLimit(largest));
}

QStringList CoincidenceTab::logCsvHeader() const {
    QStringList header{QStringLiteral("sample"), QStringLiteral("elapsed_s"), QStringLiteral("gate_s"),
                       QStringLiteral("window_ns")};
    for (QString label : countLabels()) {
        const bool single = label.size() == 1;
        header.append((single ? QLatin1String("ch") : QLatin1String("c")) + label.remove(QLatin1Char('-')));
    }
    return header;
}

void CoincidenceTab::logGates(std::span<const Gate> gates) {
    if (!isLogOpen()) {
        return;
    }
    const QString window = QString::number(engine.settings().windowNs, 'f', 6);
    const QString zero = QString::number(0); // shared by the rows of a silence
    QList<QStringList> rows;
    rows.reserve(static_cast<qsizetype>(gates.size()));
    for (const Gate& gate : gates) {
        QStringList row{QString::number(gate.sample), QString::number(gate.elapsedSeconds, 'f', 9),
                        QString::number(gate.seconds, 'f', 9), window};
        for (const quint64 count : countsInOrder(gate.counts)) {
            row.append(count == 0 ? zero : QString::number(count));
        }
        rows.append(row);
    }
    appendLogRows(rows, true);
}

QJsonObject CoincidenceTab::saveConfig() const {
    return engine.settings().toJson();
}

void CoincidenceTab::loadConfig(const QJsonObject& object) {
    CoincidenceSettings settings = engine.settings();
    settings.takeJson(object);
    controls->showSettings(settings);
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
