// The application's start, up to its first painted window: says so on standard output, and ends. With "empty"
// it is that of a program with an empty window.
#include "ApplicationSetup.h"
#include "MainWindow.h"

#include <QApplication>
#include <QEvent>
#include <QMainWindow>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <memory>

namespace {

constexpr QSize kWindow{1220, 760}; // as the application has it

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
    std::unique_ptr<QMainWindow> window;
    if (QCoreApplication::arguments().contains(QStringLiteral("empty"))) {
        window = std::make_unique<QMainWindow>();
        window->resize(kWindow);
    } else {
        qorn::timetagger::gui::setUpApplication(application);
        window = std::make_unique<qorn::timetagger::gui::MainWindow>();
    }
    FirstPaint firstPaint;
    window->installEventFilter(&firstPaint);
    window->show();
    return QApplication::exec();
}
