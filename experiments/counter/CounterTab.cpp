#include "CounterTab.h"

#include "BarChartWidget.h"
#include "ControlColumn.h"
#include "CounterControls.h"
#include "CounterPlots.h"
#include "RateText.h"
#include "TabLayout.h"

#include <QEvent>
#include <QSplitter>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <optional>

namespace qorn::timetagger::gui {
namespace {

constexpr int kControlsWidth = 290;
constexpr QSize kLeastPlotsSize{320, 250};
// A history of at most so many samples is shown with every sample, a longer one now and then.
constexpr std::size_t kPromptSamples = 1000;
constexpr int kRefreshMs = 40;
constexpr std::size_t kSamplesPerMs = 5000; // so much more time between pictures of a longer history
constexpr qsizetype kMostRows = 4096;       // collected before they go to the log

QStringList logRow(const CounterEngine::Taken& taken, const UiCounterSample& sample) {
    QStringList row{QString::number(taken.number), QString::number(taken.elapsedSeconds, 'f', 9),
                    QString::number(taken.gateSeconds, 'f', 9)};
    for (const quint64 count : taken.counts) {
        row.append(QString::number(count));
    }
    row.append(QString::number(sample.totalCount));
    row.append(QString::number(sample.periodCycles));
    return row;
}

} // namespace

CounterTab::CounterTab(QWidget* parent) : ExperimentTab(parent), renderTimer(new QTimer(this)) {
    QSplitter* sides = layOutBesideControls(this);
    column = new ControlColumn(kControlsWidth, sides);
    controls = new CounterControls(column->place());
    column->showStatus(tr("idle"));
    connect(controls, &CounterControls::settingsChanged, this, &CounterTab::onSettingsChanged);
    connect(controls, &CounterControls::resetMaxRequested, this, &CounterTab::resetMax);

    createPlotSide(sides);

    renderTimer->setSingleShot(true);
    connect(renderTimer, &QTimer::timeout, this, &CounterTab::renderPending);
    takeSettings(controls->settings());
    render();
}

// The plots scroll where a window is too small for all that are shown.
void CounterTab::createPlotSide(QSplitter* sides) {
    QVBoxLayout* side = layOutResults(sides);
    LateScrollArea* area = makeScrolling(kLeastPlotsSize, side->parentWidget());
    plots = new CounterPlots(area->place());
    side->addWidget(area, 1);
    side->addWidget(createMeasurementToolbar(side->parentWidget(), true, false), 0);
}

BarChartWidget* CounterTab::plotWidget() const {
    return plots != nullptr ? plots->tracePlot() : nullptr;
}

bool CounterTab::requiresTagStreaming() const {
    return coincidenceEnabled() || ExperimentTab::requiresTagStreaming();
}

AcquisitionRequest CounterTab::acquisitionRequest(bool streaming) const {
    AcquisitionRequest request;
    request.fixedRateHz.reset();
    if (streaming) {
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "counter + coincidence (%1, %2)");
        request.batchSize = 65536;
        request.channelMask = channelMask();
        request.maxUiTagsPerSecond = 16000000;
    } else {
        request.kind = AcquisitionRequest::Kind::HardwareCounter;
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "counter (%1, hardware)");
        request.gateSeconds = gateSeconds();
    }
    return request;
}

QStringList CounterTab::logCsvHeader() const {
    return {QStringLiteral("sample"),    QStringLiteral("elapsed_s"),   QStringLiteral("gate_s"),
            QStringLiteral("ch1_count"), QStringLiteral("ch2_count"),   QStringLiteral("ch3_count"),
            QStringLiteral("ch4_count"), QStringLiteral("total_count"), QStringLiteral("period_cycles")};
}

void CounterTab::onStart() {
    resetCounters();
    column->showStatus(coincidenceEnabled() ? tr("acquiring counter + coincidence trace...")
                                            : tr("acquiring tag-count trace..."));
}

void CounterTab::onStop() {
    if (rendersLater) {
        render();
    }
    column->showStatus(tr("stopped after %1 sample(s)").arg(engine.sampleCount()));
}

// What was counted before the pause is in no gate: the time axis may be another one now.
void CounterTab::onResume() {
    tagEngine.restartAccumulators();
}

void CounterTab::resetMeasurement() {
    resetCounters();
    column->showStatus(tr("cleared"));
}

void CounterTab::resetCounters() {
    engine.reset();
    tagEngine.reset();
    render();
}

void CounterTab::resetMax() {
    engine.resetMax();
    plots->showStatistics(engine);
}

void CounterTab::takeSettings(const CounterSettings& settings) {
    const bool forgotten = engine.apply(settings);
    tagEngine.apply(settings);
    if (forgotten) {
        tagEngine.reset();
    }
    plots->arrange(settings);
}

void CounterTab::onSettingsChanged() {
    const bool coincidencesBefore = coincidenceEnabled();
    takeSettings(controls->settings());
    if (isRunning() && coincidenceEnabled() != coincidencesBefore) {
        render();
        Q_EMIT restartRequested(); // from another source now
        return;
    }
    if (isRunning() && coincidenceEnabled()) {
        tagEngine.restartAccumulators();
    }
    render();
    column->showStatus(engine.sampleCount() > 0
                           ? tr("display updated; integration changes apply on the next start")
                           : tr("integration %1 s").arg(gateSeconds(), 0, 'f', 3));
}

void CounterTab::onCounterSample(const UiCounterSample& sample) {
    const CounterEngine::Taken taken = engine.add(sample);
    requestRender();
    if (isLogOpen()) {
        appendLogRow(logRow(taken, sample), true);
    }
    column->showStatus(tr("sample %1   gate %2 s   last total %3   live sum %4 Hz")
                           .arg(taken.number)
                           .arg(taken.gateSeconds, 0, 'f', 3)
                           .arg(sample.totalCount)
                           .arg(rateText(taken.liveSumHz)));
}

void CounterTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    std::optional<CounterTagEngine::Gate> last;
    QList<QStringList> rows;
    tagEngine.addBatch(tags, [&](const CounterTagEngine::Gate& gate) {
        const CounterEngine::Taken taken = engine.add(gate.sample);
        last = gate;
        if (isLogOpen()) {
            rows.append(logRow(taken, gate.sample));
            if (rows.size() >= kMostRows) {
                appendLogRows(rows, false);
                rows.clear();
            }
        }
    });
    if (!last) {
        return;
    }
    requestRender();
    if (isLogOpen()) {
        appendLogRows(rows, true);
    }
    showTagStatus(*last);
}

void CounterTab::showTagStatus(const CounterTagEngine::Gate& gate) {
    QString text = tr("sample %1   gate %2 s   tags %3")
                       .arg(engine.sampleCount())
                       .arg(gate.sample.gateSeconds, 0, 'f', 3)
                       .arg(gate.sample.totalCount);
    if (coincidenceEnabled()) {
        text = tr("sample %1   gate %2 s   tags %3   coincidences %4")
                   .arg(engine.sampleCount())
                   .arg(gate.sample.gateSeconds, 0, 'f', 3)
                   .arg(gate.sample.totalCount)
                   .arg(gate.coincidences);
    }
    column->showStatus(text);
}

void CounterTab::requestRender() {
    const std::size_t retained = std::max(engine.retainedSamples(), tagEngine.coincidenceHistory().size());
    if (retained <= kPromptSamples) {
        render();
    } else if (renderTimer->isActive()) {
        rendersLater = true;
    } else {
        render();
        renderTimer->start(kRefreshMs + static_cast<int>(retained / kSamplesPerMs));
    }
}

void CounterTab::renderPending() {
    if (rendersLater) {
        requestRender();
    }
}

void CounterTab::render() {
    rendersLater = false;
    plots->showCounts(engine);
    plots->showStatistics(engine);
    if (coincidenceEnabled()) {
        plots->showCoincidences(tagEngine, engine.settings());
    }
}

bool CounterTab::event(QEvent* event) {
    // The colours of a new theme reach the plots after the style does.
    if (event->type() == QEvent::StyleChange || event->type() == QEvent::Polish) {
        QTimer::singleShot(0, this, [this] {
            if (engine.settings().showStats || engine.settings().showMaxMarkers) {
                plots->showStatistics(engine);
            }
        });
    }
    return ExperimentTab::event(event);
}

QJsonObject CounterTab::saveConfig() const {
    return engine.settings().toJson();
}

void CounterTab::loadConfig(const QJsonObject& object) {
    CounterSettings settings = engine.settings();
    settings.takeJson(object);
    controls->showSettings(settings);
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
