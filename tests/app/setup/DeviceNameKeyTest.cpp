#include "DeviceNameKey.h"

#include <gtest/gtest.h>

#include <vector>

namespace qorn::timetagger::gui {
namespace {

struct Row {
    const char* port;
    const char* detail;
    const char* label;
    const char* serial;
    const char* key;
};

const std::vector<Row> kRows{
    {"ftdi://FTAO99YD", "Four-input TDC", "FTAO99YD  QORN TDC", "FTAO99YD", "setup/deviceNames/FTAO99YD"},
    {"ftdi://1", "", "SN-7/b  QORN timing", "SN-7/b", "setup/deviceNames/SN_7_b"},
    // A serial with two blanks of its own.
    {"ftdi://AB  12", "TDC", "AB  12  QORN TDC", "AB  12", "setup/deviceNames/AB_12"},
    {"ftdi://x", "TDC", "AB__12  QORN TDC", "AB__12", "setup/deviceNames/AB_12"},
    // Characters outside ASCII stay when they are letters or numbers.
    {"ftdi://x", "TDC", "Gerät-№5Ω  QORN TDC", "Gerät-№5Ω", "setup/deviceNames/Gerät_5Ω"},
    {"ftdi://x", "TDC", "𝛼½  QORN TDC", "𝛼½", "setup/deviceNames/𝛼½"},
    {"ftdi://x", "TDC", "---  QORN TDC", "---", "setup/deviceNames/_"},
    // No serial: the label is the description, or the name when there is none.
    {"ftdi://dev/0:1", "Evaluation unit", "Evaluation unit", "", "setup/deviceNames/ftdi_dev_0_1"},
    {"ftdi://a", "Unit  with two blanks", "Unit  with two blanks", "", "setup/deviceNames/ftdi_a"},
    {"serial:///dev/ttyUSB0", "", "QORN timing", "", "setup/deviceNames/serial_dev_ttyUSB0"},
    {"  ftdi://a ", "", "QORN timing", "", "setup/deviceNames/ftdi_a"},
    {"", "", "", "", "setup/deviceNames/unknown"},
    {"  ", "", "QORN timing", "", "setup/deviceNames/unknown"},
};

TEST(DeviceNameKey, IsMadeOfTheSerialOrElseOfThePort) {
    for (const Row& row : kRows) {
        const UiDiscoveredDevice device{QString::fromUtf8(row.port), QString::fromUtf8(row.detail),
                                        QString::fromUtf8(row.label)};
        EXPECT_EQ(deviceSerial(device).toStdString(), row.serial) << row.label;
        EXPECT_EQ(deviceNameKey(device).toStdString(), row.key) << row.label;
    }
}

} // namespace
} // namespace qorn::timetagger::gui
