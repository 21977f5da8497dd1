// Tells the operator of a fault in a box that blocks the other windows, but has no event loop of its own:
// measurements go on behind it.
#pragma once

#include <QString>

class QWidget;

namespace qorn::timetagger::gui {

// The box belongs to `parent` and goes when it is closed.
void showWarning(QWidget* parent, const QString& title, const QString& text);

} // namespace qorn::timetagger::gui
