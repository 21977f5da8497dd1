#include "SetupPage.h"

#include "HeroBanner.h"
#include "StoredSettings.h"
#include "WidgetFinder.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStandardItemModel>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::answerNextDialog;
using qorn::testing::findButton;

const UiDiscoveredDevice kUnit1{QStringLiteral("ftdi://SIM00001"),
                                QStringLiteral("Four-input TDC, serial SIM00001"),
                                QStringLiteral("SIM00001  QORN TDC simulator")};
const UiDiscoveredDevice kUnit2{QStringLiteral("FTDI://SIM00002"),
                                QStringLiteral("Four-input TDC, serial SIM00002"),
                                QStringLiteral("SIM00002  QORN TDC simulator")};
const UiDiscoveredDevice kSerialPort{QStringLiteral("serial:///dev/ttyUSB0"), QStringLiteral("Bench unit"),
                                     QStringLiteral("Bench unit")};

// The page and its controls, found by what stands on them.
struct Stage {
    QAbstractButton* button(const char* text) const { return findButton(page, QString::fromUtf8(text)); }
    QString status() const {
        for (const QLabel* label : page.findChildren<QLabel*>(QStringLiteral("Muted"))) {
            if (label->text() != QStringLiteral("Scanning...")) {
                return label->text();
            }
        }
        return QString();
    }
    QLabel* scanning() const {
        for (QLabel* label : page.findChildren<QLabel*>()) {
            if (label->text() == QStringLiteral("Scanning...")) {
                return label;
            }
        }
        return nullptr;
    }
    void showDevices() {
        page.setDevices({kUnit1, kUnit2}, QStringLiteral("Found 2 customer USB device(s)."));
    }

    SetupPage page;
    QComboBox* box = page.findChild<QComboBox*>();
    QLineEdit* name = page.findChild<QLineEdit*>();
    QAbstractButton* upload = button("Upload saved calibration on connect");
    QAbstractButton* refresh = button("Refresh");
    QAbstractButton* connectButton = button("Connect");
    QAbstractButton* usbReset = button("USB reset selected");
    QAbstractButton* relay = button("Connect relay...");
    QAbstractButton* save = button("Save name");
    QSignalSpy refreshes{&page, &SetupPage::refreshRequested};
    QSignalSpy connects{&page, &SetupPage::connectRequested};
    QSignalSpy relays{&page, &SetupPage::relayConnectRequested};
    QSignalSpy resets{&page, &SetupPage::usbCycleRequested};
};

TEST(SetupPage, HasItsControlsWithTheirTextsAndNames) {
    const Stage stage;
    const auto* title = stage.page.findChild<QLabel*>(QStringLiteral("PageTitle"));
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->text(), QStringLiteral("Intro screen"));
    EXPECT_EQ(stage.name->placeholderText(), QStringLiteral("Optional name for this unit"));
    EXPECT_EQ(stage.refresh->objectName(), QStringLiteral("IntroActionButton"));
    EXPECT_EQ(stage.connectButton->objectName(), QStringLiteral("PrimaryButton"));
    EXPECT_EQ(
        stage.usbReset->toolTip(),
        QStringLiteral("Recovery action: disconnect/reconnect the selected FTDI USB device. Close other "
                       "GUI/script sessions using that device first."));
    EXPECT_EQ(stage.upload->toolTip(),
              QStringLiteral(
                  "When checked, the GUI loads the saved per-device calibration file and uploads its LUTs "
                  "and offsets to the FPGA after connecting. If no file exists, the device opens "
                  "immediately and shows a calibration warning."));
    ASSERT_NE(stage.relay, nullptr);
    ASSERT_NE(stage.button("Advanced setup..."), nullptr);
    ASSERT_NE(stage.page.findChild<HeroBanner*>(), nullptr);
    EXPECT_EQ(stage.page.findChild<QLabel*>(QStringLiteral("HeroTitle"))->text(),
              QStringLiteral("qorn.timing"));
}

TEST(SetupPage, BannerShowsTheVersionWhenTheApplicationHasOne) {
    const auto subtitle = [] {
        return SetupPage().findChild<QLabel*>(QStringLiteral("HeroSubtitle"))->text();
    };
    const QString before = QCoreApplication::applicationVersion();
    QCoreApplication::setApplicationVersion(QStringLiteral("0.3.0"));
    EXPECT_EQ(subtitle(),
              QStringLiteral("Counting, coincidences, and live time-tag correlation - Version 0.3.0"));
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_EQ(subtitle(), QStringLiteral("Counting, coincidences, and live time-tag correlation"));
    QCoreApplication::setApplicationVersion(before);
}

TEST(SetupPage, SaysThatNoScanHasRunAndOnceShownThatItIsReady) {
    Stage stage;
    EXPECT_EQ(stage.status(), QStringLiteral("No scan has run yet"));
    stage.page.show();
    EXPECT_EQ(stage.status(), QStringLiteral("Ready to scan."));
    stage.page.setStatus(QStringLiteral("Device closed."));
    stage.page.hide();
    stage.page.show();
    EXPECT_EQ(stage.status(), QStringLiteral("Device closed."));
}

TEST(SetupPage, ListsUsbDevicesAndSelectsTheFirst) {
    Stage stage;
    stage.page.setDevices({kSerialPort, kUnit1, kUnit2}, QStringLiteral("Found 2 customer USB device(s)."));
    ASSERT_EQ(stage.box->count(), 2);
    EXPECT_EQ(stage.box->itemText(0), kUnit1.label);
    EXPECT_EQ(stage.box->itemData(0, Qt::UserRole).toString(), kUnit1.port);
    EXPECT_EQ(stage.box->itemData(0, Qt::UserRole + 1).toString(),
              QStringLiteral("setup/deviceNames/SIM00001"));
    EXPECT_EQ(stage.page.selectedPort(), kUnit1.port);
    EXPECT_EQ(stage.status(), QStringLiteral("Found 2 customer USB device(s)."));
    for (const QWidget* control :
         {static_cast<QWidget*>(stage.box), static_cast<QWidget*>(stage.connectButton),
          static_cast<QWidget*>(stage.usbReset), static_cast<QWidget*>(stage.refresh),
          static_cast<QWidget*>(stage.relay), static_cast<QWidget*>(stage.name),
          static_cast<QWidget*>(stage.save)}) {
        EXPECT_TRUE(control->isEnabled());
    }
}

TEST(SetupPage, SelectsTheDeviceThatWasConnectedLastWhateverTheCase) {
    Stage stage;
    stage.page.rememberConnectedPort(QStringLiteral(" ftdi://sim00002 "));
    stage.showDevices();
    EXPECT_EQ(stage.page.selectedPort(), kUnit2.port);
    stage.page.rememberConnectedPort(QStringLiteral("ftdi://gone"));
    stage.showDevices();
    EXPECT_EQ(stage.page.selectedPort(), kUnit1.port);
}

TEST(SetupPage, AScanThatFindsOnlyOtherPortsShowsThatNoUsbDeviceIsThereAndKeepsTheMessage) {
    Stage stage;
    stage.showDevices();
    stage.page.setScanning();
    stage.page.setDevices({kSerialPort}, QStringLiteral("Found something else."));
    ASSERT_EQ(stage.box->count(), 1);
    EXPECT_EQ(stage.box->itemText(0), QStringLiteral("No customer USB device detected"));
    EXPECT_FALSE(qobject_cast<QStandardItemModel*>(stage.box->model())->item(0)->isEnabled());
    EXPECT_FALSE(stage.box->isEnabled());
    EXPECT_FALSE(stage.connectButton->isEnabled());
    EXPECT_FALSE(stage.usbReset->isEnabled());
    EXPECT_FALSE(stage.name->isEnabled());
    EXPECT_FALSE(stage.save->isEnabled());
    EXPECT_TRUE(stage.refresh->isEnabled());
    EXPECT_TRUE(stage.relay->isEnabled());
    EXPECT_EQ(stage.status(), QStringLiteral("Found something else."));
    EXPECT_TRUE(stage.page.selectedPort().isEmpty());
    EXPECT_TRUE(stage.page.selectedDeviceNameKey().isEmpty());
}

TEST(SetupPage, ScanningDisablesTheActionsUntilTheDevicesCome) {
    Stage stage;
    stage.showDevices();
    stage.page.show();
    stage.page.setScanning();
    EXPECT_EQ(stage.status(), QStringLiteral("Scanning connected devices..."));
    EXPECT_TRUE(stage.scanning()->isVisible());
    EXPECT_NEAR(stage.scanning()->geometry().center().y(), stage.refresh->geometry().center().y(), 2);
    for (const QWidget* control :
         {static_cast<QWidget*>(stage.box), static_cast<QWidget*>(stage.connectButton),
          static_cast<QWidget*>(stage.usbReset), static_cast<QWidget*>(stage.refresh),
          static_cast<QWidget*>(stage.relay)}) {
        EXPECT_FALSE(control->isEnabled());
    }
    stage.showDevices();
    EXPECT_FALSE(stage.scanning()->isVisible());
    EXPECT_TRUE(stage.connectButton->isEnabled());
}

TEST(SetupPage, TheKeyboardFocusComesBackAfterAScan) {
    Stage stage;
    stage.page.show();
    stage.showDevices();
    stage.refresh->setFocus();
    stage.page.setScanning();
    EXPECT_NE(stage.page.focusWidget(), stage.refresh);
    stage.showDevices();
    EXPECT_EQ(stage.page.focusWidget(), stage.refresh);
}

TEST(SetupPage, TheKeyboardFocusIsNotTakenFromWhereTheOperatorPutItDuringAScan) {
    Stage stage;
    stage.page.show();
    stage.showDevices();
    stage.refresh->setFocus();
    stage.page.setScanning();
    auto* advanced = stage.button("Advanced setup...");
    auto* other = stage.page.focusWidget() == advanced ? stage.upload : advanced;
    other->setFocus();
    stage.showDevices();
    EXPECT_EQ(stage.page.focusWidget(), other);
}

TEST(SetupPage, RefreshAsksForAScan) {
    Stage stage;
    stage.refresh->click();
    EXPECT_EQ(stage.refreshes.count(), 1);
}

TEST(SetupPage, ConnectAsksForTheSelectedPort) {
    Stage stage;
    stage.showDevices();
    stage.box->setCurrentIndex(1);
    stage.connectButton->click();
    ASSERT_EQ(stage.connects.count(), 1);
    EXPECT_EQ(stage.connects[0][0].toString(), kUnit2.port);
    EXPECT_EQ(stage.status(), QStringLiteral("Connecting to selected device..."));
}

TEST(SetupPage, WithoutADeviceConnectAndResetOnlySaySo) {
    Stage stage;
    ASSERT_TRUE(QMetaObject::invokeMethod(&stage.page, "onConnect"));
    EXPECT_EQ(stage.status(), QStringLiteral("Select a detected device first."));
    ASSERT_TRUE(QMetaObject::invokeMethod(&stage.page, "onUsbCycle"));
    EXPECT_EQ(stage.status(), QStringLiteral("Select a detected customer USB device first."));
    EXPECT_EQ(stage.connects.count() + stage.resets.count(), 0);
}

TEST(SetupPage, AResetAsksForTheSelectedPortAndReportsItsEnd) {
    struct Row {
        bool ok;
        const char* message;
        const char* status;
    };
    for (const Row& row :
         {Row{true, "", "USB reset completed."}, Row{false, "", "USB reset failed."},
          Row{true, "Unit is back.", "Unit is back."}, Row{false, "No access.", "No access."}}) {
        Stage stage;
        stage.showDevices();
        stage.usbReset->click();
        ASSERT_EQ(stage.resets.count(), 1);
        EXPECT_EQ(stage.resets[0][0].toString(), kUnit1.port);
        stage.page.setUsbCycleStarted();
        EXPECT_EQ(stage.status(), QStringLiteral("Resetting selected USB device..."));
        EXPECT_FALSE(stage.box->isEnabled() || stage.connectButton->isEnabled() ||
                     stage.usbReset->isEnabled() || stage.refresh->isEnabled() || stage.relay->isEnabled());
        stage.page.setUsbCycleFinished(row.ok, QString::fromLatin1(row.message));
        EXPECT_EQ(stage.status(), QLatin1String(row.status));
        EXPECT_TRUE(stage.box->isEnabled() && stage.connectButton->isEnabled() &&
                    stage.usbReset->isEnabled() && stage.refresh->isEnabled() && stage.relay->isEnabled());
    }
}

TEST(SetupPage, AfterAResetFailureTheLastSelectedDeviceStaysSelected) {
    Stage stage;
    stage.showDevices();
    stage.box->setCurrentIndex(1);
    stage.page.setUsbCycleStarted();
    stage.page.setUsbCycleFinished(false, QString());
    EXPECT_EQ(stage.page.selectedPort(), kUnit2.port);
}

TEST(SetupPage, AResetThatEndsWithoutDevicesLeavesOnlyRefreshAndRelay) {
    Stage stage;
    stage.page.setDevices({}, QString());
    stage.page.setUsbCycleStarted();
    stage.page.setUsbCycleFinished(false, QString());
    EXPECT_FALSE(stage.box->isEnabled() || stage.connectButton->isEnabled() || stage.usbReset->isEnabled());
    EXPECT_TRUE(stage.refresh->isEnabled() && stage.relay->isEnabled());
}

TEST(SetupPage, ASavedNameStandsBeforeTheDeviceAndComesBackWithTheNextScan) {
    Stage stage;
    stage.showDevices();
    stage.name->setText(QStringLiteral("  Left table "));
    stage.save->click();
    EXPECT_EQ(stage.status(), QStringLiteral("Device name saved."));
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("setup/deviceNames/SIM00001")).toString(),
              QStringLiteral("Left table"));
    EXPECT_EQ(stage.box->itemText(0), QStringLiteral("Left table  (SIM00001  QORN TDC simulator)"));
    EXPECT_EQ(stage.box->itemText(1), kUnit2.label);
    stage.showDevices();
    EXPECT_EQ(stage.box->itemText(0), QStringLiteral("Left table  (SIM00001  QORN TDC simulator)"));
    EXPECT_EQ(stage.name->text(), QStringLiteral("Left table"));
}

TEST(SetupPage, AnEmptyNameIsClearedFromTheStore) {
    testing::storedSettings().setValue(QStringLiteral("setup/deviceNames/SIM00001"),
                                       QStringLiteral("Old name"));
    Stage stage;
    stage.showDevices();
    EXPECT_EQ(stage.name->text(), QStringLiteral("Old name"));
    stage.name->setText(QStringLiteral("   "));
    stage.save->click();
    EXPECT_EQ(stage.status(), QStringLiteral("Device name cleared."));
    EXPECT_FALSE(testing::storedSettings().contains(QStringLiteral("setup/deviceNames/SIM00001")));
    EXPECT_EQ(stage.box->itemText(0), kUnit1.label);
}

TEST(SetupPage, TheNameEditorFollowsTheSelection) {
    testing::storedSettings().setValue(QStringLiteral("setup/deviceNames/SIM00002"),
                                       QStringLiteral("Right table"));
    Stage stage;
    EXPECT_FALSE(stage.name->isEnabled());
    stage.showDevices();
    EXPECT_EQ(stage.name->text(), QString());
    stage.box->setCurrentIndex(1);
    EXPECT_EQ(stage.name->text(), QStringLiteral("Right table"));
    EXPECT_EQ(stage.page.selectedDeviceNameKey(), QStringLiteral("setup/deviceNames/SIM00002"));
}

TEST(SetupPage, ADeviceWithoutSerialHasItsNameUnderItsPortsKey) {
    Stage stage;
    stage.page.setDevices(
        {{QStringLiteral("ftdi://bus/1:2"), QStringLiteral("Bare unit"), QStringLiteral("Bare unit")}},
        QString());
    stage.name->setText(QStringLiteral("Mine"));
    stage.save->click();
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("setup/deviceNames/ftdi_bus_1_2")).toString(),
              QStringLiteral("Mine"));
    EXPECT_EQ(stage.box->itemText(0), QStringLiteral("Mine  (Bare unit)"));
}

TEST(SetupPage, ASerialWithTwoBlanksGivesAKeyWithOneUnderscore) {
    Stage stage;
    stage.page.setDevices(
        {{QStringLiteral("ftdi://AB  12"), QStringLiteral("TDC"), QStringLiteral("AB  12  QORN TDC")}},
        QString());
    EXPECT_EQ(stage.page.selectedDeviceNameKey(), QStringLiteral("setup/deviceNames/AB_12"));
}

TEST(SetupPage, TheCalibrationChoiceIsReadFromTheStoreAndTheOlderKeyCountsOnlyWithoutTheNewer) {
    struct Row {
        std::optional<bool> upload;
        std::optional<bool> skip;
        bool checked;
    };
    for (const Row& row :
         {Row{{}, {}, true}, Row{true, {}, true}, Row{false, {}, false}, Row{{}, true, false},
          Row{{}, false, true}, Row{true, true, true}, Row{false, false, false}}) {
        testing::storedSettings().clear();
        if (row.upload.has_value()) {
            testing::storedSettings().setValue(QStringLiteral("setup/uploadCalibrationOnConnect"),
                                               *row.upload);
        }
        if (row.skip.has_value()) {
            testing::storedSettings().setValue(QStringLiteral("setup/skipCalibrationOnConnect"), *row.skip);
        }
        const Stage stage;
        EXPECT_EQ(stage.upload->isChecked(), row.checked);
        EXPECT_EQ(stage.page.skipCalibrationOnConnect(), !row.checked);
    }
}

TEST(SetupPage, TheCalibrationChoiceIsStoredWhenItChanges) {
    const Stage stage;
    stage.upload->click();
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("setup/uploadCalibrationOnConnect")),
              QVariant(QStringLiteral("false")));
    EXPECT_TRUE(stage.page.skipCalibrationOnConnect());
}

TEST(SetupPage, ARelayThatIsChosenIsStoredAndAskedFor) {
    Stage stage;
    answerNextDialog([](QWidget& dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Connect network relay"));
        dialog.findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly)
            ->setText(QStringLiteral(" lab-host "));
        const auto ports = dialog.findChildren<QSpinBox*>();
        EXPECT_EQ(ports[0]->value(), 7355);
        EXPECT_EQ(ports[1]->value(), 7356);
        ports[0]->setValue(9000);
        ports[1]->setValue(9001);
        findButton(dialog, QStringLiteral("Connect"))->click();
    });
    stage.relay->click();
    ASSERT_EQ(stage.relays.count(), 1);
    EXPECT_EQ(stage.relays[0][0].toString(), QStringLiteral("lab-host"));
    EXPECT_EQ(stage.relays[0][1].toInt(), 9000);
    EXPECT_EQ(stage.relays[0][2].toInt(), 9001);
    EXPECT_EQ(stage.status(), QStringLiteral("Connecting to network relay..."));
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("relay/lastHost")).toString(),
              QStringLiteral("lab-host"));
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("relay/streamPort")).toInt(), 9000);
    EXPECT_EQ(testing::storedSettings().value(QStringLiteral("relay/statusPort")).toInt(), 9001);

    answerNextDialog([](QWidget& dialog) {
        EXPECT_EQ(dialog.findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly)->text(),
                  QStringLiteral("lab-host"));
        EXPECT_EQ(dialog.findChildren<QSpinBox*>()[0]->value(), 9000);
        static_cast<QDialog&>(dialog).reject();
    });
    stage.relay->click();
    EXPECT_EQ(stage.relays.count(), 1);
}

TEST(SetupPage, ARelayWithoutAHostIsRefusedAndNotStored) {
    Stage stage;
    answerNextDialog([](QWidget& dialog) {
        dialog.findChild<QLineEdit*>(QString(), Qt::FindDirectChildrenOnly)->setText(QStringLiteral("   "));
        findButton(dialog, QStringLiteral("Connect"))->click();
    });
    stage.relay->click();
    EXPECT_EQ(stage.status(), QStringLiteral("Enter a relay host name or IP address."));
    EXPECT_EQ(stage.relays.count(), 0);
    EXPECT_TRUE(testing::storedSettings().allKeys().isEmpty());
}

TEST(SetupPage, StoredRelayPortsThatAreNoPortsGiveTheUsualOnes) {
    for (const char* stored : {"0", "-1", "65536", "nonsense", ""}) {
        testing::storedSettings().setValue(QStringLiteral("relay/streamPort"), QString::fromLatin1(stored));
        Stage stage;
        int shown = 0;
        answerNextDialog([&shown](QWidget& dialog) {
            shown = dialog.findChildren<QSpinBox*>()[0]->value();
            static_cast<QDialog&>(dialog).reject();
        });
        stage.relay->click();
        EXPECT_EQ(shown, 7355) << stored;
    }
}

TEST(SetupPage, AdvancedSetupOpensItsPreview) {
    Stage stage;
    QString title;
    answerNextDialog([&title](QWidget& dialog) {
        title = dialog.windowTitle();
        static_cast<QDialog&>(dialog).reject();
    });
    stage.button("Advanced setup...")->click();
    EXPECT_EQ(title, QStringLiteral("Advanced setup"));
    EXPECT_TRUE(testing::storedSettings().allKeys().isEmpty());
}

TEST(SetupPage, ThePageMayGoWhileItsDialogIsOpen) {
    auto stage = std::make_unique<Stage>();
    answerNextDialog([&stage](QWidget&) { stage.reset(); });
    stage->relay->click();
    EXPECT_EQ(stage, nullptr);
}

TEST(SetupPage, EnterConnectsSavesANameInItsEditorAndPressesAFocusedButton) {
    Stage stage;
    stage.page.show();
    stage.showDevices();
    stage.box->setFocus();
    QTest::keyClick(stage.box, Qt::Key_Return);
    EXPECT_EQ(stage.connects.count(), 1);
    stage.upload->setFocus();
    QTest::keyClick(stage.upload, Qt::Key_Enter);
    EXPECT_EQ(stage.connects.count(), 2);

    stage.name->setFocus();
    QTest::keyClicks(stage.name, QStringLiteral("Desk"));
    QTest::keyClick(stage.name, Qt::Key_Return);
    EXPECT_EQ(stage.status(), QStringLiteral("Device name saved."));
    stage.refresh->setFocus();
    QTest::keyClick(stage.refresh, Qt::Key_Return);
    EXPECT_EQ(stage.refreshes.count(), 1);
    EXPECT_EQ(stage.connects.count(), 2);
}

TEST(SetupPage, EnterDoesNothingDuringAScan) {
    Stage stage;
    stage.page.show();
    stage.showDevices();
    stage.upload->setFocus();
    stage.page.setScanning();
    QTest::keyClick(stage.upload, Qt::Key_Return);
    EXPECT_EQ(stage.connects.count(), 0);
    EXPECT_EQ(stage.status(), QStringLiteral("Scanning connected devices..."));
}

TEST(SetupPage, TheTabKeyWalksTheControlsInReadingOrder) {
    Stage stage;
    stage.page.show();
    QApplication::setActiveWindow(&stage.page);
    stage.showDevices();
    stage.box->setFocus();
    const QList<QWidget*> expected{
        stage.name,     stage.save,   stage.refresh, stage.connectButton,
        stage.usbReset, stage.upload, stage.relay,   stage.button("Advanced setup...")};
    for (QWidget* next : expected) {
        QTest::keyClick(stage.page.focusWidget(), Qt::Key_Tab);
        EXPECT_EQ(stage.page.focusWidget(), next) << next->metaObject()->className();
    }
}

TEST(SetupPage, FitsTheSmallestWindowAndStaysCentredInALargeOne) {
    Stage stage;
    stage.showDevices();
    stage.page.show();
    for (const QSize size : {QSize(900, 560), QSize(1220, 720), QSize(2560, 1400)}) {
        stage.page.resize(size);
        QCoreApplication::sendPostedEvents();
        const auto* scroll = stage.page.findChild<QScrollArea*>();
        EXPECT_EQ(scroll->verticalScrollBar()->maximum(), 0) << size.width();
        EXPECT_EQ(scroll->horizontalScrollBar()->maximum(), 0) << size.width();
        const auto* card = stage.page.findChild<QFrame*>(QStringLiteral("Card"));
        const QPoint middle = card->mapTo(&stage.page, card->rect().center());
        EXPECT_NEAR(middle.x(), size.width() / 2.0, 2);
        EXPECT_LE(card->width(), 720);
        EXPECT_GE(card->width(), 600);
    }
}

TEST(SetupPage, ALongDeviceNameAndALongMessageDoNotWidenThePage) {
    Stage stage;
    const QString longText = QString(300, QLatin1Char('x'));
    stage.page.resize(900, 560);
    stage.page.show();
    stage.page.setDevices({{QStringLiteral("ftdi://x"), QString(), longText}},
                          QString(longText).replace(QStringLiteral("xxxxx"), QStringLiteral("xx <b> ")));
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(stage.page.findChild<QScrollArea*>()->horizontalScrollBar()->maximum(), 0);
    EXPECT_LE(stage.page.minimumSizeHint().width(), 900);
}

} // namespace
} // namespace qorn::timetagger::gui
