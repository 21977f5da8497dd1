// Walks through the window on the first instrument found, as an operator would, and leaves a screenshot of
// each page: for a machine without a display, and for the pictures of the documentation.
#include "ApplicationSetup.h"
#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "MainWindow.h"
#include "SetupPage.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QTextStream>
#include <QTimer>

#include <array>
#include <cstdlib>

namespace {

using namespace qorn::timetagger::gui;

constexpr int kPatienceMs = 20000;

// What is measured, with settings that show something of the first simulated unit.
struct Page {
    const char* type;
    const char* picture;
    const char* config;
};
constexpr Page kPages[] = {
    {"Counter", "counter", "{}"},
    {"Coincidence", "coincidence", "{}"},
    {"Correlation", "correlation", "{}"},
    {"Multi correlation", "multi_correlation", "{}"},
    {"Frequency", "frequency", R"({"channel": 4, "showDriftPlot": true, "showHistogramPlot": true})"},
    {"Time tags", "time_tags", "{}"},
};

class Tour {
public:
    Tour(const QString& outputFolder, int measureSeconds, const QString& theme)
        : folder(outputFolder), seconds(measureSeconds), out(stdout) {
        window.applyTheme(theme);
        QObject::connect(&window.deviceController(), &DeviceController::counterSample, &window,
                         [this](const UiCounterSample& sample) { takeSample(sample); });
    }

    // False when the instrument did not come, or a picture could not be written.
    bool run() {
        window.show();
        auto* connectButton = window.setupPage().findChild<QPushButton*>(QStringLiteral("PrimaryButton"));
        if (connectButton == nullptr ||
            !waitFor([&] { return !window.setupPage().selectedPort().isEmpty(); })) {
            out << "no instrument was found\n";
            return false;
        }
        pause(500);
        picture(QStringLiteral("connect"));
        connectButton->click();
        if (!waitFor([&] {
                return window.deviceController().hasDevice() && !window.deviceController().isCalibrating();
            })) {
            out << "the instrument could not be opened\n";
            return false;
        }
        for (const Page& page : kPages) {
            measure(page);
        }
        printRates();
        window.deviceController().close();
        if (gateSeconds <= 0.0) {
            out << "the instrument counted nothing\n";
            return false;
        }
        return written;
    }

private:
    // Plays a tab of the page's type for the time of the tour.
    void measure(const Page& page) {
        const QString type = QLatin1String(page.type);
        DetachableTabWidget& tabs = window.experimentTabs();
        auto* tab = qobject_cast<ExperimentTab*>(tabs.currentWidget());
        if (tab == nullptr || tab->experimentType() != type) {
            window.addExperimentTab(createExperiment(type));
            tab = qobject_cast<ExperimentTab*>(tabs.currentWidget());
        }
        tab->loadConfig(QJsonDocument::fromJson(page.config).object());
        Q_EMIT tab->startRequested();
        pause(seconds * 1000);
        picture(QLatin1String(page.picture));
        Q_EMIT tab->cancelRequested();
        waitFor([&] { return !window.deviceController().isCapturing(); });
        pause(50);
    }

    void takeSample(const UiCounterSample& sample) {
        for (std::size_t input = 0; input < counts.size(); ++input) {
            counts[input] += sample.counts.value(static_cast<qsizetype>(input));
        }
        gateSeconds += sample.gateSeconds;
    }

    void printRates() {
        for (std::size_t input = 0; input < counts.size() && gateSeconds > 0.0; ++input) {
            out << "input " << input + 1 << ": "
                << QString::number(static_cast<double>(counts[input]) / gateSeconds, 'f', 1) << " counts/s\n";
        }
    }

    void picture(const QString& name) {
        const QString path = QDir(folder).filePath(name + QLatin1String(".png"));
        const bool saved = window.grab().save(path);
        written = written && saved;
        out << (saved ? "wrote " : "could not write ") << path << "\n";
        out.flush();
    }

    static void pause(int milliseconds) {
        QEventLoop loop;
        QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
        loop.exec();
    }

    template <typename Condition>
    static bool waitFor(Condition condition) {
        QElapsedTimer timer;
        for (timer.start(); !condition() && timer.elapsed() < kPatienceMs;) {
            pause(20);
        }
        return condition();
    }

    QString folder;
    int seconds;
    QTextStream out;
    MainWindow window;
    std::array<quint64, 4> counts{};
    double gateSeconds = 0.0;
    bool written = true;
};

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    setUpApplication(application);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Measures with the first instrument and writes a screenshot of each page."));
    parser.addHelpOption();
    const QCommandLineOption secondsOption(QStringLiteral("seconds"),
                                           QStringLiteral("How long each page measures."),
                                           QStringLiteral("s"), QStringLiteral("10"));
    const QCommandLineOption themeOption(QStringLiteral("theme"), QStringLiteral("Theme of the window."),
                                         QStringLiteral("name"), QStringLiteral("qorn"));
    parser.addOptions({secondsOption, themeOption});
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("Where the pictures go."));
    parser.process(application);
    const QString folder = parser.positionalArguments().value(0, QStringLiteral("."));
    QDir().mkpath(folder);
    return Tour(folder, parser.value(secondsOption).toInt(), parser.value(themeOption)).run() ? EXIT_SUCCESS
                                                                                              : EXIT_FAILURE;
}
