// Records a million tags/s of the simulated instrument through the controller, as the application does, and
// tells by how much the process grows: qorn_recording_soak [SECONDS], 180 by default.
#include "DeviceController.h"
#include "ResidentMemory.h"
#include "StreamFileReader.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using namespace qorn;
using namespace qorn::timetagger::gui;
using bench::MemorySample;

constexpr double kSettleSeconds = 40.0; // until all buffers have their size and a part is rotated
constexpr int kRotateSeconds = 30;
constexpr double kMostGrowthPerHour = 4.0; // MiB; a page or two in minutes is no growth

constexpr const char* kScene = R"({"units": [{"repeat_block_ms": 500, "sources": [
    {"kind": "poisson", "input": 1, "rate_hz": 250000}, {"kind": "poisson", "input": 2, "rate_hz": 250000},
    {"kind": "poisson", "input": 3, "rate_hz": 250000}, {"kind": "poisson", "input": 4, "rate_hz": 250000}]}]})";

// Tags in all parts, in the order of their names, which is that of the recording.
std::uint64_t countTags(const QDir& folder) {
    timing::StreamFileReader reader;
    std::uint64_t tags = 0;
    for (const QString& name : folder.entryList({QStringLiteral("*.qornts")}, QDir::Files, QDir::Name)) {
        reader.open(folder.filePath(name).toStdString());
        for (auto more = reader.read(); !more.empty(); more = reader.read()) {
            tags += more.size();
        }
    }
    return tags;
}

bool writeScene(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(kScene) > 0;
}

int report(const std::vector<MemorySample>& samples, std::uint64_t tags, double seconds) {
    if (samples.empty() || tags == 0) {
        std::fprintf(stderr, "nothing was measured\n");
        return 1;
    }
    const auto [least, most] = std::minmax_element(
        samples.begin(), samples.end(),
        [](const MemorySample& one, const MemorySample& other) { return one.mebibytes < other.mebibytes; });
    constexpr std::size_t kEvery = 20;
    for (std::size_t index = 0; index < samples.size(); index += kEvery) {
        std::printf("%4.0f s: %.2f MiB\n", samples[index].seconds, samples[index].mebibytes);
    }
    const double growth = bench::growthPerHour(samples);
    std::printf("recorded: %llu tags in %.0f s, %.2f million tags/s\n", static_cast<unsigned long long>(tags),
                seconds, static_cast<double>(tags) / seconds / 1e6);
    std::printf("resident: %.2f to %.2f MiB from %.0f s on\n", least->mebibytes, most->mebibytes,
                samples.front().seconds);
    std::printf("growth: %.2f MiB per hour\n", growth);
    return growth > kMostGrowthPerHour ? 1 : 0;
}

} // namespace

int main(int argc, char** argv) {
    const QTemporaryDir folder;
    const QString scene = folder.filePath(QStringLiteral("scene.json"));
    if (!writeScene(scene)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(scene));
        return 1;
    }
    qputenv("QORN_SIMULATOR_SCENE", scene.toUtf8());
    qputenv("HOME", folder.path().toUtf8());
    QCoreApplication application(argc, argv);
    const double length = argc > 1 ? std::max(QByteArray(argv[1]).toDouble(), 1.0) : 180.0;

    DeviceController controller;
    QObject::connect(&controller, &DeviceController::captureError, [](const QString& text) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        QCoreApplication::exit(1);
    });
    QObject::connect(&controller, &DeviceController::openFailed, [](const QString& text) {
        std::fprintf(stderr, "%s\n", qPrintable(text));
        std::exit(1);
    });
    controller.openPort(QStringLiteral("ftdi://SIM00001"));
    const QString path = folder.filePath(QStringLiteral("run.qornts"));
    controller.startCapture(QStringLiteral("external"), 0.0, 65536, 15, 100'000, {path, kRotateSeconds, 0});

    QElapsedTimer clock;
    clock.start();
    std::vector<MemorySample> samples;
    samples.reserve(static_cast<std::size_t>(length) + 1);
    QTimer everySecond;
    QObject::connect(&everySecond, &QTimer::timeout, [&] {
        const double seconds = static_cast<double>(clock.elapsed()) / 1000.0;
        if (seconds >= kSettleSeconds) {
            samples.push_back({seconds, bench::residentMebibytes()});
        }
        if (seconds >= length) {
            QCoreApplication::exit(0);
        }
    });
    everySecond.start(1000);
    const int failed = QCoreApplication::exec();
    const double seconds = static_cast<double>(clock.elapsed()) / 1000.0;
    controller.close();
    return failed != 0 ? failed : report(samples, countTags(QDir(folder.path())), seconds);
}
