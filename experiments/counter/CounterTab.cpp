#include "CounterTab.h"

#include "BarChartWidget.h"
#include "ChannelColors.h"
#include "SaturatedTime.h"
#include "TimeTag.h"

#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolBar>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr double kLeastGateSeconds = 0.001;
constexpr double kTraceSeconds = 10.0; // shown history
constexpr double kPsPerSecond = 1e12;
constexpr qint64 kLongestJumpPs = 10'000'000'000'000; // the shown history
constexpr double kHeadroom = 1.1;                     // of the Y range above the largest value
constexpr int kControlsWidth = 290;

} // namespace

CounterTab::CounterTab(QWidget* parent) : ExperimentTab(parent) {
    auto* controls = new QWidget(this);
    controls->setMinimumWidth(kControlsWidth);
    auto* acquisition = new QGroupBox(tr("Acquisition"), controls);
    auto* form = new QFormLayout(acquisition);
    integration = new QDoubleSpinBox(acquisition);
    integration->setDecimals(3);
    integration->setRange(kLeastGateSeconds, 60.0);
    integration->setSingleStep(0.1);
    integration->setSuffix(tr(" s"));
    integration->setValue(0.1);
    form->addRow(tr("Integration"), integration);
    status = new QLabel(tr("idle"), controls);
    status->setStyleSheet(QStringLiteral("font-family: monospace;"));
    status->setWordWrap(true);
    auto* controlColumn = new QVBoxLayout(controls);
    controlColumn->setContentsMargins(0, 0, 0, 0);
    controlColumn->addWidget(acquisition);
    controlColumn->addWidget(status);
    controlColumn->addStretch(1);

    plot = new BarChartWidget(this);
    plot->setMinimumSize(320, 220);
    plot->setColors(QColor(0x40, 0x96, 0x78), QColor(0x22, 0x69, 0x52));
    plot->setAxisLabels(tr("Time (s)"), tr("Counts / interval"));
    auto* plotLayout = new QVBoxLayout;
    plotLayout->setSpacing(4);
    plotLayout->addWidget(plot, 1);
    plotLayout->addWidget(createMeasurementToolbar(this, true, false), 0);

    auto* layout = new QHBoxLayout(this);
    layout->addWidget(controls, 0);
    layout->addLayout(plotLayout, 1);
    clearSamples();
}

double CounterTab::gateSeconds() const {
    return std::max(integration->value(), kLeastGateSeconds);
}

AcquisitionRequest CounterTab::acquisitionRequest(bool streaming) const {
    AcquisitionRequest request;
    request.fixedRateHz.reset();
    if (streaming) {
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "counter + coincidence (%1, %2)");
        request.batchSize = 65536;
        request.maxUiTagsPerSecond = 16000000;
    } else {
        request.kind = AcquisitionRequest::Kind::HardwareCounter;
        request.detailText = QT_TRANSLATE_NOOP("Acquisition", "counter (%1, hardware)");
        request.gateSeconds = gateSeconds();
    }
    return request;
}

void CounterTab::onStart() {
    clearSamples();
    status->setText(tr("acquiring tag-count trace..."));
}

void CounterTab::onStop() {
    tagGateOpen = false;
    status->setText(tr("stopped after %1 sample(s)").arg(sampleCount));
}

void CounterTab::resetMeasurement() {
    clearSamples();
    status->setText(tr("cleared"));
}

void CounterTab::clearSamples() {
    sampleCount = 0;
    elapsedSeconds = 0.0;
    times.clear();
    counts = QList<QList<double>>(timing::kChannels);
    tagGateOpen = false;
    tagGateCounts = QList<quint64>(timing::kChannels, 0);
    plot->clearSeries();
    plot->setXRange(0.0, kTraceSeconds);
    plot->setYRange(0.0, 1.0);
}

void CounterTab::onCounterSample(const UiCounterSample& sample) {
    takeSample(sample);
    showStatus();
    refreshPlot();
}

void CounterTab::onTagsBatch(const QList<UiTimeTag>& tags) {
    const qint64 gatePs = std::llround(gateSeconds() * kPsPerSecond);
    const quint64 before = sampleCount;
    for (const UiTimeTag& tag : tags) {
        if (tag.channel >= timing::kChannels) {
            continue;
        }
        // The first tag opens a gate, and so does one on the far side of a jump of the time axis, either way.
        const qint64 sinceStart = saturatedDifference(tag.timePs, tagGateStartPs);
        if (!tagGateOpen || std::abs(sinceStart / 2) > kLongestJumpPs / 2) {
            tagGateOpen = true;
            tagGateStartPs = tag.timePs;
        }
        while (saturatedDifference(tag.timePs, tagGateStartPs) >= gatePs) {
            closeTagGate();
            tagGateStartPs += gatePs;
        }
        ++tagGateCounts[tag.channel];
    }
    if (sampleCount != before) {
        showStatus();
        refreshPlot();
    }
}

void CounterTab::closeTagGate() {
    UiCounterSample sample;
    sample.counts = tagGateCounts;
    for (const quint64 count : tagGateCounts) {
        sample.totalCount += count;
    }
    sample.gateSeconds = gateSeconds();
    tagGateCounts.fill(0);
    takeSample(sample);
}

void CounterTab::takeSample(const UiCounterSample& sample) {
    const double gate = gateOf(sample);
    ++sampleCount;
    elapsedSeconds += gate;
    times.append(elapsedSeconds);
    for (int input = 0; input < timing::kChannels; ++input) {
        counts[input].append(static_cast<double>(sample.counts.value(input, 0)));
    }
    const auto limit = std::max<qsizetype>(static_cast<qsizetype>(std::ceil(kTraceSeconds / gate)), 2);
    if (times.size() > limit) {
        const qsizetype excess = times.size() - limit;
        times.remove(0, excess);
        for (QList<double>& series : counts) {
            series.remove(0, excess);
        }
    }
    lastSample = sample;
}

void CounterTab::showStatus() {
    const double gate = gateOf(lastSample);
    double liveSum = 0.0;
    for (const quint64 count : std::as_const(lastSample.counts)) {
        liveSum += static_cast<double>(count) / gate;
    }
    status->setText(tr("sample %1   gate %2 s   last total %3   live sum %4 Hz")
                        .arg(sampleCount)
                        .arg(gate, 0, 'f', 3)
                        .arg(lastSample.totalCount)
                        .arg(liveSum, 0, 'f', liveSum < 1000.0 ? 1 : 0));
}

double CounterTab::gateOf(const UiCounterSample& sample) const {
    return sample.gateSeconds > 0.0 ? sample.gateSeconds : gateSeconds();
}

void CounterTab::refreshPlot() {
    QStringList labels;
    QList<QList<double>> xs;
    double largest = 0.0;
    for (int input = 0; input < timing::kChannels; ++input) {
        labels.append(tr("Ch %1").arg(input + 1));
        QList<double> shifted = times; // the window slides with the run
        for (double& time : shifted) {
            time -= std::max(elapsedSeconds - kTraceSeconds, 0.0);
        }
        xs.append(shifted);
        for (const double value : counts.at(input)) {
            largest = std::max(largest, value);
        }
    }
    plot->setSeries(xs, counts, labels, channelColors(), BarChartWidget::SeriesMode::Lines);
    plot->setXRange(0.0, kTraceSeconds);
    plot->setYRange(0.0, std::max(largest * kHeadroom, 1.0));
}

QJsonObject CounterTab::saveConfig() const {
    return {{QStringLiteral("integrationSec"), integration->value()}};
}

void CounterTab::loadConfig(const QJsonObject& object) {
    if (const QJsonValue seconds = object.value(QLatin1String("integrationSec")); seconds.isDouble()) {
        integration->setValue(seconds.toDouble());
    }
}

} // namespace qorn::timetagger::gui
