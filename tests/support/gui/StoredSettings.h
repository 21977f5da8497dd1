// The settings as they stand in the file, with all that the program has changed so far.
#pragma once

#include "SettingsStore.h"

#include <QSettings>

namespace qorn::testing {

inline QSettings storedSettings() {
    timetagger::gui::SettingsStore::instance().finish();
    return QSettings();
}

} // namespace qorn::testing
