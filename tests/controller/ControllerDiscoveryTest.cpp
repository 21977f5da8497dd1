// Scans for devices and USB resets.
#include "ControllerTest.h"

#include "Driver.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using namespace std::chrono_literals;
using test::Texts;

// Timers of the event loop may come a little early, and late on a busy machine.
constexpr auto kEarly = 20ms;
const char* const kNone = "No customer USB device was detected.";

class Scanning : public test::ControllerTest {
protected:
    std::chrono::steady_clock::duration between(const char* first, int firstNumber, const char* second,
                                                int secondNumber) const {
        return signalled->timeOf(second, secondNumber) - signalled->timeOf(first, firstNumber);
    }
    const QString port = QStringLiteral("ftdi://SN0001");
};

TEST_F(Scanning, AScanTellsItsBeginAndItsResult) {
    driver->change([](auto& script) {
        script.devices.push_back({"ftdi://A", qorn::testing::makeIdentity("QORN", "TDC", "A", " first ")});
        script.eepromResult = true;
        script.eepromSummary = "EEPROM set.";
    });
    controller->discoverDevices();
    EXPECT_EQ(signalled->texts(), Texts{"discoveryStarted()"});
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    EXPECT_EQ(
        signalled->texts(),
        (Texts{"discoveryStarted()", "devicesDiscovered(1, EEPROM set. Found 1 customer USB device(s).)"}));
    EXPECT_EQ(signalled->scans[0][0].label, QStringLiteral("A  QORN TDC"));
    EXPECT_EQ(signalled->scans[0][0].detail, QStringLiteral("first"));
    EXPECT_EQ(signalled->scans[0][0].port, QStringLiteral("ftdi://A"));
    for (const auto& call : driver->log()) {
        EXPECT_NE(call.thread, std::this_thread::get_id()) << call.text();
    }
}

TEST_F(Scanning, AFailedScanTellsItsText) {
    driver->fail("tt_discover", -1);
    controller->discoverDevices();
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    EXPECT_EQ(signalled->texts().back(), "devicesDiscovered(0, discover: general failure)");
}

TEST_F(Scanning, ScansAskedForDuringAScanAreOneMoreAfter250Milliseconds) {
    driver->hold("tt_discover");
    controller->discoverDevices();
    ASSERT_TRUE(driver->waitUntilHeld("tt_discover"));
    for (int request = 0; request < 5; ++request) {
        controller->discoverDevices();
    }
    EXPECT_EQ(signalled->count("discoveryStarted"), 1);
    driver->release("tt_discover");
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered", 2));
    EXPECT_EQ(signalled->count("discoveryStarted"), 2);
    EXPECT_GE(between("devicesDiscovered", 1, "discoveryStarted", 2), 250ms - kEarly);
    test::runFor(400ms);
    EXPECT_EQ(signalled->count("discoveryStarted"), 2);
    EXPECT_EQ(driver->count("tt_discover"), 2);
}

TEST_F(Scanning, AScanAfterAScanRunsAtOnce) {
    controller->discoverDevices();
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    // The pool may hold the finished task for an instant longer, which counts as running.
    controller->discoverDevices();
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered", 2));
    EXPECT_EQ(driver->count("ensure_ftdi_fifo_eeprom_summary"), 2);
}

TEST_F(Scanning, AScanWorksWhileADeviceIsOpen) {
    openDevice();
    controller->discoverDevices();
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    EXPECT_EQ(signalled->texts().back(), std::string("devicesDiscovered(0, ") + kNone + ")");
}

TEST_F(Scanning, DestroyingTheControllerWaitsForAScan) {
    driver->hold("tt_discover");
    controller->discoverDevices();
    ASSERT_TRUE(driver->waitUntilHeld("tt_discover"));
    std::thread releaser([&] { driver->release("tt_discover"); });
    controller.reset();
    releaser.join();
    EXPECT_EQ(driver->count("tt_discover_free"), 1);
}

TEST_F(Scanning, AResetIsFollowedByAScanAfter1500MillisecondsThatSkipsTheEeprom) {
    driver->change([](auto& script) { script.cycleSummary = "Cycled port 3"; });
    controller->cycleUsbDevice(QStringLiteral("  ftdi://SN0001 "));
    EXPECT_EQ(signalled->texts(), Texts{"usbCycleStarted()"});
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    EXPECT_EQ(signalled->texts(),
              (Texts{"usbCycleStarted()", "usbCycleFinished(1, Cycled port 3)", "discoveryStarted()",
                     std::string("devicesDiscovered(0, ") + kNone + ")"}));
    EXPECT_GE(between("usbCycleFinished", 1, "discoveryStarted", 1), 1500ms - kEarly);
    EXPECT_EQ(driver->callsOf("cycle_ftdi_usb_device_summary"),
              Texts{"cycle_ftdi_usb_device_summary(ftdi://SN0001)"});
    EXPECT_EQ(driver->count("ensure_ftdi_fifo_eeprom_summary"), 0);
    controller->discoverDevices(); // the next scan checks it again
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered", 2));
    EXPECT_EQ(driver->count("ensure_ftdi_fifo_eeprom_summary"), 1);
}

TEST_F(Scanning, AFailedResetIsToldAndNoScanFollows) {
    driver->change([](auto& script) { script.cycleResult = false; });
    controller->cycleUsbDevice(port);
    ASSERT_TRUE(signalled->waitFor("usbCycleFinished"));
    EXPECT_EQ(signalled->texts().back(), "usbCycleFinished(0, USB reset failed.)");
    test::runFor(400ms);
    EXPECT_EQ(signalled->count("discoveryStarted"), 0);
}

TEST_F(Scanning, AScanAskedForDuringAFailedResetComesAfter250Milliseconds) {
    driver->change([](auto& script) { script.cycleResult = false; });
    driver->hold("cycle_ftdi_usb_device_summary");
    controller->cycleUsbDevice(port);
    ASSERT_TRUE(driver->waitUntilHeld("cycle_ftdi_usb_device_summary"));
    controller->discoverDevices();
    controller->discoverDevices();
    EXPECT_EQ(signalled->count("discoveryStarted"), 0);
    driver->release("cycle_ftdi_usb_device_summary");
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered"));
    EXPECT_GE(between("usbCycleFinished", 1, "discoveryStarted", 1), 250ms - kEarly);
    EXPECT_LT(between("usbCycleFinished", 1, "discoveryStarted", 1), 1400ms);
    EXPECT_EQ(driver->count("ensure_ftdi_fifo_eeprom_summary"), 1);
    test::runFor(400ms);
    EXPECT_EQ(signalled->count("discoveryStarted"), 1);
}

TEST_F(Scanning, ASecondResetIsRefused) {
    driver->hold("cycle_ftdi_usb_device_summary");
    controller->cycleUsbDevice(port);
    ASSERT_TRUE(driver->waitUntilHeld("cycle_ftdi_usb_device_summary"));
    controller->cycleUsbDevice(port);
    EXPECT_EQ(signalled->texts(),
              (Texts{"usbCycleStarted()", "usbCycleFinished(0, A USB reset is already in progress.)"}));
    driver->change([](auto& script) { script.cycleResult = false; });
    driver->release("cycle_ftdi_usb_device_summary");
    ASSERT_TRUE(signalled->waitFor("usbCycleFinished", 2));
    EXPECT_EQ(driver->count("cycle_ftdi_usb_device_summary"), 1);
}

TEST_F(Scanning, AResetDuringAScanIsRefusedAndTheScanRepeated) {
    driver->hold("tt_discover");
    controller->discoverDevices();
    ASSERT_TRUE(driver->waitUntilHeld("tt_discover"));
    controller->cycleUsbDevice(port);
    EXPECT_EQ(signalled->textsOf("usbCycleFinished"),
              Texts{"usbCycleFinished(0, Wait for the current device scan to finish before resetting USB.)"});
    driver->release("tt_discover");
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered", 2));
    EXPECT_GE(between("devicesDiscovered", 1, "discoveryStarted", 2), 250ms - kEarly);
    EXPECT_EQ(driver->count("cycle_ftdi_usb_device_summary"), 0);
}

TEST_F(Scanning, AResetNeedsAClosedDeviceAndAPort) {
    for (const char* blank : {"", "  "}) {
        signalled->clear();
        controller->cycleUsbDevice(QString::fromLatin1(blank));
        EXPECT_EQ(signalled->texts(), Texts{"usbCycleFinished(0, Select a customer USB device first.)"});
    }
    openDevice();
    controller->cycleUsbDevice(QString()); // the open device is looked at first
    EXPECT_EQ(signalled->texts(),
              Texts{"usbCycleFinished(0, Close the current device before resetting a USB interface.)"});
    EXPECT_EQ(driver->count("cycle_ftdi_usb_device_summary"), 0);
}

TEST_F(Scanning, TheRunningScanIsLookedAtBeforeDeviceAndPort) {
    openDevice();
    driver->hold("tt_discover");
    controller->discoverDevices();
    ASSERT_TRUE(driver->waitUntilHeld("tt_discover"));
    controller->cycleUsbDevice(QString());
    EXPECT_EQ(signalled->textsOf("usbCycleFinished"),
              Texts{"usbCycleFinished(0, Wait for the current device scan to finish before resetting USB.)"});
    driver->release("tt_discover");
    ASSERT_TRUE(signalled->waitFor("devicesDiscovered", 2));
}

} // namespace
} // namespace qorn::timetagger::gui
