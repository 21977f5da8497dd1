// Tells the key of a control that a window-wide shortcut triggers: after the control's tool tip when it is
// shown, and to screen readers. The tool tip itself keeps its text. GUI thread only.
#pragma once

class QKeySequence;
class QWidget;

namespace qorn::timetagger::gui {

// Holds for the life of the control, whatever tool tip it gets.
void showKeyInToolTip(QWidget& control, const QKeySequence& key);

} // namespace qorn::timetagger::gui
