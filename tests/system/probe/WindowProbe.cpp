#include "WindowProbe.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTimer>
#include <QToolBar>

#include <array>
#include <cstdio>
#include <string_view>

#include <unistd.h>

namespace qorn::testing {
namespace {

constexpr int kLookMs = 10;

} // namespace

WindowProbe::WindowProbe() {
    auto* timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, &WindowProbe::look);
    timer->start(kLookMs);
    auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(input, &QSocketNotifier::activated, this, [this, input] {
        if (!obey()) { // nobody is there any more
            input->setEnabled(false);
        }
    });
}

void WindowProbe::look() {
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible()) {
            lookAt(*window);
        }
    }
}

void WindowProbe::lookAt(const QWidget& window) {
    if (const auto* box = qobject_cast<const QMessageBox*>(&window)) {
        tell(QStringLiteral("box: %1: %2").arg(box->windowTitle(), box->text()));
        return;
    }
    tell(QStringLiteral("window: ") + window.windowTitle());
    for (const QLabel* label : window.findChildren<QLabel*>()) {
        if (label->isVisible() && label->text().contains(QLatin1String("customer USB"))) {
            tell(QStringLiteral("scan: ") + label->text());
        }
    }
}

void WindowProbe::tell(const QString& line) {
    if (!told.contains(line)) {
        told.insert(line);
        std::printf("%s\n", line.toUtf8().constData());
        std::fflush(stdout);
    }
}

bool WindowProbe::obey() {
    std::array<char, 16> text{};
    const auto count = ::read(STDIN_FILENO, text.data(), text.size());
    const std::string_view command(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (command.starts_with("close")) {
        QApplication::closeAllWindows();
    } else if (command.starts_with("play")) {
        play();
    }
    return !command.empty();
}

void WindowProbe::play() {
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        for (const QToolBar* toolBar : window->findChildren<QToolBar*>()) {
            for (QAction* action : toolBar->actions()) {
                if (toolBar->isVisible() && action->toolTip().startsWith(QLatin1String("Play"))) {
                    action->trigger();
                    return;
                }
            }
        }
    }
}

QObject* WindowProbePlugin::create(const QString&, const QString&) {
    return new WindowProbe; // the application deletes it
}

} // namespace qorn::testing
