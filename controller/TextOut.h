// Texts that an operation hands back through a pointer that may be null.
#pragma once

#include <QString>

namespace qorn::timetagger::gui {

inline void setText(QString* target, const QString& text) {
    if (target != nullptr) {
        *target = text;
    }
}

} // namespace qorn::timetagger::gui
