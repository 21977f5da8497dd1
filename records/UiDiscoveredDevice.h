// One line of the device list.
#pragma once

#include <QString>

namespace qorn::timetagger::gui {

struct UiDiscoveredDevice {
    QString port;   // the name to open
    QString detail; // trimmed description of the identity
    QString label;  // text for the list
};

} // namespace qorn::timetagger::gui
