#include "TimeTagTab.h"

#include "BarChartWidget.h"
#include "ChannelColors.h"
#include "ChoiceBox.h"
#include "TabLayout.h"
#include "TraceThinning.h"

#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace qorn::timetagger::gui {
namespace {

constexpr int kRefreshMs = 200;
constexpr double kLeastXSeconds = 10.0;
constexpr double kHeadroom = 1.15; // of the Y range above the largest value
constexpr int kControlsWidth = 260;
constexpr qsizetype kMostPlottedPoints = 8000; // of one trace; a plot is rarely wider than half of that

} // namespace

TimeTagTab::TimeTagTab(QWidget* parent) : ExperimentTab(parent), timer(new QTimer(this)) {
    plot = new BarChartWidget(this);
    plot->setMinimumSize(320, 220);
    QWidget* column = createPlotColumn(plot);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(createControls(), 0);
    layout->addWidget(column, 1);

    timer->setInterval(kRefreshMs);
    connect(timer, &QTimer::timeout, this, &TimeTagTab::refreshPlot);
    plot->setAxisLabels(tr("Time (s)"), yAxisLabel());
    plot->setXRange(0.0, kLeastXSeconds);
    plot->setYRange(0.0, 1.0);
    showSettings(engine.settings());
    onSettingsChanged();
    status->setText(tr("idle"));
}

QWidget* TimeTagTab::createControls() {
    auto* controls = new QWidget(this);
    controls->setMinimumWidth(kControlsWidth);
    auto* column = new QVBoxLayout(controls);
    column->setContentsMargins(0, 0, 0, 0);

    auto* binning = new QGroupBox(tr("Binning"), controls);
    auto* binningForm = new QFormLayout(binning);
    binBox = new QDoubleSpinBox(binning);
    binBox->setDecimals(3);
    binBox->setRange(TimeTagSettings::kLeastBinSeconds, TimeTagSettings::kMostBinSeconds);
    binBox->setSingleStep(0.01);
    binBox->setSuffix(tr(" s"));
    binBox->setToolTip(tr("Plot integration bin. QORNTS logging still writes individual tags."));
    historyBox = new QSpinBox(binning);
    historyBox->setRange(TimeTagSettings::kLeastHistoryBins, TimeTagSettings::kMostHistoryBins);
    historyBox->setToolTip(
        tr("Maximum plotted bins kept in memory. The time axis stays run-relative, not sliding."));
    binningForm->addRow(tr("Bin"), binBox);
    binningForm->addRow(tr("Max plotted bins"), historyBox);

    auto* plotting = new QGroupBox(tr("Plot"), controls);
    auto* plotForm = new QFormLayout(plotting);
    quantityBox = makeChoiceBox(staticMetaObject.className(), TimeTagSettings::quantityNames(), plotting);
    quantityBox->setToolTip(tr("Data uses decoded 8-byte tags as the displayed MB estimate."));
    groupBox = makeChoiceBox(staticMetaObject.className(), TimeTagSettings::groupingNames(), plotting);
    scaleBox = makeChoiceBox(staticMetaObject.className(), TimeTagSettings::scalingNames(), plotting);
    plotForm->addRow(tr("Quantity"), quantityBox);
    plotForm->addRow(tr("Channels"), groupBox);
    plotForm->addRow(tr("Scaling"), scaleBox);

    status = makeStatusLabel(controls);
    // What it tells changes all the time, and the width of the controls does not.
    QSizePolicy wrapped(QSizePolicy::Ignored, QSizePolicy::Preferred);
    wrapped.setHeightForWidth(true);
    status->setSizePolicy(wrapped);

    column->addWidget(binning);
    column->addWidget(plotting);
    column->addWidget(status);
    column->addStretch(1);

    connect(binBox, &QDoubleSpinBox::valueChanged, this, &TimeTagTab::onSettingsChanged);
    connect(historyBox, &QSpinBox::valueChanged, this, &TimeTagTab::onSettingsChanged);
    for (QComboBox* box : {quantityBox, groupBox, scaleBox}) {
        connect(box, &QComboBox::currentIndexChanged, this, &TimeTagTab::onSettingsChanged);
    }
    return controls;
}

void TimeTagTab::showSettings(const TimeTagSettings& settings) {
    const QSignalBlocker blockers[] = {QSignalBlocker(binBox), QSignalBlocker(historyBox),
                                       QSignalBlocker(quantityBox), QSignalBlocker(groupBox),
                                       QSignalBlocker(scaleBox)};
    binBox->setValue(settings.binSeconds);
    historyBox->setValue(settings.historyBins);
    quantityBox->setCurrentIndex(static_cast<int>(settings.quantity));
    groupBox->setCurrentIndex(static_cast<int>(settings.grouping));
    scaleBox->setCurrentIndex(static_cast<int>(settings.scaling));
}

void TimeTagTab::onSettingsChanged() {
    TimeTagSettings settings;
    settings.binSeconds = binBox->value();
    settings.historyBins = historyBox->value();
    settings.quantity = static_cast<TimeTagSettings::Quantity>(quantityBox->currentIndex());
    settings.grouping = static_cast<TimeTagSettings::Grouping>(groupBox->currentIndex());
    settings.scaling = static_cast<TimeTagSettings::Scaling>(scaleBox->currentIndex());
    engine.apply(settings);
    refreshPlot();
}

AcquisitionRequest TimeTagTab::acquisitionRequest(bool) const {
    AcquisitionRequest request;
    request.detailText = QT_TRANSLATE_NOOP("Acquisition", "time tags (%1, %2)");
    request.batchSize = 65536;
    request.channelMask = 15;
    request.maxUiTagsPerSecond = 1000000;
    request.fixedRateHz.reset();
    return request;
}

QStringList TimeTagTab::logCsvHeader() const {
    return {QStringLiteral("tag_index"), QStringLiteral("elapsed_s"), QStringLiteral("channel"),
            QStringLiteral("timestamp_ps")};
}

void TimeTagTab::startShowing() {
    timer->start();
    status->setText(timeTagRecordingEnabled() ? tr("streaming and recording complete time tags")
                                              : tr("streaming time tags"));
}

void TimeTagTab::onStart() {
    resetAll();
    startShowing();
}

void TimeTagTab::onResume() {
    engine.breakOff();
    startShowing();
}

void TimeTagTab::onStop() {
    timer->stop();
    refreshPlot();
    status->setText(tr("stopped after %1 plotted tag(s)").arg(engine.totalTags()));
}

void TimeTagTab::resetMeasurement() {
    resetAll();
    status->setText(tr("cleared"));
}

void TimeTagTab::resetAll() {
    engine.reset();
    plot->clearSeries();
    plot->setStatLines({}, {});
    plot->setXRange(0.0, kLeastXSeconds);
    plot->setYRange(0.0, 1.0);
}

void TimeTagTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    engine.addBatch(tags);
}

void TimeTagTab::refreshPlot() {
    const QList<double> x = engine.xValues(false);
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    QStringList labels;
    double yMaximum = 1.0;
    const auto addSeries = [&](const QString& label, const QList<double>& values) {
        const Trace trace = thinnedTrace(x, values, kMostPlottedPoints);
        for (const double value : trace.ys) {
            yMaximum = std::max(yMaximum, value);
        }
        xs.append(trace.xs);
        ys.append(trace.ys);
        labels.append(label);
    };
    if (engine.settings().grouping == TimeTagSettings::Grouping::PerChannel) {
        for (int channel = 0; channel < timing::kChannels; ++channel) {
            addSeries(tr("Ch %1").arg(channel + 1), engine.seriesForChannel(channel, false));
        }
    } else {
        addSeries(tr("Total"), engine.totalSeries(false));
    }
    plot->setSeries(xs, ys, labels, channelColors(), BarChartWidget::SeriesMode::Lines);
    plot->setAxisLabels(tr("Time (s)"), yAxisLabel());
    plot->setXRange(0.0, x.isEmpty() ? kLeastXSeconds : std::max(x.last(), kLeastXSeconds));
    plot->setYRange(0.0, yMaximum * kHeadroom);
    plot->setStatLines(
        {tr("Total tags: %1").arg(engine.totalTags()),
         QStringLiteral("%1, %2, %3")
             .arg(quantityBox->currentText(), groupBox->currentText(), scaleBox->currentText())},
        {});
    const double decodedMegabytes = static_cast<double>(engine.totalTags()) * TimeTagEngine::kMegabytesPerTag;
    status->setText(tr("tags %1   elapsed %2 s   decoded %3 MB")
                        .arg(engine.totalTags())
                        .arg(engine.elapsedSeconds(), 0, 'f', 3)
                        .arg(decodedMegabytes, 0, 'f', 3));
}

QString TimeTagTab::yAxisLabel() const {
    const bool asData = engine.settings().quantity == TimeTagSettings::Quantity::Data;
    switch (engine.settings().scaling) {
    case TimeTagSettings::Scaling::PerSecond:
        return asData ? tr("Decoded data (MB/s)") : tr("Tags/s");
    case TimeTagSettings::Scaling::Integrated:
        return asData ? tr("Decoded data (MB)") : tr("Tags integrated");
    case TimeTagSettings::Scaling::PerBin:
        break;
    }
    return asData ? tr("Decoded data (MB/bin)") : tr("Tags/bin");
}

QJsonObject TimeTagTab::saveConfig() const {
    return engine.settings().toJson();
}

void TimeTagTab::loadConfig(const QJsonObject& object) {
    TimeTagSettings settings = engine.settings();
    settings.takeJson(object);
    showSettings(settings);
    if (const QJsonValue folder = object.value(QLatin1String("outputFolder")); folder.isString()) {
        setTimeTagRecordingDirectory(folder.toString());
    }
    onSettingsChanged();
}

} // namespace qorn::timetagger::gui
