// The jobs on attached instruments that need no open device: discovery and USB reset. Free functions that may
// block; run on a pool thread.
#pragma once

#include "UiDiscoveredDevice.h"

#include <QList>
#include <QString>

namespace qorn::timetagger::gui {

struct DiscoveryResult {
    QList<UiDiscoveredDevice> devices;
    QString message; // what to tell the operator; after a failure its text
};

struct UsbCycleResult {
    bool ok = false;
    QString message; // the driver's summary, or a plain text for an empty one
};

// Lists attached instruments; `checkEeprom` makes sure of the USB chip's mode first. Never throws.
DiscoveryResult discoverAttachedDevices(bool checkEeprom);

// Cycles the USB device behind the port. Never throws.
UsbCycleResult cycleUsbDeviceAt(const QString& port);

} // namespace qorn::timetagger::gui
