#include "SoakOperator.h"

#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "MeasurementScheduler.h"
#include "MeasurementToolbar.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>

#include <algorithm>

namespace qorn::soak {

using namespace timetagger::gui;

namespace {

constexpr const char* kPort = "ftdi://SIM00001";
constexpr const char* kThemes[] = {"qorn", "Dark", "Bright", "High contrast", "Classic"};
constexpr const char* kStreamTypes[] = {"Time tags", "Correlation", "Multi correlation", "Frequency"};
constexpr int kMostTabs = 8;
constexpr std::size_t kMostVisitors = 4;
constexpr int kVisitsThatGetTags = 5; // some of them
constexpr int kLeastPauseMs = 40;
constexpr int kMostPauseMs = 600;
constexpr double kRestEverySeconds = 30.0;
constexpr double kMostRecordingSeconds = 25.0;
constexpr int kRotateSeconds = 6;
constexpr int kWaitMs = 30000;
enum Key { kPlay, kPause, kStop, kReset };

template <typename Condition>
bool waitFor(Condition condition) {
    QElapsedTimer waited;
    waited.start();
    while (!condition() && waited.elapsed() < kWaitMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return condition();
}

} // namespace

const SoakOperator::Deed SoakOperator::kDeeds[] = {
    {"open a tab", 6, &SoakOperator::openTab},
    {"close a tab", 3, &SoakOperator::closeTab},
    {"show a tab", 12, &SoakOperator::showTab},
    {"play", 14, &SoakOperator::play},
    {"pause", 5, &SoakOperator::pause},
    {"stop", 4, &SoakOperator::stop},
    {"reset", 4, &SoakOperator::reset},
    {"record", 8, &SoakOperator::record},
    {"toggle a log", 5, &SoakOperator::toggleLog},
    {"change the theme", 1, &SoakOperator::changeTheme},
    {"detach a tab", 2, &SoakOperator::detachTab},
    {"reattach", 2, &SoakOperator::reattachTabs},
    {"split view", 2, &SoakOperator::splitTab},
    {"a visitor comes", 3, &SoakOperator::visitorComes},
    {"a visitor goes", 3, &SoakOperator::visitorGoes},
    {"change settings", 8, &SoakOperator::changeSettings},
    {"poll the clock", 2, &SoakOperator::pollClock},
    {"reconnect", 1, &SoakOperator::reconnect},
};

SoakOperator::SoakOperator(SoakWatch& watched, QString truthFile, std::uint64_t seed)
    : watch(watched), truth(std::move(truthFile)), random(seed) {
    connect(&stepTimer, &QTimer::timeout, this, &SoakOperator::step);
    connect(&window.deviceController(), &DeviceController::captureStopped, this,
            &SoakOperator::onCaptureStopped);
    connect(&window.deviceController(), &DeviceController::tagFlowChanged, this, &SoakOperator::onTagFlow);
    stepTimer.setSingleShot(true);
}

SoakOperator::~SoakOperator() {
    joinCheck();
}

void SoakOperator::work(double seconds) {
    length = seconds;
    clock.start();
    nextRest = kRestEverySeconds;
    window.show();
    window.openStartupPort(QLatin1String(kPort));
    stepTimer.start(kMostPauseMs);
}

void SoakOperator::step() {
    const double now = static_cast<double>(clock.elapsed()) / 1000.0;
    answerBoxes();
    if (!checking) {
        joinCheck();
    }
    if (now >= nextRest || now >= length) {
        nextRest = now + kRestEverySeconds;
        rest();
        if (now >= length) {
            judge();
            Q_EMIT finished();
            return;
        }
    } else if (!recordingFolder.isEmpty() && now > captureLimit) {
        window.measurementScheduler().forgetAll();
        window.deviceController().stopCapture();
    } else {
        int total = 0;
        for (const Deed& deed : kDeeds) {
            total += deed.weight;
        }
        int chosen = below(total);
        for (const Deed& deed : kDeeds) {
            if ((chosen -= deed.weight) < 0) {
                const qint64 begin = clock.elapsed();
                (this->*deed.act)();
                Deeds& done = deeds[deed.name];
                ++done.count;
                done.longestMs = std::max(done.longestMs, clock.elapsed() - begin);
                break;
            }
        }
    }
    stepTimer.start(kLeastPauseMs + below(kMostPauseMs - kLeastPauseMs));
}

bool SoakOperator::isQuiet() {
    return !window.deviceController().isCapturing() && recordingFolder.isEmpty() && !checking;
}

// All is closed and let go, so that what is left over shows.
void SoakOperator::rest() {
    visitors.allGo();
    DeviceController& controller = window.deviceController();
    window.measurementScheduler().forgetAll();
    controller.stopCapture();
    if (!waitFor([this] { return isQuiet(); })) {
        watch.complain(QStringLiteral("a measurement does not end, or the check of its recording"));
        recordingFolder.clear();
    }
    if (!waitFor([this] { return visitors.haveGone(); })) {
        watch.complain(QStringLiteral("a relay visitor does not go"));
    }
    joinCheck();
    window.closeAllExperiments();
    answerBoxes();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QString message;
    controller.setRelayServerEnabled(false, 0, 0, &message); // it keeps memory for batches to come
    controller.close(); // as the simulated instrument does for its pulses
    watch.rest(static_cast<double>(clock.elapsed()) / 1000.0);
    reconnect();
}

void SoakOperator::judge() {
    watch.judgeMemory();
    if (comparedRecordings == 0) {
        watch.complain(QStringLiteral("no recording was compared"));
    }
    if (visitors.visits() >= kVisitsThatGetTags && visitors.tags() == 0) {
        watch.complain(QStringLiteral("no tag was relayed"));
    }
    if (visitors.invalidRecords() > 0) {
        watch.complain(QStringLiteral("%1 invalid records were relayed").arg(visitors.invalidRecords()));
    }
}

// The faults that the plan injects are told in boxes.
void SoakOperator::answerBoxes() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box != nullptr && box->isVisible()) {
            ++boxes;
            if (box->text().isEmpty()) {
                watch.complain(QStringLiteral("a box without a text: %1").arg(box->windowTitle()));
            }
            box->close();
        }
    }
}

ExperimentTab* SoakOperator::anyTab() {
    DetachableTabWidget& tabs = window.experimentTabs();
    return tabs.count() == 0 ? nullptr : qobject_cast<ExperimentTab*>(tabs.widget(below(tabs.count())));
}

void SoakOperator::press(ExperimentTab* tab, int key) {
    if (tab != nullptr) {
        if (auto* bar = tab->findChild<MeasurementToolbar*>()) {
            bar->press(MeasurementToolbar::keys().at(key));
        }
    }
}

void SoakOperator::openTab() {
    DetachableTabWidget& tabs = window.experimentTabs();
    if (tabs.count() < kMostTabs) {
        static const QStringList types =
            offeredExperimentTypes() + QStringList{QStringLiteral("Coincidence")};
        window.addExperimentTab(
            createExperiment(types.at(below(static_cast<int>(types.size()))), tabs.pageParent()));
    }
}

void SoakOperator::closeTab() {
    const int count = window.experimentTabs().count();
    if (count > 2) {
        window.closeExperimentTab(below(count));
    }
}

void SoakOperator::showTab() {
    if (const int count = window.experimentTabs().count(); count > 0) {
        window.experimentTabs().setCurrentIndex(below(count));
    }
}

// A new stream would write the truth anew while a recording is compared with it.
void SoakOperator::play() {
    if (!checking && window.deviceController().hasDevice()) {
        press(anyTab(), kPlay);
    }
}

void SoakOperator::pause() {
    press(anyTab(), kPause);
}

void SoakOperator::stop() {
    press(anyTab(), kStop);
}

void SoakOperator::reset() {
    if (!checking && recordingFolder.isEmpty()) {
        press(anyTab(), kReset);
    }
}

// A fresh stream of a new tab with the recording on.
void SoakOperator::record() {
    DeviceController& controller = window.deviceController();
    if (checking || controller.isCapturing() || !controller.hasDevice()) {
        return;
    }
    DetachableTabWidget& tabs = window.experimentTabs();
    ExperimentTab* tab =
        createExperiment(QLatin1String(kStreamTypes[below(std::size(kStreamTypes))]), tabs.pageParent());
    window.addExperimentTab(tab);
    recordingFolder = folder.filePath(QStringLiteral("recording%1").arg(++recordingNumber));
    const bool rotates = below(2) == 1;
    tab->loadSharedConfig({{QStringLiteral("timeTagRecording"),
                            QJsonObject{{QStringLiteral("enabled"), true},
                                        {QStringLiteral("directory"), recordingFolder},
                                        {QStringLiteral("rotateSeconds"), rotates ? kRotateSeconds : 0}}}});
    lastFlow = {}; // a capture that does not start tells of none
    press(tab, kPlay);
    if (!controller.isCapturing()) { // refused, as a box has told
        recordingFolder.clear();
    }
    // The next ones do not record by themselves.
    tab->loadSharedConfig(
        {{QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), false}}}});
    captureLimit = static_cast<double>(clock.elapsed()) / 1000.0 + kMostRecordingSeconds;
}

void SoakOperator::onTagFlow(const UiTagFlow& flow) {
    lastFlow = flow;
    if (!flow.balances()) {
        watch.complain(QStringLiteral("the counts of capture %1 do not balance").arg(flow.capture));
    }
}

void SoakOperator::onCaptureStopped() {
    if (recordingFolder.isEmpty() || checking) {
        return;
    }
    if (window.deviceController().isCapturing()) { // the next one has begun: its truth is another
        ++uncheckedRecordings;
        QDir(recordingFolder).removeRecursively();
        recordingFolder.clear();
        return;
    }
    checkRecording();
}

void SoakOperator::checkRecording() {
    joinCheck();
    checking = true;
    const quint64 arrived = lastFlow.source.received - lastFlow.source.dropped;
    check = std::thread([this, arrived, place = recordingFolder] {
        QStringList parts;
        const QDir dir(place);
        for (const QString& name : dir.entryList({QStringLiteral("*.qornts")}, QDir::Files, QDir::Name)) {
            parts.append(dir.filePath(name));
        }
        checked = soak::checkRecording(parts, truth, arrived);
        QDir(place).removeRecursively();
        checking = false;
    });
    recordingFolder.clear();
}

void SoakOperator::joinCheck() {
    if (!check.joinable()) {
        return;
    }
    check.join();
    if (checked.compared) {
        ++comparedRecordings;
        comparedTags += checked.tags;
    } else {
        ++shortRecordings;
    }
    if (!checked.problem.isEmpty()) {
        watch.complain(QStringLiteral("recording %1: %2").arg(recordingNumber).arg(checked.problem));
    }
}

void SoakOperator::toggleLog() {
    if (ExperimentTab* tab = anyTab()) {
        if (tab->isLogOpen()) {
            tab->stopLog();
            QDir(folder.filePath(QStringLiteral("logs"))).removeRecursively();
        } else {
            tab->startLogInDirectory(folder.filePath(QStringLiteral("logs")));
        }
    }
}

void SoakOperator::changeTheme() {
    window.applyTheme(QLatin1String(kThemes[below(std::size(kThemes))]));
}

void SoakOperator::detachTab() {
    DetachableTabWidget& tabs = window.experimentTabs();
    if (tabs.count() > 1 && tabs.detachedPages().isEmpty()) {
        tabs.detachTab(below(tabs.count()));
    }
}

void SoakOperator::reattachTabs() {
    window.experimentTabs().reattachAll();
}

void SoakOperator::splitTab() {
    if (ExperimentTab* tab = anyTab()) {
        Q_EMIT tab->splitRequested();
    }
}

void SoakOperator::visitorComes() {
    DeviceController& controller = window.deviceController();
    QString message;
    if (!controller.relayServerStats().running && !controller.setRelayServerEnabled(true, 0, 0, &message)) {
        watch.complain(QStringLiteral("the relay server does not start: %1").arg(message));
        return;
    }
    const relay::RelayServer::Stats stats = controller.relayServerStats();
    if (visitors.count() < kMostVisitors) {
        visitors.come({"127.0.0.1", stats.stream_port, stats.status_port});
    }
}

void SoakOperator::visitorGoes() {
    visitors.go();
}

// One control of a tab to another value.
void SoakOperator::changeSettings() {
    ExperimentTab* tab = anyTab();
    if (tab == nullptr || !recordingFolder.isEmpty()) { // some of them start the stream anew
        return;
    }
    const auto boxesOfTab = tab->findChildren<QComboBox*>();
    const auto checks = tab->findChildren<QCheckBox*>();
    if (below(2) == 0 && !boxesOfTab.isEmpty()) {
        QComboBox* box = boxesOfTab.at(below(static_cast<int>(boxesOfTab.size())));
        if (box->isEnabled() && box->count() > 0) {
            box->setCurrentIndex(below(box->count()));
        }
    } else if (!checks.isEmpty()) {
        checks.at(below(static_cast<int>(checks.size())))->click();
    }
}

void SoakOperator::pollClock() {
    window.deviceController().refreshClockStatus();
}

void SoakOperator::reconnect() {
    DeviceController& controller = window.deviceController();
    if (checking || !recordingFolder.isEmpty()) {
        return;
    }
    controller.close();
    waitFor([&] { return !controller.isCapturing(); });
    for (int attempt = 0; attempt < 3 && !controller.hasDevice(); ++attempt) {
        window.openStartupPort(QLatin1String(kPort));
        answerBoxes();
    }
    if (!controller.hasDevice()) {
        watch.complain(QStringLiteral("the instrument does not open again"));
    }
}

QJsonObject SoakOperator::report() const {
    QJsonObject done;
    QJsonObject longestMs;
    for (const auto& [name, ofName] : deeds) {
        done.insert(QString::fromStdString(name), ofName.count);
        longestMs.insert(QString::fromStdString(name), ofName.longestMs);
    }
    return {{QStringLiteral("deeds"), done},
            {QStringLiteral("deeds_longest_ms"), longestMs},
            {QStringLiteral("fault_boxes"), boxes},
            {QStringLiteral("recordings_compared"), comparedRecordings},
            {QStringLiteral("recordings_too_short_to_compare"), shortRecordings},
            {QStringLiteral("recordings_unchecked"), uncheckedRecordings},
            {QStringLiteral("recorded_tags_compared"), static_cast<qint64>(comparedTags)},
            {QStringLiteral("relay_visits"), visitors.visits()},
            {QStringLiteral("relayed_tags"), static_cast<qint64>(visitors.tags())}};
}

} // namespace qorn::soak
