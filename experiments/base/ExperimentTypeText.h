// What the operator reads for a tab's type name, which itself stands in files and settings.
#pragma once

#include <QCoreApplication>
#include <QString>

namespace qorn::timetagger::gui {

inline QString experimentTypeText(const QString& type) {
    return QCoreApplication::translate("ExperimentType", type.toUtf8().constData());
}

} // namespace qorn::timetagger::gui
