// The whole window on the simulated instrument for a while, several measurements sharing one stream at a high
// rate: window_load [--rate TAGS/S] [--seconds S] [--tabs TYPE,TYPE...]. Prints one JSON object:
//   rate                     tags/s asked of the instrument
//   received                 tags that reached the tabs
//   dropped                  tags lost between instrument and window: by the reader, or because too many
//                            waited for the window
//   missing                  tags of whole 100 ms that did not reach the tabs: lost, or withheld because they
//                            are more than the window's budget
//   delay_ms_end, _most      from a tag at the input until all tabs had worked it off: the longest of the
//                            last second, and of the whole run with its start
//   gui_latency_p99_ms, _median_ms, _most_ms
//                            wait of an event in the GUI thread's event loop
//   cpu_seconds, peak_rss_mib
//                            of the process, the simulated instrument included
#include "ApplicationSetup.h"
#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "Driver.h"
#include "EventLoopProbe.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "IsolatedHome.h"
#include "MainWindow.h"
#include "StreamMeter.h"
#include "UiTagFlow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <cstdio>

#include <sys/resource.h>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;
using bench::StreamMeter;
using Clock = StreamMeter::Clock;

// The scene repeats, so that making it takes little of the time that is measured, and soon enough that the
// simulated instrument does not fall behind when it makes the first round.
constexpr int kRepeatMs = 2;
constexpr qint64 kBlockMs = 100; // what the meter looks at together: several rounds
constexpr qint64 kPsPerMs = 1'000'000'000;
constexpr double kPairPart = 0.02; // of all tags is a half of a pair on inputs 1 and 2
constexpr int kPatienceMs = 30000;
constexpr int kShownMs = 2000;       // each tab in turn
constexpr double kMebibyte = 1024.0; // of a size in KiB

// Random tags on all inputs, and a few pairs, as many in all as the rate says.
QByteArray scene(double tagsPerSecond) {
    const double pairs = tagsPerSecond * kPairPart / 2.0;
    QStringList sources;
    for (int input = 1; input <= 4; ++input) {
        const double rate = tagsPerSecond / 4.0 - (input <= 2 ? pairs : 0.0);
        sources.append(QStringLiteral(R"({"kind": "poisson", "input": %1, "rate_hz": %2})")
                           .arg(input)
                           .arg(rate, 0, 'f'));
    }
    sources.append(
        QStringLiteral(
            R"({"kind": "pairs", "inputs": [1, 2], "rate_hz": %1, "delay_ps": 12400, "sigma_ps": 120})")
            .arg(pairs, 0, 'f'));
    return QStringLiteral(R"({"units": [{"repeat_block_ms": %1, "sources": [%2]}]})")
        .arg(kRepeatMs)
        .arg(sources.join(QStringLiteral(", ")))
        .toUtf8();
}

// The driver's function that starts a stream, with a note of when it was called.
std::atomic<Clock::time_point> streamBegin;
decltype(timing::DriverTable::tt_start_stream_mode) startStream = nullptr;

void watchStreamStart() {
    static timing::DriverTable watched;
    watched = timing::driver();
    startStream = watched.tt_start_stream_mode;
    watched.tt_start_stream_mode = [](auto... arguments) {
        streamBegin = Clock::now();
        return startStream(arguments...);
    };
    timing::exchange_driver(&watched);
}

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double peakMebibytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / kMebibyte;
}

class WindowLoad {
public:
    WindowLoad() : meter(kBlockMs * kPsPerMs) {
        controller = &window.deviceController();
        // After the tabs have had it: the window connected itself first.
        QObject::connect(controller, &DeviceController::tagsBatch, &window,
                         [this](const UiTimeTagBatch& batch) { meter.take(batch, streamBegin); });
        QObject::connect(controller, &DeviceController::openFailed, &window,
                         [this](const QString& text) { failure = text; });
        QObject::connect(controller, &DeviceController::captureError, &window,
                         [this](const QString& text) { takeError(text); });
        QObject::connect(controller, &DeviceController::tagFlowChanged, &window,
                         [this](const UiTagFlow& counts) { flow = counts; });
    }

    // False, with a text in problem(), when it could not be measured.
    bool run(const QStringList& types, double seconds) {
        window.show();
        for (const QString& type : types) {
            ExperimentTab* tab = createExperiment(type);
            if (tab == nullptr) {
                failure = QStringLiteral("there is no measurement \"%1\"").arg(type);
                return false;
            }
            window.addExperimentTab(tab);
            tabs.append(tab);
        }
        window.openStartupPort(QStringLiteral("ftdi://SIM00001"));
        if (!waitFor([this] { return controller->hasDevice() && !controller->isCalibrating(); })) {
            return false;
        }
        startTabs();
        if (!waitFor([this] { return meter.firstArrival().has_value(); })) {
            return false;
        }
        measure(seconds);
        return failure.isEmpty();
    }

    QString problem() const { return failure.isEmpty() ? QStringLiteral("no tags came") : failure; }

    QJsonObject report(double rate) const {
        return {{QStringLiteral("rate"), rate},
                {QStringLiteral("received"), static_cast<qint64>(meter.received())},
                {QStringLiteral("dropped"), static_cast<qint64>(flow.source.dropped + flow.gui.backlog)},
                {QStringLiteral("missing"), static_cast<qint64>(meter.missing())},
                {QStringLiteral("delay_ms_end"), delayMsEnd},
                {QStringLiteral("delay_ms_most"), meter.longestDelayMs()},
                {QStringLiteral("gui_latency_p99_ms"), probe.percentileMs(0.99)},
                {QStringLiteral("gui_latency_median_ms"), probe.percentileMs(0.5)},
                {QStringLiteral("gui_latency_most_ms"), probe.percentileMs(1.0)},
                {QStringLiteral("cpu_seconds"), cpu},
                {QStringLiteral("peak_rss_mib"), peakMebibytes()}};
    }

private:
    // The tab with the largest budget starts the stream, so that nothing is withheld from the others.
    void startTabs() {
        const auto budget = [](const ExperimentTab* tab) {
            return tab->requiresTagStreaming() ? tab->acquisitionRequest(true).maxUiTagsPerSecond : 0;
        };
        QList<ExperimentTab*> order = tabs;
        std::stable_sort(order.begin(), order.end(),
                         [&](const ExperimentTab* one, const ExperimentTab* other) {
                             return budget(one) > budget(other);
                         });
        for (ExperimentTab* tab : order) {
            Q_EMIT tab->startRequested();
        }
    }

    void measure(double seconds) {
        const double cpuBefore = cpuSeconds();
        probe.start();
        QTimer nextTab;
        QObject::connect(&nextTab, &QTimer::timeout, &window, [this] {
            DetachableTabWidget& pages = window.experimentTabs();
            pages.setCurrentIndex((pages.currentIndex() + 1) % pages.count());
        });
        nextTab.start(kShownMs);
        pause(static_cast<int>(seconds * 1000.0));
        nextTab.stop();
        probe.stop();
        delayMsEnd = meter.delayMs(std::chrono::seconds(1));
        cpu = cpuSeconds() - cpuBefore;
        for (ExperimentTab* tab : std::as_const(tabs)) {
            Q_EMIT tab->cancelRequested();
        }
        waitFor([this] { return !controller->isCapturing(); });
        pause(100); // what the capture reports at its end
    }

    // A loss is counted; anything else ends the measurement.
    void takeError(const QString& text) {
        if (!text.contains(QLatin1String("time tags were lost"))) {
            failure = text;
        }
    }

    static void pause(int milliseconds) {
        QEventLoop loop;
        QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
        loop.exec();
    }

    template <typename Condition>
    bool waitFor(Condition condition) const {
        QElapsedTimer timer;
        for (timer.start(); !condition() && failure.isEmpty() && timer.elapsed() < kPatienceMs;) {
            pause(10);
        }
        return condition() && failure.isEmpty();
    }

    MainWindow window;
    DeviceController* controller = nullptr;
    QList<ExperimentTab*> tabs;
    StreamMeter meter;
    bench::EventLoopProbe probe;
    UiTagFlow flow; // the latest counts
    double delayMsEnd = 0.0;
    double cpu = 0.0;
    QString failure;
};

} // namespace

int main(int argc, char** argv) {
    const bench::IsolatedHome home;
    QApplication application(argc, argv);
    setUpApplication(application);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Measures what the window does under a stream of many tags."));
    parser.addHelpOption();
    const QCommandLineOption rateOption(QStringLiteral("rate"), QStringLiteral("Tags/s of all inputs."),
                                        QStringLiteral("tags/s"), QStringLiteral("16000000"));
    const QCommandLineOption secondsOption(QStringLiteral("seconds"), QStringLiteral("How long to measure."),
                                           QStringLiteral("s"), QStringLiteral("30"));
    const QCommandLineOption tabsOption(
        QStringLiteral("tabs"), QStringLiteral("Measurements that share the stream."),
        QStringLiteral("types"), QStringLiteral("Time tags,Correlation,Frequency,Counter"));
    parser.addOptions({rateOption, secondsOption, tabsOption});
    parser.process(application);

    const double rate = parser.value(rateOption).toDouble();
    QFile sceneFile(home.filePath(QStringLiteral("scene.json")));
    if (!sceneFile.open(QIODevice::WriteOnly) || sceneFile.write(scene(rate)) < 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(sceneFile.fileName()));
        return 1;
    }
    sceneFile.close();
    qputenv("QORN_SIMULATOR_SCENE", sceneFile.fileName().toUtf8());
    watchStreamStart();

    WindowLoad load;
    if (!load.run(parser.value(tabsOption).split(QLatin1Char(',')), parser.value(secondsOption).toDouble())) {
        std::fprintf(stderr, "%s\n", qPrintable(load.problem()));
        return 1;
    }
    std::puts(QJsonDocument(load.report(rate)).toJson(QJsonDocument::Compact).constData());
    return 0;
}
