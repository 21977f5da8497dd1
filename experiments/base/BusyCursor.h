// The cursor of a program that is busy, while it exists. On the stack of work that blocks the GUI thread.
#pragma once

#include <QCursor>
#include <QGuiApplication>

namespace qorn::timetagger::gui {

class BusyCursor {
public:
    BusyCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
    ~BusyCursor() { QGuiApplication::restoreOverrideCursor(); }
    BusyCursor(const BusyCursor&) = delete;
    BusyCursor& operator=(const BusyCursor&) = delete;
};

} // namespace qorn::timetagger::gui
