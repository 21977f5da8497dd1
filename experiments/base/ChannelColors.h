// The colours of the four inputs' traces, the same in all tabs.
#pragma once

#include <QColor>
#include <QList>

namespace qorn::timetagger::gui {

inline QList<QColor> channelColors() {
    return {QColor(0xd7, 0xba, 0x7d), QColor(0x9c, 0xdc, 0xfe), QColor(0xce, 0x91, 0x78),
            QColor(0xb5, 0xce, 0xa8)};
}

} // namespace qorn::timetagger::gui
