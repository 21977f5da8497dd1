#include "UsbTasks.h"

#include "Driver.h"
#include "ScriptedDriver.h"

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::makeIdentity;
using qorn::testing::ScopedDriver;

struct Listed {
    std::optional<std::string> port;
    std::optional<tt_identity> identity;
};

class Discovery : public ::testing::Test {
protected:
    void attach(std::vector<Listed> devices) {
        driver->change([&](auto& script) {
            script.devices.clear();
            for (Listed& device : devices) {
                script.devices.push_back({device.port, device.identity});
            }
        });
    }
    ScopedDriver driver;
};

TEST_F(Discovery, LabelsAreMadeOfSerialAndName) {
    struct Row {
        const char* vendor;
        const char* product;
        const char* serial;
        const char* description;
        const char* label;
        const char* detail;
    };
    for (const Row& row : {
             Row{"QORN", "TDC", "SN1", "A device", "SN1  QORN TDC", "A device"},
             Row{" QORN ", " TDC ", " SN1 ", "  A device ", "SN1  QORN TDC", "A device"},
             Row{"QORN", "", "SN1", "", "SN1  QORN", ""},
             Row{"", "TDC", "SN1", "", "SN1  TDC", ""},
             Row{"", "", "SN1", "A device", "SN1  QORN timing", "A device"},
             Row{"QORN", "TDC", "", "A device", "A device", "A device"},
             Row{"QORN", "TDC", "  ", "A device", "A device", "A device"},
             Row{"QORN", "TDC", "", "  ", "QORN TDC", ""},
             Row{"", "", "", "", "QORN timing", ""},
         }) {
        attach({{"ftdi://1", makeIdentity(row.vendor, row.product, row.serial, row.description)}});
        const DiscoveryResult result = discoverAttachedDevices(false);
        ASSERT_EQ(result.devices.size(), 1);
        EXPECT_EQ(result.devices[0].label.toStdString(), row.label);
        EXPECT_EQ(result.devices[0].detail.toStdString(), row.detail);
    }
}

TEST_F(Discovery, ThePortIsUnchanged) {
    attach({{" ftdi://1 ", std::nullopt}, {std::nullopt, std::nullopt}});
    const DiscoveryResult result = discoverAttachedDevices(false);
    ASSERT_EQ(result.devices.size(), 2);
    EXPECT_EQ(result.devices[0].port, QStringLiteral(" ftdi://1 "));
    EXPECT_EQ(result.devices[1].port, QString());
    EXPECT_EQ(result.devices[1].label, QStringLiteral("QORN timing"));
}

TEST_F(Discovery, CountsThePortsOfUsbDevices) {
    struct Row {
        std::vector<const char*> ports;
        const char* message;
    };
    for (const Row& row : {
             Row{{}, "No customer USB device was detected."},
             Row{{"/dev/ttyUSB0"}, "No customer USB device was detected."},
             Row{{"FTDI://1", "xftdi://1", " ftdi://1"}, "No customer USB device was detected."},
             Row{{"ftdi://1"}, "Found 1 customer USB device(s)."},
             Row{{"ftdi://1", "/dev/ttyUSB0", "ftdi://"}, "Found 2 customer USB device(s)."},
         }) {
        std::vector<Listed> devices;
        for (const char* port : row.ports) {
            devices.push_back({port, std::nullopt});
        }
        attach(devices);
        const DiscoveryResult result = discoverAttachedDevices(false);
        EXPECT_EQ(result.message.toStdString(), row.message);
        EXPECT_EQ(result.devices.size(), static_cast<qsizetype>(row.ports.size()));
    }
}

TEST_F(Discovery, TheEepromIsCheckedFirstAndOnlyWhenAsked) {
    discoverAttachedDevices(false);
    EXPECT_EQ(driver->count("ensure_ftdi_fifo_eeprom_summary"), 0);
    driver->clearLog();
    discoverAttachedDevices(true);
    const auto calls = driver->calls();
    ASSERT_GE(calls.size(), 2U);
    EXPECT_EQ(calls[0], "ensure_ftdi_fifo_eeprom_summary()");
    EXPECT_EQ(calls[1], "tt_discover()");
}

TEST_F(Discovery, TheEepromSummaryIsANoteWhenTheCheckYieldsTrue) {
    struct Row {
        bool result;
        std::string summary;
        std::string message;
    };
    const std::string plain = "No customer USB device was detected.";
    for (const Row& row : {
             Row{true, "EEPROM set.", "EEPROM set. " + plain},
             Row{true, std::string("EEPROM set.\0behind", 18), "EEPROM set. " + plain},
             Row{false, "EEPROM set.", plain},
             Row{true, std::string(512, 'e'), std::string(512, 'e') + " " + plain}, // no NUL
             Row{true, "Gerät", "Gerät " + plain},
         }) {
        driver->change([&](auto& script) {
            script.eepromResult = row.result;
            script.eepromSummary = row.summary;
        });
        EXPECT_EQ(discoverAttachedDevices(true).message.toStdString(), row.message);
    }
}

TEST_F(Discovery, AFailureIsTheMessage) {
    driver->fail("tt_discover", -1);
    const DiscoveryResult result = discoverAttachedDevices(true);
    EXPECT_TRUE(result.devices.isEmpty());
    EXPECT_EQ(result.message, QStringLiteral("discover: general failure"));
}

// The program has the simulated instrument beside it, as the application does.
TEST(SimulatedDiscovery, TheNoteSaysThatTheDriverWasNotFound) {
    const timing::DriverTable* const earlier = timing::exchange_driver(nullptr);
    const DiscoveryResult result = discoverAttachedDevices(false);
    const bool simulated = timing::driver_is_simulated();
    timing::exchange_driver(earlier);
    if (!simulated) {
        // A driver library is there; also when it was loaded before in this process, as the loader finds it
        // then.
        EXPECT_FALSE(result.message.contains(QLatin1String("was not found")));
        return;
    }
    EXPECT_EQ(result.message,
              QStringLiteral("The driver library libqorn_timing.so.0 was not found, so simulated "
                             "instruments are listed. Found 2 customer USB device(s)."));
    ASSERT_EQ(result.devices.size(), 2);
    EXPECT_EQ(result.devices[0].port, QStringLiteral("ftdi://SIM00001"));
    EXPECT_EQ(result.devices[0].label, QStringLiteral("SIM00001  QORN TDC simulator"));
    EXPECT_TRUE(result.devices[0].detail.startsWith(QStringLiteral("Simulated four-input TDC, serial ")));
    EXPECT_EQ(result.devices[1].port, QStringLiteral("ftdi://SIM00002"));
}

TEST(UsbCycle, TheSummaryOrAPlainTextIsTheMessage) {
    struct Row {
        bool ok;
        std::string summary;
        std::string message;
    };
    for (const Row& row : {
             Row{true, "", "USB reset completed."},
             Row{false, "", "USB reset failed."},
             Row{true, "Cycled port 3", "Cycled port 3"},
             Row{false, "No such port", "No such port"},
             Row{true, std::string("\0hidden", 7), "USB reset completed."},
             Row{true, std::string("a\0b", 3), "a"},
             Row{true, std::string(600, 'x'), std::string(512, 'x')},
         }) {
        ScopedDriver driver;
        driver->change([&](auto& script) {
            script.cycleResult = row.ok;
            script.cycleSummary = row.summary;
        });
        const UsbCycleResult result = cycleUsbDeviceAt(QStringLiteral("ftdi://Gerät"));
        EXPECT_EQ(result.ok, row.ok);
        EXPECT_EQ(result.message.toStdString(), row.message);
        EXPECT_EQ(driver->calls(), std::vector<std::string>{"cycle_ftdi_usb_device_summary(ftdi://Gerät)"});
    }
}

} // namespace
} // namespace qorn::timetagger::gui
