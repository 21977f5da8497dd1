// Under which key the operator's name of a unit is stored. Pure functions, any thread.
#pragma once

#include "UiDiscoveredDevice.h"

#include <QString>

namespace qorn::timetagger::gui {

// The serial that a device's label starts with, trimmed; empty for a device without one. A label with a
// serial reads serial, two blanks, vendor and product; without one it is the description or the bare name.
QString deviceSerial(const UiDiscoveredDevice& device);

// The settings key of the device's name: made of its serial, or of its port when it has no serial, with all
// but letters and digits turned to single underscores.
QString deviceNameKey(const UiDiscoveredDevice& device);

} // namespace qorn::timetagger::gui
