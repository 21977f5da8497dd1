// Walks through the window on the first instrument found, as an operator would, and leaves a screenshot of
// each page: for a machine without a display, and for the pictures of the documentation.
#include "ApplicationSetup.h"
#include "BarChartWidget.h"
#include "DetachableTabWidget.h"
#include "DeviceController.h"
#include "ExperimentCatalog.h"
#include "ExperimentTab.h"
#include "MainWindow.h"
#include "SetupPage.h"
#include "SplitView.h"

#include <QAction>
#include <QApplication>
#include <QCommandLineParser>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QProgressDialog>
#include <QPushButton>
#include <QTabWidget>
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
    {"Correlation", "lifetime",
     R"({"sourceChannel": 4, "targetChannel": 3, "rangeNs": 40.0, "binNs": 0.1, "histogram": "Dots",
         "analysisMode": "Lifetime decay fit", "fitEnabled": true})"},
    {"Multi correlation", "multi_correlation",
     R"({"pairs": [true, false, false, false, false, true], "rangeNs": 40.0, "binNs": 0.2,
         "windows": [{"a": {"centerNs": 12.4, "widthNs": 2.0}, "b": {"centerNs": 30.0, "widthNs": 2.0}}]})"},
    {"Frequency", "frequency", R"({"channel": 4, "showDriftPlot": true, "showHistogramPlot": true})"},
    {"Time tags", "time_tags", "{}"},
};

// Folders as an operator would choose them.
constexpr const char* kFolders = R"({"dataLog": {"directory": "/data/logs"},
                                     "timeTagRecording": {"directory": "/data/recordings"}})";
constexpr const char* kSecondInSplitView = R"({"group": "Total", "quantity": "Data", "scale": "Integrated"})";

// The entries of the device menu, and the pictures of their dialogs.
struct MenuPage {
    const char* entry;
    const char* picture;
};
constexpr MenuPage kMenuPages[] = {
    {"Clock settings...", "clock_settings"},  {"Network relay...", "network_relay"},
    {"&Input settings...", "input_settings"}, {"De&veloper settings...", "developer_settings"},
    {"&Calibrate...", "calibration"},
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
        showRelayDialog();
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
        showTabDialogs();
        showSplitView();
        for (const MenuPage& page : kMenuPages) {
            openDialog(page);
        }
        calibrate();
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

    // Shows the dialog of a menu entry, each page of it, and closes it.
    void openDialog(const MenuPage& page) {
        QDialog* dialog = chooseEntry(QString::fromUtf8(page.entry));
        if (dialog == nullptr) {
            return;
        }
        const QString name = QLatin1String(page.picture);
        if (auto* pages = dialog->findChild<QTabWidget*>()) {
            for (int index = 0; index < pages->count(); ++index) {
                pages->setCurrentIndex(index);
                pause(50);
                picture(*dialog, name + QLatin1Char('_') + pages->tabText(index).toLower());
            }
        } else {
            picture(*dialog, name);
        }
        dialog->reject();
        pause(50);
    }

    // Opens a dialog, whether that waits for its end or not, shows it and closes it.
    template <typename Open>
    void showDialog(const char* name, const Open& open) {
        QTimer::singleShot(200, &window, [this, name] {
            if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
                picture(*dialog, QLatin1String(name));
                dialog->reject();
            }
        });
        open();
        pause(300);
    }

    void showRelayDialog() {
        for (QPushButton* button : window.setupPage().findChildren<QPushButton*>()) {
            if (button->text() == QLatin1String("Connect relay...")) {
                showDialog("relay_connect", [button] { button->click(); });
            }
        }
    }

    // What the first tab opens.
    void showTabDialogs() {
        showDialog("new_experiment", [this] { chooseEntry(QStringLiteral("&New experiment...")); });
        auto* tab = qobject_cast<ExperimentTab*>(window.experimentTabs().widget(0));
        tab->loadSharedConfig(QJsonDocument::fromJson(kFolders).object());
        showDialog("plot_settings", [tab] { tab->showPlotSettings(); });
        showDialog("axis_limits", [tab] { tab->plotWidget()->promptAxisLimits(); });
    }

    // The plots of two running tabs beside each other.
    void showSplitView() {
        const DetachableTabWidget& tabs = window.experimentTabs();
        auto* first = qobject_cast<ExperimentTab*>(tabs.currentWidget());
        auto* second = createExperiment(first->experimentType());
        second->loadConfig(QJsonDocument::fromJson(kSecondInSplitView).object());
        window.addExperimentTab(second);
        for (ExperimentTab* tab : {first, second}) {
            Q_EMIT tab->startRequested();
            Q_EMIT tab->splitRequested();
        }
        pause(seconds * 1000);
        if (auto* view = window.findChild<SplitView*>()) {
            picture(*view, QStringLiteral("split_view"));
            view->close();
        }
        for (ExperimentTab* tab : {first, second}) {
            Q_EMIT tab->cancelRequested();
        }
        waitFor([&] { return !window.deviceController().isCapturing(); });
        pause(50);
    }

    // Runs a calibration with the settings that are offered, and discards its result.
    void calibrate() {
        QDialog* dialog = chooseEntry(QStringLiteral("&Calibrate..."));
        auto* start = dialog != nullptr ? dialog->findChild<QPushButton*>(QStringLiteral("start")) : nullptr;
        if (start == nullptr) {
            return;
        }
        start->click();
        pause(30);
        if (auto* progress = qobject_cast<QProgressDialog*>(QApplication::activeModalWidget())) {
            picture(*progress, QStringLiteral("calibration_progress"));
        }
        waitFor([&] { return !window.deviceController().isCalibrating(); });
        pause(50);
        if (auto* result = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
            picture(*result, QStringLiteral("calibration_result"));
            result->reject();
        }
    }

    // The dialog that an entry of a menu opens; null when it opens none.
    QDialog* chooseEntry(const QString& text) {
        for (const QAction* menu : window.menuBar()->actions()) {
            for (QAction* action : menu->menu()->actions()) {
                if (action->text() == text && action->isEnabled()) {
                    action->trigger();
                    pause(100);
                    return qobject_cast<QDialog*>(QApplication::activeModalWidget());
                }
            }
        }
        return nullptr;
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

    void picture(const QString& name) { picture(window, name); }

    // Shows no path of the machine on which it is made.
    void picture(QWidget& shown, const QString& name) {
        for (QLineEdit* field : shown.findChildren<QLineEdit*>()) {
            if (field->text().startsWith(QDir::homePath())) {
                field->setText(field->text().replace(QDir::homePath(), QStringLiteral("~")));
            }
        }
        const QString path = QDir(folder).filePath(name + QLatin1String(".png"));
        const bool saved = shown.grab().save(path);
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
