// The counting tabs in the whole window on the simulated instrument, from the hardware and from tags: they
// show the rates of the scene, and a log and a recording made meanwhile hold what was counted.
#include "CoincidenceCounts.h"
#include "CoincidenceEngine.h"
#include "CounterTagEngine.h"
#include "ExperimentTab.h"
#include "MeasurementLogReader.h"
#include "QtPrinting.h"
#include "ShownPlot.h"
#include "StreamFileReader.h"
#include "WindowStage.h"

#include <QDir>
#include <QTableView>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

namespace qorn::testing {
namespace {

using Counts = std::vector<quint64>;

constexpr double kDeviations = 6.0;
constexpr quint64 kGates = 8; // at least, of 0.1 s

// Noise of 60000 and 20000 per second on inputs 1 and 3, a clock of 25 kHz on input 4, and 20000 pairs of
// inputs 1 and 2.
const QByteArray kScene = R"({"units": [{"serial": "SIM00001", "sources": [
    {"kind": "poisson", "input": 1, "rate_hz": 60000}, {"kind": "poisson", "input": 3, "rate_hz": 20000},
    {"kind": "periodic", "input": 4, "frequency_hz": 25000},
    {"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "sigma_ps": 100}]}]})";
constexpr std::array kSinglesHz{80000.0, 20000.0, 20000.0, 25000.0};
constexpr double kPairsHz = 20000.0; // of inputs 1 and 2, and some by chance

struct Row {
    const char* name;
    const char* tab;
    QJsonObject config;
    std::size_t firstCount; // column of the log
    std::size_t counts;     // columns
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.name;
}

class CountingTab : public ::testing::TestWithParam<Row> {
protected:
    void SetUp() override {
        ASSERT_TRUE(stage.connectUnit());
        tab = &stage.addTab(GetParam().tab);
        tab->loadConfig(GetParam().config);
        ASSERT_TRUE(tab->startLogInDirectory(stage.folder.path()));
        QObject::connect(&stage.controller(), &gui::DeviceController::tagsBatch,
                         [this](const gui::UiTimeTagBatch& batch) { batches.append(batch); });
        QObject::connect(&stage.controller(), &gui::DeviceController::counterSample,
                         [this](const gui::UiCounterSample& sample) {
                             fromHardware.emplace_back(sample.counts.begin(), sample.counts.end());
                         });
        QObject::connect(&stage.controller(), &gui::DeviceController::coincidenceSample,
                         [this](const gui::UiCoincidenceSample& sample) { take(sample); });
    }

    // Runs for some gates and ends the log, too.
    void run() {
        WindowStage::press(*tab, "Play");
        ASSERT_TRUE(waitUntil([this] {
            const QString status = WindowStage::statusOf(*tab);
            return status.startsWith(QStringLiteral("sample ")) &&
                   status.section(QLatin1Char(' '), 1, 1).toULongLong() >= kGates;
        }));
        WindowStage::press(*tab, "Stop");
        ASSERT_TRUE(stage.waitForIdle());
        const std::string path = tab->currentLogPath().toStdString();
        tab->stopLog();
        log = readLog(path);
        ASSERT_TRUE(log.ended);
        for (const std::vector<std::string>& row : log.rows()) {
            ASSERT_EQ(row.size(), log.columns.size());
            Counts counts;
            for (std::size_t column = 0; column < GetParam().counts; ++column) {
                counts.push_back(std::stoull(row[GetParam().firstCount + column]));
            }
            logged.push_back(counts);
            seconds += std::stod(row[2]);
        }
        ASSERT_GE(logged.size(), kGates);
        EXPECT_EQ(WindowStage::statusOf(*tab),
                  QStringLiteral("stopped after %1 sample(s)").arg(logged.size()));
    }

    // What the tab shows is what stands in its log.
    void expectShown() const {
        if (const auto* table = tab->findChild<QTableView*>(QStringLiteral("table"))) {
            for (int row = 0; row < static_cast<int>(GetParam().counts); ++row) {
                const auto cell = [&](int column) {
                    return table->model()->index(row, column).data(Qt::DisplayRole).toString().toULongLong();
                };
                EXPECT_EQ(cell(1), logged.back()[static_cast<std::size_t>(row)]) << row;
                EXPECT_EQ(cell(2), sumOf(static_cast<std::size_t>(row))) << row;
            }
            return;
        }
        const ShownPlot trace = shownBy(*tab->plotWidget());
        ASSERT_EQ(trace.ys.size(), 4);
        for (std::size_t input = 0; input < 4; ++input) {
            const QList<double>& shown = trace.ys[static_cast<qsizetype>(input)];
            ASSERT_EQ(static_cast<std::size_t>(shown.size()), logged.size());
            for (std::size_t gate = 0; gate < logged.size(); ++gate) {
                EXPECT_EQ(shown[static_cast<qsizetype>(gate)], static_cast<double>(logged[gate][input]));
            }
        }
    }

    void expectRatesOfTheScene() const {
        for (std::size_t input = 0; input < kSinglesHz.size(); ++input) {
            const double expected = kSinglesHz[input] * seconds;
            EXPECT_NEAR(static_cast<double>(sumOf(input)), expected, kDeviations * std::sqrt(expected))
                << "input " << input + 1;
        }
        if (GetParam().counts > 4) {
            const double expected = kPairsHz * seconds;
            EXPECT_NEAR(static_cast<double>(sumOf(4)), expected, kDeviations * std::sqrt(expected) + 50.0);
            EXPECT_LT(sumOf(5), 100U * seconds) << "inputs 1 and 3 meet by chance alone";
        }
    }

    quint64 sumOf(std::size_t column) const {
        quint64 sum = 0;
        for (const Counts& gate : logged) {
            sum += gate[column];
        }
        return sum;
    }

    WindowStage stage{kScene};
    gui::ExperimentTab* tab = nullptr;
    ReadLog log;
    std::vector<Counts> logged; // the gates
    double seconds = 0.0;       // of all gates
    QList<gui::UiTimeTagBatch> batches;
    std::vector<Counts> fromHardware;

private:
    void take(const gui::UiCoincidenceSample& sample) {
        Counts counts(sample.singles.begin(), sample.singles.end());
        counts.insert(counts.end(), sample.pairs.begin(), sample.pairs.end());
        counts.insert(counts.end(), sample.triples.begin(), sample.triples.end());
        counts.push_back(sample.quadruple);
        fromHardware.push_back(counts);
    }
};

// --- the hardware ------------------------------------------------------------------------------------------

class FromHardware : public CountingTab {};

TEST_P(FromHardware, LogAndDisplayHoldItsSamplesAndTheRatesOfTheScene) {
    run();
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(logged, fromHardware);
    EXPECT_TRUE(batches.isEmpty());
    expectShown();
    expectRatesOfTheScene();
}

INSTANTIATE_TEST_SUITE_P(
    Tabs, FromHardware,
    ::testing::Values(Row{"Counter", "Counter", {{QStringLiteral("integrationSec"), 0.1}}, 3, 4},
                      Row{"Coincidence", "Coincidence", {{QStringLiteral("gateSec"), 0.1}}, 4, 15}),
    [](const auto& row) { return std::string(row.param.name); });

// --- tags --------------------------------------------------------------------------------------------------

class FromTags : public CountingTab {
protected:
    // The gates of the batches that the window was given, counted anew.
    std::vector<Counts> counted() const {
        return GetParam().counts == 4 ? countedByCounter() : countedByCoincidence();
    }

    // The tags in the recording.
    std::vector<timing::TimeTag> recorded() const {
        const QFileInfoList files = QDir(stage.folder.path()).entryInfoList({QStringLiteral("*.qornts")});
        EXPECT_EQ(files.size(), 1);
        std::vector<timing::TimeTag> all;
        timing::StreamFileReader reader;
        reader.open(files.value(0).filePath().toStdString());
        for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
            all.insert(all.end(), tags.begin(), tags.end());
        }
        return all;
    }

private:
    std::vector<Counts> countedByCounter() const {
        gui::CounterSettings settings;
        settings.takeJson(tab->saveConfig());
        gui::CounterTagEngine engine;
        engine.apply(settings);
        std::vector<Counts> gates;
        for (const gui::UiTimeTagBatch& batch : batches) {
            engine.addBatch(batch, [&gates](const gui::CounterTagEngine::Gate& gate) {
                gates.emplace_back(gate.sample.counts.begin(), gate.sample.counts.end());
            });
        }
        return gates;
    }
    std::vector<Counts> countedByCoincidence() const {
        gui::CoincidenceSettings settings;
        settings.takeJson(tab->saveConfig());
        gui::CoincidenceEngine engine;
        engine.apply(settings);
        std::vector<Counts> gates;
        for (const gui::UiTimeTagBatch& batch : batches) {
            for (const gui::CoincidenceEngine::Gate& gate : engine.addTags(batch)) {
                const auto counts = gui::countsInOrder(gate.counts);
                gates.emplace_back(counts.begin(), counts.end());
            }
        }
        return gates;
    }
};

TEST_P(FromTags, LogDisplayAndRecordingHoldWhatWasCountedAndTheRatesOfTheScene) {
    tab->setTimeTagRecordingDirectory(stage.folder.path());
    WindowStage::press(*tab, "Complete time-tag recording");
    run();
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(logged, counted());
    EXPECT_TRUE(fromHardware.empty());
    expectShown();
    expectRatesOfTheScene();

    const std::vector<timing::TimeTag> inFile = recorded();
    std::size_t number = 0;
    for (const gui::UiTimeTagBatch& batch : std::as_const(batches)) {
        for (const gui::UiTimeTag& tag : batch) {
            ASSERT_LT(number, inFile.size()) << "shown and not recorded";
            ASSERT_EQ(tag.timePs, inFile[number].timestamp_ps) << "tag " << number;
            ASSERT_EQ(tag.channel, inFile[number].channel) << "tag " << number;
            ++number;
        }
    }
    EXPECT_GT(number, 100'000U);
}

INSTANTIATE_TEST_SUITE_P(Tabs, FromTags,
                         ::testing::Values(Row{"Counter",
                                               "Counter",
                                               {{QStringLiteral("integrationSec"), 0.1},
                                                {QStringLiteral("coincidenceEnabled"), true}},
                                               3,
                                               4},
                                           Row{"Coincidence",
                                               "Coincidence",
                                               {{QStringLiteral("gateSec"), 0.1},
                                                {QStringLiteral("acquisitionMode"),
                                                 QStringLiteral("software")}},
                                               4,
                                               15}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace qorn::testing
