// One event as the GUI sees it.
#pragma once

#include <QList>
#include <QtGlobal>

namespace qorn::timetagger::gui {

struct UiTimeTag {
    quint8 channel = 0; // input 0 to 3
    qint64 timePs = 0;  // picoseconds on the instrument's time axis
};

// Tags in stream order; shared, not copied, on its way through the window.
using UiTimeTagBatch = QList<UiTimeTag>;

} // namespace qorn::timetagger::gui

Q_DECLARE_TYPEINFO(qorn::timetagger::gui::UiTimeTag, Q_RELOCATABLE_TYPE);
