#include "BusyOperator.h"

#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentTab.h"
#include "MeasurementScheduler.h"
#include "Rubbish.h"

#include <QCheckBox>
#include <QComboBox>

#include <algorithm>

namespace qorn::soak {

using namespace timetagger::gui;

namespace {

constexpr const char* kThemes[] = {"qorn", "Dark", "Bright", "High contrast", "Classic"};
constexpr const char* kStreamTypes[] = {"Time tags", "Correlation", "Multi correlation", "Frequency"};
constexpr const char* kLogs = "all";
constexpr int kMostTabs = 8;
constexpr std::size_t kMostVisitors = 4;
constexpr int kVisitsThatGetTags = 5; // some of them
constexpr int kLeastPauseMs = 40;
constexpr int kMostPauseMs = 600;
constexpr double kRestEverySeconds = 30.0;
constexpr double kMostRecordingSeconds = 25.0;
constexpr int kRotateSeconds = 6;
constexpr int kPatienceMs = 30000;

} // namespace

const BusyOperator::Deed BusyOperator::kDeeds[] = {
    {"open a tab", 6, &BusyOperator::openTab},
    {"close a tab", 3, &BusyOperator::closeTab},
    {"show a tab", 12, &BusyOperator::showTab},
    {"play", 14, &BusyOperator::play},
    {"pause", 5, &BusyOperator::pause},
    {"stop", 4, &BusyOperator::stop},
    {"reset", 4, &BusyOperator::reset},
    {"record", 8, &BusyOperator::record},
    {"toggle a log", 5, &BusyOperator::toggleLog},
    {"change the theme", 1, &BusyOperator::changeTheme},
    {"detach a tab", 2, &BusyOperator::detachTab},
    {"reattach", 2, &BusyOperator::reattachTabs},
    {"split view", 2, &BusyOperator::splitTab},
    {"a visitor comes", 3, &BusyOperator::visitorComes},
    {"a visitor goes", 3, &BusyOperator::visitorGoes},
    {"change settings", 8, &BusyOperator::changeSettings},
    {"poll the clock", 2, &BusyOperator::pollClock},
    {"reconnect", 1, &BusyOperator::reconnect},
};

void BusyOperator::act() {
    if (secondsSoFar() >= nextRest) {
        rest();
        nextRest = secondsSoFar() + kRestEverySeconds;
    } else if (window.recordings().isExpected() && secondsSoFar() > captureLimit) {
        window.main().measurementScheduler().forgetAll();
        window.controller().stopCapture();
    } else {
        int total = 0;
        for (const Deed& deed : kDeeds) {
            total += deed.weight;
        }
        int chosen = below(total);
        for (const Deed& deed : kDeeds) {
            if ((chosen -= deed.weight) < 0) {
                doDeed(deed);
                break;
            }
        }
    }
}

void BusyOperator::doDeed(const Deed& deed) {
    const qint64 begin = msSoFar();
    (this->*deed.act)();
    Deeds& done = deeds[deed.name];
    ++done.count;
    done.longestMs = std::max(done.longestMs, msSoFar() - begin);
}

int BusyOperator::pauseMs() {
    return kLeastPauseMs + below(kMostPauseMs - kLeastPauseMs);
}

// All is closed and let go, so that what is left over shows.
void BusyOperator::rest() {
    window.closeAll(kPatienceMs);
    watch.sample(secondsSoFar());
    window.reopenInstrument();
}

void BusyOperator::end() {
    rest();
    const RelayVisitors& visitors = window.relayVisitors();
    if (visitors.visits() >= kVisitsThatGetTags && visitors.tags() == 0) {
        watch.complain(QStringLiteral("no tag was relayed"));
    }
}

ExperimentTab* BusyOperator::anyTab() {
    DetachableTabWidget& tabs = window.tabs();
    return tabs.count() == 0 ? nullptr : qobject_cast<ExperimentTab*>(tabs.widget(below(tabs.count())));
}

void BusyOperator::openTab() {
    if (window.tabs().count() < kMostTabs) {
        static const QStringList types = SoakWindow::experimentTypes();
        window.openTab(types.at(below(static_cast<int>(types.size()))));
    }
}

void BusyOperator::closeTab() {
    const int count = window.tabs().count();
    if (count > 2) {
        window.main().closeExperimentTab(below(count));
    }
}

void BusyOperator::showTab() {
    if (const int count = window.tabs().count(); count > 0) {
        window.tabs().setCurrentIndex(below(count));
    }
}

void BusyOperator::play() {
    if (!window.recordings().isComparing() && window.controller().hasDevice()) {
        SoakWindow::press(anyTab(), SoakWindow::Key::Play);
    }
}

void BusyOperator::pause() {
    SoakWindow::press(anyTab(), SoakWindow::Key::Pause);
}

void BusyOperator::stop() {
    SoakWindow::press(anyTab(), SoakWindow::Key::Stop);
}

void BusyOperator::reset() {
    if (window.recordings().isIdle()) {
        SoakWindow::press(anyTab(), SoakWindow::Key::Reset);
    }
}

// A fresh stream of a new tab with the recording on.
void BusyOperator::record() {
    DeviceController& controller = window.controller();
    if (window.recordings().isComparing() || controller.isCapturing() || !controller.hasDevice()) {
        return;
    }
    ExperimentTab* tab = window.openTab(QLatin1String(kStreamTypes[below(std::size(kStreamTypes))]));
    window.record(tab, below(2) == 1 ? kRotateSeconds : 0);
    captureLimit = secondsSoFar() + kMostRecordingSeconds;
}

void BusyOperator::toggleLog() {
    if (ExperimentTab* tab = anyTab()) {
        if (tab->isLogOpen()) {
            tab->stopLog();
            throwAway(window.logFolder(QLatin1String(kLogs)));
        } else {
            window.startLog(tab, QLatin1String(kLogs));
        }
    }
}

void BusyOperator::changeTheme() {
    window.main().applyTheme(QLatin1String(kThemes[below(std::size(kThemes))]));
}

void BusyOperator::detachTab() {
    DetachableTabWidget& tabs = window.tabs();
    if (tabs.count() > 1 && tabs.detachedPages().isEmpty()) {
        tabs.detachTab(below(tabs.count()));
    }
}

void BusyOperator::reattachTabs() {
    window.tabs().reattachAll();
}

void BusyOperator::splitTab() {
    if (ExperimentTab* tab = anyTab()) {
        Q_EMIT tab->splitRequested();
    }
}

void BusyOperator::visitorComes() {
    if (window.relayVisitors().count() < kMostVisitors) {
        window.letVisitorCome();
    }
}

void BusyOperator::visitorGoes() {
    window.relayVisitors().go();
}

// One control of a tab to another value.
void BusyOperator::changeSettings() {
    ExperimentTab* tab = anyTab();
    if (tab == nullptr || window.recordings().isExpected()) { // some of them start the stream anew
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

void BusyOperator::pollClock() {
    window.controller().refreshClockStatus();
}

void BusyOperator::reconnect() {
    if (window.recordings().isIdle()) {
        window.reopenInstrument();
    }
}

QJsonObject BusyOperator::report() const {
    QJsonObject done;
    QJsonObject longestMs;
    for (const auto& [name, ofName] : deeds) {
        done.insert(QString::fromStdString(name), ofName.count);
        longestMs.insert(QString::fromStdString(name), ofName.longestMs);
    }
    QJsonObject result = SoakOperator::report();
    result.insert(QStringLiteral("deeds"), done);
    result.insert(QStringLiteral("deeds_longest_ms"), longestMs);
    return result;
}

} // namespace qorn::soak
