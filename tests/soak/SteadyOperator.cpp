#include "SteadyOperator.h"

#include "BarChartWidget.h"
#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentTab.h"
#include "MeasurementScheduler.h"

#include <QCoreApplication>
#include <QDir>
#include <QMouseEvent>

#include <algorithm>

namespace qorn::soak {

using namespace timetagger::gui;

namespace {

constexpr const char* kRecordingType = "Time tags";
constexpr const char* kRotatingLogType = "Counter";
constexpr const char* kBinaryLogType = "Correlation";
constexpr int kLogRotateSeconds = 60;
constexpr int kStepMs = 250;
constexpr double kSampleEverySeconds = 30.0;
constexpr double kLeastToGrowSeconds = 5.0; // every log writes each second
constexpr double kShownSeconds = 7.0;
constexpr int kLeastPatienceMs = 30000; // for the end of a recording and its comparison

} // namespace

SteadyOperator::SteadyOperator(SoakWatch& soakWatch, const QString& truthFile, std::uint64_t seed,
                               int rotateSeconds)
    : SoakOperator(soakWatch, truthFile, seed), recordingRotateSeconds(rotateSeconds) {}

// The tab that begins the stream is the one that records it.
void SteadyOperator::begin() {
    QStringList types = SoakWindow::experimentTypes();
    std::stable_partition(types.begin(), types.end(),
                          [](const QString& type) { return type == QLatin1String(kRecordingType); });
    for (const QString& type : types) {
        ExperimentTab* tab = window.openTab(type);
        measurements.append({tab, type, tab->supportsLogging(), 0});
    }
    window.letVisitorCome();
    for (const Measurement& measurement : measurements) {
        if (measurement.type != QLatin1String(kRecordingType)) {
            SoakWindow::press(measurement.tab, SoakWindow::Key::Play);
        } else if (!window.record(measurement.tab, recordingRotateSeconds)) {
            watch.complain(QStringLiteral("the stream does not begin"));
        }
    }
    startLogs();
}

void SteadyOperator::startLogs() {
    for (const Measurement& measurement : measurements) {
        if (!measurement.logs) {
            continue;
        }
        QJsonObject log;
        if (measurement.type == QLatin1String(kRotatingLogType)) {
            log.insert(QStringLiteral("rotateSeconds"), kLogRotateSeconds);
        }
        if (measurement.type == QLatin1String(kBinaryLogType)) {
            log.insert(QStringLiteral("format"), QStringLiteral("binary"));
        }
        measurement.tab->loadSharedConfig({{QStringLiteral("dataLog"), log}});
        window.startLog(measurement.tab, measurement.type);
    }
}

int SteadyOperator::pauseMs() {
    return kStepMs;
}

void SteadyOperator::act() {
    if (secondsSoFar() - lastSample >= kSampleEverySeconds) {
        sample();
    }
    if (secondsSoFar() >= nextTab) {
        DetachableTabWidget& tabs = window.tabs();
        tabs.setCurrentIndex((tabs.currentIndex() + 1) % tabs.count());
        ++tabChanges;
        nextTab = secondsSoFar() + kShownSeconds;
    }
    movePointer();
}

void SteadyOperator::movePointer() {
    const auto* tab = qobject_cast<ExperimentTab*>(window.tabs().currentWidget());
    const QList<BarChartWidget*> plots = tab == nullptr ? QList<BarChartWidget*>() : tab->plots();
    if (plots.isEmpty()) {
        return;
    }
    BarChartWidget* plot = plots.at(below(static_cast<int>(plots.size())));
    if (!plot->isVisible()) {
        return;
    }
    const QPointF place(below(std::max(plot->width(), 1)), below(std::max(plot->height(), 1)));
    QMouseEvent move(QEvent::MouseMove, place, plot->mapToGlobal(place), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(plot, &move);
    ++pointerMoves;
}

void SteadyOperator::sample() {
    watch.sample(secondsSoFar());
    if (secondsSoFar() - lastSample >= kLeastToGrowSeconds) {
        checkThatAllGoesOn();
    }
    lastSample = secondsSoFar();
}

// What had ended unnoticed would not grow.
void SteadyOperator::checkThatAllGoesOn() {
    const auto complain = [this](const QString& what) {
        watch.complain(QStringLiteral("at %1 s: %2").arg(secondsSoFar()).arg(what));
    };
    const MeasurementScheduler& scheduler = window.main().measurementScheduler();
    for (Measurement& measurement : measurements) {
        if (!scheduler.isRunningConsumer(measurement.tab)) {
            complain(QStringLiteral("%1 does not measure any more").arg(measurement.type));
        }
        const qint64 before = std::exchange(measurement.logBytes, logBytesOf(measurement));
        if (measurement.logs && measurement.logBytes <= before) {
            complain(QStringLiteral("the log of %1 does not grow").arg(measurement.type));
        }
    }
    const quint64 relayedBefore = std::exchange(relayed, window.relayVisitors().tags());
    if (relayed <= relayedBefore) {
        complain(QStringLiteral("the relay's receiver gets no tags"));
    }
    if (!window.recordings().isExpected()) {
        complain(QStringLiteral("the recording has ended"));
    }
}

qint64 SteadyOperator::logBytesOf(const Measurement& measurement, qsizetype* files) const {
    const QFileInfoList all = QDir(window.logFolder(measurement.type)).entryInfoList(QDir::Files);
    qint64 bytes = 0;
    for (const QFileInfo& file : all) {
        bytes += file.size();
    }
    if (files != nullptr) {
        *files = all.size();
    }
    return bytes;
}

void SteadyOperator::end() {
    sample();
    for (const Measurement& measurement : measurements) {
        qsizetype files = 0;
        loggedBytes += logBytesOf(measurement, &files);
        logFiles += files;
        if (measurement.type == QLatin1String(kRotatingLogType) &&
            lengthInSeconds() > 2 * kLogRotateSeconds && files < 2) {
            watch.complain(QStringLiteral("the log of %1 has no second part").arg(measurement.type));
        }
    }
    if (window.boxesAnswered() > 0) {
        watch.complain(QStringLiteral("a box told: %1").arg(window.lastBoxText()));
    }
    window.closeAll(kLeastPatienceMs + static_cast<int>(std::min(lengthInSeconds(), 3600.0) * 1000.0));
    watch.takeWaits(secondsSoFar());
}

QJsonObject SteadyOperator::report() const {
    const UiTagFlow& flow = window.recordings().tagFlow();
    QJsonObject result = SoakOperator::report();
    result.insert(QStringLiteral("measurements"), measurements.size());
    result.insert(QStringLiteral("tab_changes"), tabChanges);
    result.insert(QStringLiteral("pointer_moves"), pointerMoves);
    result.insert(QStringLiteral("log_files"), logFiles);
    result.insert(QStringLiteral("logged_mib"), static_cast<double>(loggedBytes) / 1048576.0);
    result.insert(QStringLiteral("received_tags"), static_cast<qint64>(flow.source.received));
    result.insert(QStringLiteral("dropped_tags"),
                  static_cast<qint64>(flow.source.dropped + flow.gui.backlog + flow.relay.refused));
    return result;
}

} // namespace qorn::soak
