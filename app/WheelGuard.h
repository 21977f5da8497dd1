// Keeps the mouse wheel from changing a setting: over a spin box, combo box, slider or dial nothing moves at
// all, neither the control nor the panel around it. Scroll bars of scroll areas scroll as ever.
//
// Owned by the application object and installed on it, so that it sees every event. GUI thread, no state.
#pragma once

#include <QObject>

namespace qorn::timetagger::gui {

class WheelGuard : public QObject {
    Q_OBJECT
public:
    explicit WheelGuard(QObject* parent = nullptr);

    // Takes a wheel event away, not accepted, when it is meant for a guarded control or happens above one.
    bool eventFilter(QObject* object, QEvent* event) override;
};

} // namespace qorn::timetagger::gui
