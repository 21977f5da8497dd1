// The colours of the four inputs' and the six pairs' traces, the same in all tabs.
#pragma once

#include <QColor>
#include <QList>

namespace qorn::timetagger::gui {

inline QList<QColor> channelColors() {
    return {QColor(0xd7, 0xba, 0x7d), QColor(0x9c, 0xdc, 0xfe), QColor(0xce, 0x91, 0x78),
            QColor(0xb5, 0xce, 0xa8)};
}

// In the order of kPairChannels.
inline QList<QColor> pairColors() {
    return {QColor(0x4f, 0xc1, 0xff), QColor(0xff, 0xb3, 0x47), QColor(0x7e, 0xd3, 0x8b),
            QColor(0xf0, 0x7a, 0x8c), QColor(0xb4, 0x8e, 0xf0), QColor(0x5f, 0xd0, 0xc8)};
}

} // namespace qorn::timetagger::gui
