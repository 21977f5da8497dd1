// Object names of controls: the key of the setting that a control shows.
#pragma once

#include <QString>

#include <cstddef>

namespace qorn::timetagger::gui {

// Name of one control of several that show an array: the array's key and a number from 1.
inline QString numberedName(const char* key, std::size_t index) {
    return QLatin1String(key) + QString::number(index + 1);
}

} // namespace qorn::timetagger::gui
