#include "SoakWindow.h"

#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "MeasurementScheduler.h"
#include "MeasurementToolbar.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>

namespace qorn::soak {

using namespace timetagger::gui;

namespace {

constexpr const char* kPort = "ftdi://SIM00001";
constexpr int kOpeningAttempts = 3;
constexpr int kOpeningMs = 30000;

} // namespace

SoakWindow::SoakWindow(SoakWatch& soakWatch, const QString& truthFile)
    : watch(soakWatch), inspection(soakWatch, window.deviceController(), truthFile) {}

QStringList SoakWindow::experimentTypes() {
    return offeredExperimentTypes() + QStringList{QStringLiteral("Coincidence")};
}

void SoakWindow::open() {
    window.show();
    window.openStartupPort(QLatin1String(kPort));
}

void SoakWindow::reopenInstrument() {
    controller().close();
    waitFor([this] { return !controller().isCapturing(); }, kOpeningMs);
    for (int attempt = 0; attempt < kOpeningAttempts && !controller().hasDevice(); ++attempt) {
        window.openStartupPort(QLatin1String(kPort));
        answerBoxes();
    }
    if (!controller().hasDevice()) {
        watch.complain(QStringLiteral("the instrument does not open again"));
    }
}

void SoakWindow::answerBoxes() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box != nullptr && box->isVisible()) {
            ++boxes;
            lastBox = box->text();
            if (lastBox.isEmpty()) {
                watch.complain(QStringLiteral("a box without a text: %1").arg(box->windowTitle()));
            }
            box->close();
        }
    }
}

ExperimentTab* SoakWindow::openTab(const QString& type) {
    ExperimentTab* tab = createExperiment(type, tabs().pageParent());
    window.addExperimentTab(tab);
    return tab;
}

void SoakWindow::press(ExperimentTab* tab, Key key) {
    if (tab != nullptr) {
        if (auto* bar = tab->findChild<MeasurementToolbar*>()) {
            bar->press(MeasurementToolbar::keys().at(static_cast<int>(key)));
        }
    }
}

bool SoakWindow::record(ExperimentTab* tab, int rotateSeconds) {
    const QString place = folder.filePath(QStringLiteral("recording%1").arg(++recordingNumber));
    tab->loadSharedConfig({{QStringLiteral("timeTagRecording"),
                            QJsonObject{{QStringLiteral("enabled"), true},
                                        {QStringLiteral("directory"), place},
                                        {QStringLiteral("rotateSeconds"), rotateSeconds}}}});
    inspection.expect(place);
    press(tab, Key::Play);
    const bool began = controller().isCapturing();
    if (!began) { // refused, as a box has told
        inspection.forget();
    }
    tab->loadSharedConfig(
        {{QStringLiteral("timeTagRecording"), QJsonObject{{QStringLiteral("enabled"), false}}}});
    return began;
}

bool SoakWindow::startLog(ExperimentTab* tab, const QString& name) {
    return tab->startLogInDirectory(logFolder(name));
}

QString SoakWindow::logFolder(const QString& name) const {
    return folder.filePath(QStringLiteral("logs/") + name);
}

void SoakWindow::letVisitorCome() {
    QString message;
    if (!controller().relayServerStats().running &&
        !controller().setRelayServerEnabled(true, 0, 0, &message)) {
        watch.complain(QStringLiteral("the relay server does not start: %1").arg(message));
        return;
    }
    const relay::RelayServer::Stats stats = controller().relayServerStats();
    visitors.come({"127.0.0.1", stats.stream_port, stats.status_port});
}

void SoakWindow::closeAll(int patienceMs) {
    visitors.allGo();
    window.measurementScheduler().forgetAll();
    controller().stopCapture();
    if (!waitFor([this] { return !controller().isCapturing() && inspection.isIdle(); }, patienceMs)) {
        watch.complain(QStringLiteral("a measurement does not end, or the check of its recording"));
        inspection.forget();
    }
    if (!waitFor([this] { return visitors.haveGone(); }, patienceMs)) {
        watch.complain(QStringLiteral("a relay visitor does not go"));
    }
    inspection.takeUp();
    window.closeAllExperiments();
    answerBoxes();
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QString message;
    controller().setRelayServerEnabled(false, 0, 0, &message); // it keeps memory for batches to come
    controller().close(); // as the simulated instrument does for its pulses
}

bool SoakWindow::waitFor(const std::function<bool()>& condition, int patienceMs) {
    QElapsedTimer waited;
    waited.start();
    while (!condition() && waited.elapsed() < patienceMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return condition();
}

} // namespace qorn::soak
