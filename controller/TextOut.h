// Texts that an operation hands back: through a pointer that may be null, and of its failure.
#pragma once

#include <QString>

#include <exception>

namespace qorn::timetagger::gui {

inline void setText(QString* target, const QString& text) {
    if (target != nullptr) {
        *target = text;
    }
}

inline QString textOf(const std::exception& failure) {
    return QString::fromUtf8(failure.what());
}

} // namespace qorn::timetagger::gui
