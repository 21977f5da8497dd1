#include "ApplicationSetup.h"
#include "ConfigurationFile.h"
#include "ExitPrompt.h"
#include "MainWindow.h"
#include "TerminationSignals.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <span>
#include <string_view>

namespace {

// Reads the command line; ends the process after help, or after an argument that is not known. The option
// wins over the positional argument; blanks do not count.
QString startupPort(const QCoreApplication& application) {
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
    QString chosen = parser.value(portOption).trimmed();
    if (!chosen.isEmpty() || parser.positionalArguments().isEmpty()) {
        return chosen;
    }
    return parser.positionalArguments().constFirst().trimmed();
}

// The window closes without a question; its end finishes recordings and logs.
void endUnasked(qorn::timetagger::gui::MainWindow& window) {
    using namespace qorn::timetagger::gui;
    if (!window.saveConfigFile(defaultConfigPath(), true, savesExperimentsUnasked())) {
        const QString text = QCoreApplication::translate("Application", "Could not write %1");
        std::cerr << text.arg(defaultConfigPath()).toLocal8Bit().constData() << std::endl;
    }
    QCoreApplication::exit();
}

bool asksForHelp(std::span<char* const> arguments) {
    return std::any_of(arguments.begin(), arguments.end(), [](std::string_view argument) {
        return argument == "-h" || argument == "--help" || argument == "--help-all";
    });
}

} // namespace

int main(int argc, char** argv) {
    if (asksForHelp(std::span(argv, static_cast<std::size_t>(argc)))) {
        startupPort(QCoreApplication(argc, argv)); // also where there is no display
    }
    std::signal(SIGXFSZ, SIG_IGN); // a limit on file sizes is a failed write like a full disk
    QApplication application(argc, argv);
    qorn::timetagger::gui::setUpApplication(application);
    const QString port = startupPort(application);

    const qorn::timetagger::gui::TerminationSignals termination;
    qorn::timetagger::gui::MainWindow window;
    QObject::connect(&termination, &qorn::timetagger::gui::TerminationSignals::received, &window,
                     [&window] { endUnasked(window); });
    window.show();
    if (!port.isEmpty()) {
        QTimer::singleShot(0, &window, [&window, port] { window.openStartupPort(port); });
    }
    return QApplication::exec();
}
