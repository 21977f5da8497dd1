#include "WindowProbe.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cstdio>

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
        input->setEnabled(false);
        obey();
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

void WindowProbe::obey() {
    std::array<char, 16> text{};
    if (::read(STDIN_FILENO, text.data(), text.size()) > 0 && text[0] == 'c') {
        QApplication::closeAllWindows();
    }
}

QObject* WindowProbePlugin::create(const QString&, const QString&) {
    return new WindowProbe; // the application deletes it
}

} // namespace qorn::testing
