#include "CorrelationTab.h"

#include "BarChartWidget.h"
#include "ControlColumn.h"
#include "CorrelationControls.h"
#include "CorrelationPlots.h"
#include "StatisticsTable.h"
#include "TabLayout.h"

#include <QElapsedTimer>
#include <QSplitter>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <numeric>

namespace qorn::timetagger::gui {
namespace {

constexpr int kRefreshMs = 100;
constexpr qint64 kMostRefreshMs = 2000;
constexpr int kNoticeMs = 3000;
constexpr int kControlsWidth = 290;
constexpr QSize kLeastPlotsSize{320, 220};
constexpr double kPsPerSecond = 1e12;

} // namespace

CorrelationTab::CorrelationTab(QWidget* parent)
    : ExperimentTab(parent), refreshTimer(new QTimer(this)), noticeTimer(new QTimer(this)) {
    QSplitter* sides = layOutBesideControls(this);
    column = new ControlColumn(kControlsWidth, sides);
    controls = new CorrelationControls(column->place());
    createResults(sides);

    connect(controls, &CorrelationControls::settingsChanged, this, &CorrelationTab::onSettingsChanged);
    connect(controls, &CorrelationControls::viewsChanged, this, &CorrelationTab::onViewsChanged);
    connect(controls, &CorrelationControls::displayChanged, this, &CorrelationTab::onDisplayChanged);
    connect(controls, &CorrelationControls::traceChanged, this, &CorrelationTab::onTraceChanged);
    connect(controls, &CorrelationControls::measureOffsetRequested, this, &CorrelationTab::onMeasureOffset);
    connect(refreshTimer, &QTimer::timeout, this, &CorrelationTab::refreshByTimer);
    noticeTimer->setSingleShot(true);
    onSettingsChanged();
}

// The plots scroll where a window is too small for all that are shown.
void CorrelationTab::createResults(QSplitter* sides) {
    QVBoxLayout* side = layOutResults(sides);
    auto* results = new QSplitter(Qt::Vertical, side->parentWidget());
    results->setChildrenCollapsible(false);
    plots = new CorrelationPlots(makeScrolling(kLeastPlotsSize, results)->place());
    plots->arrange(engine.settings());
    statistics = new StatisticsTable(results);
    results->setStretchFactor(0, 1);
    results->setStretchFactor(1, 0);
    side->addWidget(results, 1);
    side->addWidget(createMeasurementToolbar(side->parentWidget(), false, false), 0);
}

BarChartWidget* CorrelationTab::plotWidget() const {
    return plots != nullptr ? plots->primaryPlot(engine.settings()) : nullptr;
}

AcquisitionRequest CorrelationTab::acquisitionRequest(bool) const {
    AcquisitionRequest request;
    request.detailText = QT_TRANSLATE_NOOP("Acquisition", "correlation (%1, %2)");
    request.batchSize = 65536;
    request.channelMask = channelMask();
    request.maxUiTagsPerSecond = 16000000;
    request.fixedRateHz.reset();
    return request;
}

void CorrelationTab::onStart() {
    resetAll();
    refreshTimer->start(kRefreshMs);
}

void CorrelationTab::onStop() {
    refreshTimer->stop();
}

void CorrelationTab::onResume() {
    engine.breakOff();
    refreshTimer->start(kRefreshMs);
}

void CorrelationTab::resetMeasurement() {
    resetAll();
}

void CorrelationTab::resetAll() {
    engine.reset();
    trace.clear();
    plots->clear();
    statistics->showRows(CorrelationTexts::emptyStatistics());
    loggedRows = 0;
}

void CorrelationTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    engine.addBatch(tags);
}

void CorrelationTab::onSettingsChanged() {
    const CorrelationSettings settings = controls->settings();
    engine.apply(settings);
    trace.setWindow(settings.parameterHistoryS);
    noticeTimer->stop();
    showAppliedOffset(CorrelationTexts::expectedOffset(settings));
    column->showStatus(
        settings.bins().coarsened
            ? tr("bin widened to %1 ns").arg(static_cast<double>(settings.bins().binPs) / 1000.0, 0, 'f', 3)
            : QString());
    plots->showLagRange(settings.windowPs());
    refreshPlot();
}

void CorrelationTab::onViewsChanged() {
    engine.applyDisplay(controls->settings());
    plots->arrange(engine.settings());
    resetAll();
    refreshPlot();
}

void CorrelationTab::onDisplayChanged() {
    engine.applyDisplay(controls->settings());
    refreshPlot();
}

void CorrelationTab::onTraceChanged() {
    engine.applyDisplay(controls->settings());
    trace.clear();
    refreshPlot();
}

void CorrelationTab::onMeasureOffset() {
    noticeTimer->stop();
    const std::variant<qint64, OffsetProblem> measured = engine.measureOffset();
    if (const qint64* ps = std::get_if<qint64>(&measured)) {
        CorrelationSettings settings = engine.settings();
        settings.manualOffsetNs = static_cast<double>(*ps) / 1000.0;
        settings.offsetMode = OffsetMode::Manual;
        controls->showSettings(settings);
        onSettingsChanged();
    }
    showAppliedOffset(CorrelationTexts::measuredOffset(measured));
    noticeTimer->start(kNoticeMs);
}

void CorrelationTab::showAppliedOffset(const QString& text) {
    if (!noticeTimer->isActive()) {
        controls->showAppliedOffset(text);
    }
}

// A histogram of the moment can take long where the range is wide: half of the time stays for everything
// else.
void CorrelationTab::refreshByTimer() {
    QElapsedTimer elapsed;
    elapsed.start();
    refreshPlot();
    const auto interval = static_cast<int>(std::clamp<qint64>(elapsed.elapsed(), kRefreshMs, kMostRefreshMs));
    if (interval != refreshTimer->interval()) {
        refreshTimer->setInterval(interval);
    }
}

void CorrelationTab::refreshPlot() {
    const CorrelationSettings& settings = engine.settings();
    QList<StatisticsRow> rows = CorrelationTexts::emptyStatistics();
    if (!settings.channelsUsable()) {
        rows.first() = CorrelationTexts::status(CorrelationTexts::sameChannel());
        statistics->showRows(rows);
        plots->clear();
        return;
    }
    if (settings.viewIntegrated) {
        renderIntegrated(rows);
    }
    if (settings.viewInstant) {
        renderInstant(rows);
    }
    if (!settings.viewIntegrated && !settings.viewInstant) {
        rows.first() = CorrelationTexts::status(CorrelationTexts::noHistogram());
    }
    renderParameterTrace();
    statistics->showRows(rows);
    if (isRunning() && isLogOpen()) {
        appendHistogramRow();
    }
}

void CorrelationTab::renderIntegrated(QList<StatisticsRow>& rows) {
    const CorrelationResult result = engine.integrated();
    showHistogram(HistogramView::Integrated, result);
    rows = CorrelationTexts::statistics(HistogramView::Integrated, result, engine.settings());
}

void CorrelationTab::renderInstant(QList<StatisticsRow>& rows) {
    const std::optional<CorrelationResult> result = engine.instant();
    if (!result) {
        rows.first() = CorrelationTexts::status(CorrelationTexts::waiting());
        plots->showNoHistogram(HistogramView::Instant, CorrelationTexts::waiting());
        return;
    }
    showHistogram(HistogramView::Instant, *result);
    rows = CorrelationTexts::statistics(HistogramView::Instant, *result, engine.settings());
}

void CorrelationTab::showHistogram(HistogramView view, const CorrelationResult& result) {
    plots->showHistogram(view, result, engine.settings());
    showAppliedOffset(
        CorrelationTexts::appliedOffset(CorrelationTexts::offset(result.offset, engine.settings())));
}

void CorrelationTab::renderParameterTrace() {
    const CorrelationSettings& settings = engine.settings();
    if (!settings.viewParameters) {
        return;
    }
    trace.setWindow(settings.parameterHistoryS);
    trace.take(engine.values(), settings.parameterMetric);
    plots->showTrace(trace, controls->traceText(), engine.values().of(settings.parameterMetric),
                     settings.parameterHistoryS);
}

QStringList CorrelationTab::logCsvHeader() const {
    return {QStringLiteral("sample"),
            QStringLiteral("tag_span_s"),
            QStringLiteral("source_channel"),
            QStringLiteral("target_channel"),
            QStringLiteral("source_tags"),
            QStringLiteral("target_tags"),
            QStringLiteral("integrated_histogram_entries"),
            QStringLiteral("offset_ps"),
            QStringLiteral("bin_ps"),
            QStringLiteral("range_ps"),
            QStringLiteral("analysis_mode")};
}

void CorrelationTab::appendHistogramRow() {
    const CorrelationSettings& settings = engine.settings();
    const CorrelationAccumulator& integrated = engine.accumulator();
    const double seconds = static_cast<double>(integrated.measuredPs()) / kPsPerSecond;
    const auto counts = integrated.counts();
    const quint64 entries = std::accumulate(counts.begin(), counts.end(), quint64{0});
    ++loggedRows;
    appendLogRow({QString::number(loggedRows), QString::number(seconds, 'f', 9),
                  QString::number(settings.sourceChannel), QString::number(settings.targetChannel),
                  QString::number(integrated.sourceTagCount()), QString::number(integrated.targetTagCount()),
                  QString::number(entries), QString::number(integrated.offsetPs()),
                  QString::number(settings.bins().binPs), QString::number(settings.windowPs()),
                  controls->analysisText()},
                 true);
}

QJsonObject CorrelationTab::saveConfig() const {
    return engine.settings().toJson();
}

void CorrelationTab::loadConfig(const QJsonObject& object) {
    CorrelationSettings settings = engine.settings();
    settings.takeJson(object);
    controls->showSettings(settings);
    engine.applyDisplay(controls->settings());
    plots->arrange(engine.settings());
    resetAll();
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
