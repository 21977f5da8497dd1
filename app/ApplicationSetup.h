// What every program that shows the window does to its application object first.
#pragma once

class QApplication;

namespace qorn::timetagger::gui {

// Memory arenas, style and its sweeper, names, icon, and the guard against settings changed by the wheel.
void setUpApplication(QApplication& application);

} // namespace qorn::timetagger::gui
