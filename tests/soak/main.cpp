// Drives the window for a time on the simulated instrument, with everything that an operator can do and with
// faults: qorn_soak [--seconds S] [--seed N] [--rate TAGS/S]; or, with --steady [--rotate S], without a pause
// on tabs of every type that share one stream with logs, a recording and a relay receiver, and no faults.
// Prints one JSON object and ends with 1 when something was not as it must be: a lost or changed tag in a
// recording, a handle in two threads, an event loop that stands still, growing memory, a measurement that
// does not end, or one that ends too early.
//
// What was recorded and what the instrument says it sent take 24 bytes a tag in the temporary folder. All of
// it is kept until the end of a steady run: 17 GB an hour at the default rate.
#include "ApplicationSetup.h"
#include "BusyOperator.h"
#include "HandleGuard.h"
#include "IsolatedHome.h"
#include "SoakScene.h"
#include "SoakWatch.h"
#include "SteadyOperator.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QJsonDocument>

#include <cstdio>
#include <memory>

namespace {

constexpr double kFaultsPerMinute = 4.0;

} // namespace

int main(int argc, char** argv) {
    using namespace qorn;
    const bench::IsolatedHome home;
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    timetagger::gui::setUpApplication(application);
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Drives the window for a time and watches what must hold."));
    parser.addHelpOption();
    const QCommandLineOption secondsOption(QStringLiteral("seconds"), QStringLiteral("How long."),
                                           QStringLiteral("s"), QStringLiteral("120"));
    const QCommandLineOption seedOption(QStringLiteral("seed"), QStringLiteral("Of the plan."),
                                        QStringLiteral("number"), QStringLiteral("1"));
    const QCommandLineOption rateOption(QStringLiteral("rate"), QStringLiteral("Tags/s of all inputs."),
                                        QStringLiteral("tags/s"), QStringLiteral("200000"));
    const QCommandLineOption steadyOption(QStringLiteral("steady"),
                                          QStringLiteral("Everything measures from the start to the end."));
    const QCommandLineOption rotateOption(QStringLiteral("rotate"),
                                          QStringLiteral("Of a steady recording's parts, 0 for one file."),
                                          QStringLiteral("s"), QStringLiteral("180"));
    parser.addOptions({secondsOption, seedOption, rateOption, steadyOption, rotateOption});
    parser.process(application);
    bool isSeconds = false;
    bool isSeed = false;
    bool isRate = false;
    bool isRotate = false;
    const double seconds = parser.value(secondsOption).toDouble(&isSeconds);
    const std::uint64_t seed = parser.value(seedOption).toULongLong(&isSeed);
    const double rate = parser.value(rateOption).toDouble(&isRate);
    const int rotateSeconds = parser.value(rotateOption).toInt(&isRotate);
    const bool steady = parser.isSet(steadyOption);
    if (!isSeconds || !isSeed || !isRate || !isRotate || !(seconds > 0.0) || !(rate > 0.0) ||
        rotateSeconds < 0) {
        std::fprintf(stderr, "%s\n", qPrintable(parser.helpText()));
        return 1;
    }

    std::mt19937_64 random(seed);
    const QString truth = home.filePath(QStringLiteral("truth"));
    QFile scene(home.filePath(QStringLiteral("scene.json")));
    const auto faults = steady ? 0 : static_cast<int>(seconds / 60.0 * kFaultsPerMinute);
    if (!scene.open(QIODevice::WriteOnly) || scene.write(soak::soakScene(rate, truth, faults, random)) <= 0) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(scene.fileName()));
        return 1;
    }
    scene.close();
    qputenv("QORN_SIMULATOR_SCENE", scene.fileName().toUtf8());

    const timing::DriverTable simulator = timing::load_driver(QORN_SIMULATOR);
    const soak::HandleGuard guard(simulator);
    soak::SoakWatch watch;
    QJsonObject report;
    {
        std::unique_ptr<soak::SoakOperator> worker;
        if (steady) {
            worker = std::make_unique<soak::SteadyOperator>(watch, truth, random(), rotateSeconds);
        } else {
            worker = std::make_unique<soak::BusyOperator>(watch, truth, random());
        }
        QObject::connect(worker.get(), &soak::SoakOperator::finished, &application, [] {
            QCoreApplication::exit(0);
        }); // to quit would close the window with its question
        worker->work(seconds);
        QApplication::exec();
        report = worker->report();
    }
    if (guard.violations() > 0) {
        watch.complain(QStringLiteral("%1 calls met another one in their handle, first %2")
                           .arg(guard.violations())
                           .arg(QString::fromStdString(guard.firstViolation())));
    }
    report.insert(QStringLiteral("seconds"), seconds);
    report.insert(QStringLiteral("seed"), static_cast<qint64>(seed));
    report.insert(QStringLiteral("driver_calls"), static_cast<qint64>(guard.calls()));
    report.insert(QStringLiteral("watch"), watch.report());
    std::puts(QJsonDocument(report).toJson().constData());
    return watch.isClean() ? 0 : 1;
}
