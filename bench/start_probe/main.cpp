// The application's start, up to its first painted window: says so on standard output, and ends.
#include "ApplicationSetup.h"
#include "MainWindow.h"

#include <QApplication>
#include <QEvent>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

// Sees the window's paint event, and reports once the event loop has finished it.
class FirstPaint : public QObject {
    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::Paint && !seen) {
            seen = true;
            QTimer::singleShot(0, this, [] {
                std::puts("painted");
                std::fflush(stdout);
                std::_Exit(0);
            });
        }
        return QObject::eventFilter(object, event);
    }

    bool seen = false;
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    qorn::timetagger::gui::setUpApplication(application);
    qorn::timetagger::gui::MainWindow window;
    FirstPaint firstPaint;
    window.installEventFilter(&firstPaint);
    window.show();
    return QApplication::exec();
}
