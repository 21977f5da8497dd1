#include "ApplicationSetup.h"
#include "MainWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

namespace {

// The option wins over the positional argument; blanks do not count.
QString startupPort(const QCommandLineParser& parser, const QCommandLineOption& option) {
    QString chosen = parser.value(option).trimmed();
    if (!chosen.isEmpty() || parser.positionalArguments().isEmpty()) {
        return chosen;
    }
    return parser.positionalArguments().constFirst().trimmed();
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    qorn::timetagger::gui::setUpApplication(application);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("QORN Timing GUI"));
    parser.addHelpOption();
    const QCommandLineOption portOption(
        {QStringLiteral("p"), QStringLiteral("port")},
        QStringLiteral("Open a specific device port at startup, e.g. ftdi://FTAO99YD."),
        QStringLiteral("port"));
    parser.addOption(portOption);
    parser.addPositionalArgument(QStringLiteral("port"),
                                 QStringLiteral("Optional device port, e.g. ftdi://FTAO99YD."));
    parser.process(application);

    qorn::timetagger::gui::MainWindow window;
    window.show();
    const QString port = startupPort(parser, portOption);
    if (!port.isEmpty()) {
        QTimer::singleShot(0, &window, [&window, port] { window.openStartupPort(port); });
    }
    return QApplication::exec();
}
