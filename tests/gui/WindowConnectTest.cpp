#include "QtPrinting.h"
#include "StoredSettings.h"
#include "WidgetFinder.h"
#include "WindowStage.h"

#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QVBoxLayout>

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qorn::testing {
namespace {

const QString kTitle = QStringLiteral("QORN TDC");
const QString kIdentity1 = QStringLiteral("Simulated four-input TDC, serial SIM00001");
const QString kIdentity2 = QStringLiteral("Simulated four-input TDC, serial SIM00002");

QString setupStatus(gui::MainWindow& window) {
    for (const QLabel* label : window.setupPage().findChildren<QLabel*>(QStringLiteral("Muted"))) {
        if (label->text() != QStringLiteral("Scanning...")) {
            return label->text();
        }
    }
    return {};
}

// A port of this host that nobody listens on, and that nobody else gets meanwhile.
class ReservedPort {
public:
    ReservedPort() : descriptor(::socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size), 0);
        port = ntohs(address.sin_port);
    }
    ~ReservedPort() { ::close(descriptor); }
    ReservedPort(const ReservedPort&) = delete;
    ReservedPort& operator=(const ReservedPort&) = delete;

    quint16 number() const { return port; }

private:
    int descriptor;
    quint16 port = 0;
};

bool showsConnectPage(WindowStage& stage) {
    return stage.window().setupPage().isVisible() && !stage.tabs().isVisible() &&
           !stage.window().menuBar()->isVisible();
}

TEST(WindowConnect, StartsOnTheConnectPageWithoutAMenuBar) {
    WindowStage stage;
    stage.openWindow();
    gui::MainWindow& window = stage.window();
    EXPECT_EQ(window.windowTitle(), kTitle);
    EXPECT_EQ(window.size(), QSize(1220, 760));
    EXPECT_EQ(window.minimumSize(), QSize(900, 600));
    EXPECT_TRUE(window.isDockNestingEnabled());
    EXPECT_EQ(window.dockOptions(),
              QMainWindow::AllowNestedDocks | QMainWindow::AllowTabbedDocks | QMainWindow::GroupedDragging);
    EXPECT_TRUE(showsConnectPage(stage));
    const auto* toolbar = window.findChild<QToolBar*>(QStringLiteral("MainToolBar"));
    ASSERT_NE(toolbar, nullptr);
    EXPECT_EQ(toolbar->windowTitle(), QStringLiteral("Main"));
    EXPECT_FALSE(toolbar->isVisible());
    EXPECT_FALSE(toolbar->isMovable());
    EXPECT_FALSE(toolbar->isFloatable());
    EXPECT_EQ(stage.tabs().count(), 0);
}

TEST(WindowConnect, TheStatusBarHasItsSixLabelsInOrder) {
    WindowStage stage;
    stage.openWindow();
    QList<const QLabel*> labels = stage.window().statusBar()->findChildren<const QLabel*>();
    labels.removeIf([](const QLabel* label) { return label->isHidden(); }); // losses, of which there are none
    std::sort(labels.begin(), labels.end(), [](const auto* a, const auto* b) { return a->x() < b->x(); });
    QStringList shown;
    for (const QLabel* label : labels) {
        shown.append(label->text());
    }
    EXPECT_EQ(shown, texts({"Not connected", "Cal upload: -", "Clock lock: -", "Clock out: -",
                            "Acquisition: idle", "idle"}));
    for (qsizetype i = 1; i < labels.size(); ++i) {
        EXPECT_EQ(labels[i]->objectName(), QStringLiteral("StatusFlag"));
        EXPECT_EQ(labels[i]->property("flagState").toString(), QStringLiteral("muted"));
    }
}

TEST(WindowConnect, TheWorkspaceHoldsTheTabsInItsMargins) {
    WindowStage stage;
    stage.openWindow();
    const gui::DetachableTabWidget& tabs = stage.tabs();
    EXPECT_EQ(tabs.objectName(), QStringLiteral("ExperimentTabs"));
    EXPECT_FALSE(tabs.documentMode());
    EXPECT_TRUE(tabs.isMovable());
    EXPECT_TRUE(tabs.tabsClosable());
    const auto* layout = qobject_cast<QVBoxLayout*>(tabs.parentWidget()->layout());
    ASSERT_NE(layout, nullptr);
    EXPECT_EQ(layout->contentsMargins(), QMargins(10, 8, 10, 10));
    EXPECT_EQ(layout->spacing(), 8);
    EXPECT_EQ(layout->stretch(0), 1);
    const auto* pages = qobject_cast<QStackedWidget*>(stage.window().centralWidget());
    ASSERT_NE(pages, nullptr);
    EXPECT_EQ(pages->widget(0), &stage.window().setupPage());
    EXPECT_EQ(pages->widget(1), tabs.parentWidget());
    EXPECT_EQ(pages->count(), 2);
}

TEST(WindowConnect, TheMenusHaveTheirEntriesInOrder) {
    WindowStage stage;
    stage.openWindow();
    QStringList menus;
    for (const QAction* action : stage.window().menuBar()->actions()) {
        menus.append(action->text());
    }
    for (const char* menu : {"&File", "&Experiments", "&View"}) {
        EXPECT_TRUE(menus.contains(QString::fromUtf8(menu))) << menu;
    }
    QStringList entries;
    for (const QAction* action : stage.window().menuBar()->actions().constFirst()->menu()->actions()) {
        entries.append(action->isSeparator() ? QStringLiteral("|") : action->text());
    }
    EXPECT_EQ(entries, texts({"&Close device", "|", "&Load configuration...", "|", "Save &all...",
                              "Save &UI config...", "Save &experiment config...", "|", "E&xit"}));
    EXPECT_NE(stage.menuAction("&New experiment..."), nullptr);
    EXPECT_NE(stage.menuAction("&Theme"), nullptr);
}

TEST(WindowConnect, TheFirstScanListsTheUnits) {
    WindowStage stage;
    stage.openWindow();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    ASSERT_TRUE(waitUntil([list] { return list->count() == 2; }));
    EXPECT_EQ(list->itemText(0), QStringLiteral("SIM00001  QORN TDC simulator"));
    EXPECT_EQ(list->itemText(1), QStringLiteral("SIM00002  QORN TDC simulator"));
    EXPECT_TRUE(setupStatus(stage.window()).endsWith(QStringLiteral("Found 2 customer USB device(s).")))
        << setupStatus(stage.window()).toStdString();
}

TEST(WindowConnect, AClickOnConnectOpensTheWorkspaceOnACounter) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_EQ(stage.window().windowTitle(), QString::fromUtf8("QORN TDC — ") + kIdentity1);
    EXPECT_TRUE(stage.window().menuBar()->isVisible());
    EXPECT_FALSE(stage.window().setupPage().isVisible());
    EXPECT_FALSE(stage.window().findChild<QToolBar*>(QStringLiteral("MainToolBar"))->isVisible());
    EXPECT_EQ(stage.window().statusBar()->currentMessage(), QStringLiteral("Device opened"));
    ASSERT_EQ(stage.tabs().count(), 1);
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Counter 1"));
    EXPECT_EQ(stage.tab(0).experimentType(), QStringLiteral("Counter"));
    EXPECT_EQ(stage.tab(0).logSerial(), QStringLiteral("SIM00001"));
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: required"));
    EXPECT_EQ(stage.flagState("Cal upload"), QStringLiteral("warning"));
    EXPECT_EQ(stage.flag("Acquisition"), QStringLiteral("Acquisition: idle"));
    EXPECT_TRUE(stage.waitForFlag("Clock lock: internal"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("good"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: 10 MHz"));
    bool identityShown = false;
    for (const QLabel* label : stage.window().statusBar()->findChildren<const QLabel*>()) {
        identityShown = identityShown || label->text() == kIdentity1;
    }
    EXPECT_TRUE(identityShown);
    EXPECT_EQ(storedSettings().value(QStringLiteral("setup/lastDevicePort")).toString(),
              QStringLiteral("ftdi://SIM00001"));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowConnect, TheStoredClockChoiceIsInForceAfterConnect) {
    storedSettings().setValue(QStringLiteral("setup/referenceClockMode"), 6);
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_TRUE(stage.waitForFlag("Clock lock: external"));
    EXPECT_TRUE(stage.waitForFlag("Clock out: 1 PPS"));
}

TEST(WindowConnect, AnImageWithoutClockControlSaysSo) {
    WindowStage stage(standardScene(R"("reference": {"control": false},)"));
    ASSERT_TRUE(stage.connectUnit());
    EXPECT_TRUE(stage.waitForFlag("Clock lock: unavailable"));
    EXPECT_EQ(stage.flagState("Clock lock"), QStringLiteral("warning"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: unavailable"));
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowConnect, CloseDeviceReturnsToTheConnectPage) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags");
    QAction* close = stage.menuAction("&Close device");
    ASSERT_TRUE(close->isEnabled());
    close->trigger();
    EXPECT_TRUE(showsConnectPage(stage));
    EXPECT_EQ(stage.window().windowTitle(), kTitle);
    EXPECT_EQ(stage.tabs().count(), 0);
    EXPECT_EQ(setupStatus(stage.window()), QStringLiteral("Device closed."));
    for (const char* text : {"Cal upload: -", "Clock lock: -", "Clock out: -", "Acquisition: idle"}) {
        EXPECT_EQ(stage.flag(text), QString::fromUtf8(text));
        EXPECT_EQ(stage.flagState(text), QStringLiteral("muted"));
    }
    EXPECT_EQ(stage.detail(), QStringLiteral("idle"));
    EXPECT_FALSE(close->isEnabled());
    EXPECT_FALSE(stage.menuAction("&New experiment...")->isEnabled());
}

TEST(WindowConnect, ANewConnectionStartsOnAFreshCounterAndTheNumbersGoOn) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.addTab("Time tags");
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Time tags 2"));
    stage.window().closeExperimentTab(1);
    stage.addTab("Time tags");
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Time tags 3"));
    stage.menuAction("&Close device")->trigger();
    ASSERT_TRUE(stage.clickConnect());
    ASSERT_EQ(stage.tabs().count(), 1);
    EXPECT_EQ(stage.tabs().tabText(0), QStringLiteral("Counter 4"));
}

TEST(WindowConnect, AStartupPortIsOpenedButNotRemembered) {
    WindowStage stage;
    stage.openWindow();
    stage.window().openStartupPort(QStringLiteral("  ftdi://SIM00002 "));
    EXPECT_TRUE(stage.controller().hasDevice());
    EXPECT_EQ(stage.window().windowTitle(), QString::fromUtf8("QORN TDC — ") + kIdentity2);
    EXPECT_TRUE(stage.tabs().isVisible());
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("setup/lastDevicePort")));
}

TEST(WindowConnect, ABlankStartupPortIsIgnored) {
    WindowStage stage;
    stage.openWindow();
    const QString before = setupStatus(stage.window());
    stage.window().openStartupPort(QStringLiteral("  \t"));
    EXPECT_FALSE(stage.controller().hasDevice());
    EXPECT_EQ(setupStatus(stage.window()), before);
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowConnect, APortThatDoesNotOpenIsReportedOnThePageAndInABox) {
    WindowStage stage;
    stage.openWindow();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    ASSERT_TRUE(waitUntil([list] { return list->count() == 2; }));
    stage.window().openStartupPort(QStringLiteral("ftdi://NOBODY"));
    ASSERT_TRUE(stage.waitForBox("Open failed"));
    QMessageBox* box = stage.boxes().constFirst();
    EXPECT_EQ(box->icon(), QMessageBox::Warning);
    EXPECT_EQ(box->standardButtons(), QMessageBox::Ok);
    EXPECT_TRUE(box->isModal());
    EXPECT_FALSE(box->text().isEmpty());
    EXPECT_EQ(setupStatus(stage.window()), box->text());
    EXPECT_TRUE(showsConnectPage(stage));
    stage.takeBox();
    ASSERT_TRUE(stage.clickConnect()) << "the next attempt works";
}

TEST(WindowConnect, AUnitThatFailsToOpenIsNotRemembered) {
    WindowStage stage(standardScene(R"("faults": {"calls": [{"call": "tt_identify", "count": 1}]},)"));
    stage.openWindow();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    ASSERT_TRUE(waitUntil([list] { return list->count() == 2; }));
    QTest::mouseClick(findButton(stage.window().setupPage(), QStringLiteral("Connect")), Qt::LeftButton);
    ASSERT_TRUE(stage.waitForBox("Open failed"));
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("setup/lastDevicePort")));
    EXPECT_FALSE(stage.controller().hasSource());
    stage.takeBox();
    ASSERT_TRUE(stage.clickConnect());
}

TEST(WindowConnect, ReconnectingClosesFirstAndOpensAfterTheEventLoopHasRun) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QSignalSpy closed(&stage.controller(), &gui::DeviceController::closed);
    Q_EMIT stage.window().setupPage().connectRequested(QStringLiteral(" ftdi://SIM00002 "));
    EXPECT_EQ(closed.count(), 1);
    EXPECT_FALSE(stage.controller().hasDevice());
    EXPECT_TRUE(showsConnectPage(stage));
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasDevice(); }));
    EXPECT_EQ(stage.window().windowTitle(), QString::fromUtf8("QORN TDC — ") + kIdentity2);
    EXPECT_EQ(stage.tabs().count(), 1);
    EXPECT_EQ(storedSettings().value(QStringLiteral("setup/lastDevicePort")).toString(),
              QStringLiteral("ftdi://SIM00002"));
}

TEST(WindowConnect, ARelayThatIsNotThereIsReported) {
    WindowStage stage;
    stage.openWindow();
    const auto* list = stage.window().setupPage().findChild<QComboBox*>();
    ASSERT_TRUE(waitUntil([list] { return list->count() == 2; }));
    const ReservedPort nobody;
    Q_EMIT stage.window().setupPage().relayConnectRequested(QStringLiteral("127.0.0.1"), nobody.number(),
                                                            nobody.number());
    ASSERT_TRUE(stage.waitForBox("Open failed"));
    EXPECT_EQ(setupStatus(stage.window()), stage.takeBox());
    EXPECT_TRUE(showsConnectPage(stage));
}

TEST(WindowConnect, ARelayIsASourceWithItsOwnTexts) {
    WindowStage stage;
    gui::DeviceController publisher; // another host
    publisher.openPort(QStringLiteral("ftdi://SIM00001"));
    ASSERT_TRUE(publisher.hasDevice());
    ASSERT_TRUE(publisher.setRelayServerEnabled(true, 0, 0, nullptr));
    publisher.startCapture(QStringLiteral("external"), 0.0, 65536, 15, 1000000, {});
    const relay::RelayServer::Stats stats = publisher.relayServerStats();

    stage.openWindow();
    Q_EMIT stage.window().setupPage().relayConnectRequested(QStringLiteral("127.0.0.1"), stats.stream_port,
                                                            stats.status_port);
    ASSERT_TRUE(waitUntil([&] { return stage.controller().hasRelay() && stage.tabs().isVisible(); }));
    EXPECT_EQ(stage.window().windowTitle(),
              QString::fromUtf8("QORN TDC — Network relay 127.0.0.1:%1").arg(stats.stream_port));
    EXPECT_EQ(stage.flag("Cal upload"), QStringLiteral("Cal upload: remote source"));
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: remote source"));
    EXPECT_EQ(stage.flag("Clock out"), QStringLiteral("Clock out: remote source"));
    for (const char* flag : {"Cal upload", "Clock lock", "Clock out"}) {
        EXPECT_EQ(stage.flagState(flag), QStringLiteral("muted"));
    }
    EXPECT_FALSE(storedSettings().contains(QStringLiteral("setup/lastDevicePort")));
    ASSERT_EQ(stage.tabs().count(), 1);
    WindowStage::press(stage.tab(0), "Play");
    EXPECT_EQ(stage.detail(), QStringLiteral("counter + coincidence (Network relay / Raw64, network relay)"));
    EXPECT_TRUE(stage.waitForData(stage.tab(0)));
    WindowStage::press(stage.tab(0), "Stop");
    ASSERT_TRUE(stage.waitForIdle());
    EXPECT_EQ(stage.flag("Clock lock"), QStringLiteral("Clock lock: remote source"));
    stage.menuAction("&Close device")->trigger();
    EXPECT_TRUE(showsConnectPage(stage));
    publisher.close();
    EXPECT_TRUE(stage.boxes().isEmpty());
}

TEST(WindowConnect, RefreshScansAgain) {
    WindowStage stage;
    stage.openWindow();
    QAbstractButton* refresh = findButton(stage.window().setupPage(), QStringLiteral("Refresh"));
    ASSERT_NE(refresh, nullptr);
    ASSERT_TRUE(waitUntil([refresh] { return refresh->isEnabled(); }));
    const QSignalSpy scans(&stage.controller(), &gui::DeviceController::devicesDiscovered);
    QTest::mouseClick(refresh, Qt::LeftButton);
    EXPECT_FALSE(refresh->isEnabled());
    EXPECT_TRUE(waitUntil([&] { return scans.count() == 1 && refresh->isEnabled(); }));
}

// --- tabs --------------------------------------------------------------------------------------------------

TEST(WindowTabs, TheMenuAddsTheChosenExperimentAndMakesItCurrent) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    bool modal = false;
    answerNextDialog([&modal](QWidget& dialog) {
        modal = dialog.isModal() && dialog.windowTitle() == QStringLiteral("New experiment");
        auto* list = dialog.findChild<QListWidget*>();
        list->setCurrentRow(list->count() - 1);
        QTest::mouseClick(dialog.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok),
                          Qt::LeftButton);
    });
    stage.menuAction("&New experiment...")->trigger();
    EXPECT_TRUE(modal);
    ASSERT_EQ(stage.tabs().count(), 2);
    EXPECT_EQ(stage.tabs().currentIndex(), 1);
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Time tags 2"));
    EXPECT_EQ(stage.tab(1).logSerial(), QStringLiteral("SIM00001"));
}

TEST(WindowTabs, CancelAddsNothing) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    answerNextDialog([](QWidget& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
    Q_EMIT stage.tabs().addRequested();
    EXPECT_EQ(stage.tabs().count(), 1);
    stage.addTab("Time tags");
    EXPECT_EQ(stage.tabs().tabText(1), QStringLiteral("Time tags 2")) << "a cancel takes no number";
}

TEST(WindowTabs, NoTabIsNoHarm) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    stage.window().addExperimentTab(nullptr);
    stage.window().closeExperimentTab(-1);
    stage.window().closeExperimentTab(7);
    EXPECT_EQ(stage.tabs().count(), 1);
    stage.tabs().addTab(new QWidget, QStringLiteral("foreign"));
    stage.window().closeExperimentTab(1);
    EXPECT_EQ(stage.tabs().count(), 2);
}

TEST(WindowTabs, ClosingATabDeletesItAtOnce) {
    WindowStage stage;
    ASSERT_TRUE(stage.connectUnit());
    const QPointer<gui::ExperimentTab> tab = &stage.addTab("Time tags");
    Q_EMIT stage.tabs().tabCloseRequested(1);
    EXPECT_TRUE(tab.isNull());
    EXPECT_EQ(stage.tabs().count(), 1);
    Q_EMIT stage.tabs().tabCloseRequested(0);
    EXPECT_EQ(stage.tabs().count(), 0);
    EXPECT_TRUE(stage.tabs().isVisible()) << "a workspace without tabs stays";
}

} // namespace
} // namespace qorn::testing
