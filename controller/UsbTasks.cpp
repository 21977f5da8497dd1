#include "UsbTasks.h"

#include "Device.h"
#include "Driver.h"

#include <QCoreApplication>
#include <QStringList>

#include <array>
#include <cstring>
#include <exception>

namespace qorn::timetagger::gui {
namespace {

constexpr std::size_t kSummaryBytes = 512;
using SummaryBuffer = std::array<char, kSummaryBytes>;

QString summaryText(const SummaryBuffer& buffer) {
    return QString::fromUtf8(buffer.data(), static_cast<qsizetype>(strnlen(buffer.data(), buffer.size())));
}

QString tr(const char* text, int number = -1) {
    return QCoreApplication::translate("UsbTasks", text, nullptr, number);
}

QString trimmed(const std::string& text) {
    return QString::fromStdString(text).trimmed();
}

UiDiscoveredDevice toUi(const timing::DiscoveredDevice& found) {
    UiDiscoveredDevice device;
    device.port = QString::fromStdString(found.port);
    device.detail = trimmed(found.identity.description);
    const QString serial = trimmed(found.identity.serial);
    QString name =
        (trimmed(found.identity.vendor) + QLatin1Char(' ') + trimmed(found.identity.product)).trimmed();
    if (name.isEmpty()) {
        name = QStringLiteral("QORN timing");
    }
    if (!serial.isEmpty()) {
        device.label = serial + QLatin1String("  ") + name;
    } else {
        device.label = device.detail.isEmpty() ? name : device.detail;
    }
    return device;
}

QString countMessage(const QList<UiDiscoveredDevice>& devices) {
    int count = 0;
    for (const UiDiscoveredDevice& device : devices) {
        count += device.port.startsWith(QLatin1String("ftdi://")) ? 1 : 0;
    }
    return count == 0 ? tr("No customer USB device was detected.")
                      : tr("Found %n customer USB device(s).", count);
}

} // namespace

DiscoveryResult discoverAttachedDevices(bool checkEeprom) {
    DiscoveryResult result;
    QStringList notes;
    try {
        if (timing::driver_is_simulated()) {
            notes.append(tr("The driver library %1 was not found, so simulated instruments are listed.")
                             .arg(QLatin1String(timing::kDriverLibrary)));
        }
        if (checkEeprom) {
            SummaryBuffer buffer{};
            if (timing::driver().ensure_ftdi_fifo_eeprom_summary(buffer.data(), buffer.size())) {
                notes.append(summaryText(buffer));
            }
        }
        for (const timing::DiscoveredDevice& found : timing::Device::discover()) {
            result.devices.append(toUi(found));
        }
        notes.append(countMessage(result.devices));
        result.message = notes.join(QLatin1Char(' '));
    } catch (const std::exception& failure) {
        result.message = QString::fromUtf8(failure.what());
    }
    return result;
}

UsbCycleResult cycleUsbDeviceAt(const QString& port) {
    UsbCycleResult result;
    try {
        SummaryBuffer buffer{};
        result.ok = timing::driver().cycle_ftdi_usb_device_summary(port.toUtf8().constData(), buffer.data(),
                                                                   buffer.size());
        result.message = summaryText(buffer);
    } catch (const std::exception& failure) {
        result.message = QString::fromUtf8(failure.what());
    }
    if (result.message.isEmpty()) {
        result.message = result.ok ? tr("USB reset completed.") : tr("USB reset failed.");
    }
    return result;
}

} // namespace qorn::timetagger::gui
