#include "FrequencyTab.h"

#include "BarChartWidget.h"
#include "ControlColumn.h"
#include "FrequencyControls.h"
#include "FrequencyPlots.h"
#include "TabLayout.h"

#include <QSplitter>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

namespace qorn::timetagger::gui {
namespace {

constexpr int kRefreshMs = 200;
constexpr int kControlsWidth = 290;
constexpr QSize kLeastPlotsSize{320, 250};

QStringList logRow(const FrequencyEngine::Bin& bin, int channel) {
    return {QString::number(bin.number),
            QString::number(bin.timeSeconds, 'f', 9),
            QString::number(channel),
            QString::number(bin.tags),
            QString::number(bin.spanSeconds, 'f', 12),
            QString::number(bin.frequencyHz, 'f', 9),
            QString::number(bin.baseHz, 'f', 9),
            QString::number(bin.driftPpm, 'f', 9),
            QString::number(bin.firstPs),
            QString::number(bin.lastPs)};
}

} // namespace

FrequencyTab::FrequencyTab(QWidget* parent) : ExperimentTab(parent), timer(new QTimer(this)) {
    QSplitter* sides = layOutBesideControls(this);
    controls = new FrequencyControls((new ControlColumn(kControlsWidth, sides))->place());
    createPlotSide(sides);

    timer->setInterval(kRefreshMs);
    connect(timer, &QTimer::timeout, this, &FrequencyTab::refreshPlots);
    connect(controls, &FrequencyControls::settingsChanged, this, &FrequencyTab::onSettingsChanged);
    onSettingsChanged();
}

// The plots scroll where a window is too small for all that are shown.
void FrequencyTab::createPlotSide(QSplitter* sides) {
    QVBoxLayout* side = layOutResults(sides);
    LateScrollArea* area = makeScrolling(kLeastPlotsSize, side->parentWidget());
    plots = new FrequencyPlots(area->place());
    side->addWidget(area, 1);
    side->addWidget(createMeasurementToolbar(side->parentWidget(), false, false), 0);
}

BarChartWidget* FrequencyTab::plotWidget() const {
    return plots != nullptr ? plots->frequencyPlot() : nullptr;
}

// All inputs are asked for: another one can then be selected while the stream goes on, and tabs that join it
// get theirs.
AcquisitionRequest FrequencyTab::acquisitionRequest(bool) const {
    AcquisitionRequest request;
    request.detailText = QT_TRANSLATE_NOOP("Acquisition", "frequency (%1, %2)");
    request.batchSize = 65536;
    request.channelMask = 15;
    request.maxUiTagsPerSecond = 16000000; // all that can come: a tag left out is a wrong frequency
    request.fixedRateHz.reset();
    return request;
}

QStringList FrequencyTab::logCsvHeader() const {
    return {QStringLiteral("sample"),
            QStringLiteral("time_s"),
            QStringLiteral("channel"),
            QStringLiteral("tags_in_bin"),
            QStringLiteral("tag_span_s"),
            QStringLiteral("frequency_hz"),
            QStringLiteral("base_hz"),
            QStringLiteral("drift_ppm"),
            QStringLiteral("first_timestamp_ps"),
            QStringLiteral("last_timestamp_ps")};
}

void FrequencyTab::onStart() {
    resetAll();
    timer->start();
}

void FrequencyTab::onStop() {
    timer->stop();
    refreshPlots();
}

// Neither a period nor a bin across the pause.
void FrequencyTab::onResume() {
    engine.breakOff();
    timer->start();
}

void FrequencyTab::resetMeasurement() {
    resetAll();
}

void FrequencyTab::resetAll() {
    engine.reset();
    plots->clearStatLines();
    updateBaseStatusLabel();
    refreshPlots();
}

void FrequencyTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    const bool pendingBefore = engine.isBasePending();
    const int channel = engine.settings().channelIndex() + 1;
    QList<QStringList> rows;
    engine.addBatch(tags, [&](const FrequencyEngine::Bin& bin) {
        if (isLogOpen()) {
            rows.append(logRow(bin, channel));
        }
    });
    if (pendingBefore && !engine.isBasePending()) {
        controls->showBase(engine.baseHz());
        updateBaseStatusLabel();
    }
    if (!rows.isEmpty()) {
        appendLogRows(rows, true);
    }
}

void FrequencyTab::onSettingsChanged() {
    const FrequencySettings settings = controls->settings();
    const bool otherInput = settings.channel != engine.settings().channel;
    engine.apply(settings);
    plots->arrange(settings);
    updateBaseStatusLabel();
    refreshPlots();
    if (otherInput && isRunning()) {
        Q_EMIT restartRequested();
    }
}

void FrequencyTab::updateBaseStatusLabel() {
    if (!engine.settings().autoBaseFrequency) {
        controls->showBaseStatus(tr("Manual: %1").arg(frequencyText(engine.baseHz())));
    } else if (engine.isBasePending()) {
        controls->showBaseStatus(tr("Base: detecting at start"));
    } else {
        controls->showBaseStatus(tr("Detected: %1").arg(frequencyText(engine.baseHz())));
    }
}

void FrequencyTab::refreshPlots() {
    plots->show(engine);
}

QJsonObject FrequencyTab::saveConfig() const {
    return engine.settings().toJson();
}

void FrequencyTab::loadConfig(const QJsonObject& object) {
    FrequencySettings settings = engine.settings();
    settings.takeJson(object);
    controls->showSettings(settings);
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
