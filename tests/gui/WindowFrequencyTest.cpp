// The frequency of a clock whose drift is known, as the operator gets it.
#include "MeasurementLogReader.h"
#include "PhysicsStage.h"

#include <QDoubleSpinBox>
#include <QSpinBox>

#include <numbers>

namespace qorn::testing {
namespace {

constexpr double kFrequency = 50e3;
constexpr double kOffset = 5e-6;
constexpr double kDrift = 3e-6;
constexpr double kDriftPeriod = 2.0;

const char* const kClock = R"({"kind": "periodic", "input": 4, "frequency_hz": 50000, "offset_ppm": 5,
    "drift_ppm": 3, "drift_period_s": 2, "jitter_ps": 10})";

// The clock's mean frequency between two times of the instrument.
double meanFrequency(double from, double to) {
    const double omega = 2 * std::numbers::pi / kDriftPeriod;
    return kFrequency *
           (1 + kOffset + kDrift * (std::cos(omega * from) - std::cos(omega * to)) / (omega * (to - from)));
}

std::vector<std::vector<std::string>> rowsOf(gui::ExperimentTab& tab) {
    const std::string path = tab.currentLogPath().toStdString();
    tab.stopLog();
    return readLog(path).rows();
}

TEST(WindowFrequency, ReadsTheClocksFrequencyAndDrift) {
    PhysicsStage stage(sceneOf(QByteArray(kClock) + R"(, {"kind": "poisson", "input": 1, "rate_hz": 5000})"));
    ASSERT_TRUE(stage.open("Frequency", R"({"channel": 4, "autoBaseFrequency": false, "baseHz": 50000,
        "showDriftPlot": true, "showHistogramPlot": true, "histRangeNs": 1})"));
    ASSERT_TRUE(stage.tab().startLogInDirectory(stage.folder.path()));
    ASSERT_TRUE(stage.run(2.5));
    const auto rows = rowsOf(stage.tab());
    ASSERT_GE(rows.size(), 20U);
    double least = 1e9;
    double most = -1e9;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        // the first stream behind an opening begins at the scene's beginning
        const double from = std::stod(rows[row][8]) / 1e12;
        const double to = std::stod(rows[row][9]) / 1e12;
        const double expected = meanFrequency(from, to);
        EXPECT_NEAR(std::stod(rows[row][5]) / expected, 1.0, 0.05e-6) << "at " << from << " s";
        const double drift = (expected / kFrequency - 1) * 1e6;
        EXPECT_NEAR(std::stod(rows[row][7]), drift, 0.05);
        EXPECT_NEAR(std::stod(rows[row][3]), 5000, 2);
        least = std::min(least, drift);
        most = std::max(most, drift);
    }
    EXPECT_LT(least, 3.0) << "the drift has been all the way";
    EXPECT_GT(most, 7.0);
    const ShownPlot drift = stage.plot("driftPlot");
    ASSERT_GE(drift.points(), 10);
    EXPECT_NEAR(drift.ys[0][0], std::stod(rows[0][7]), 1e-6);
    const ShownPlot offset = stage.plot("frequencyPlot");
    EXPECT_NEAR(offset.ys[0][0], std::stod(rows[0][5]) - kFrequency, 1e-6);
    const ShownPlot periods = stage.plot("periodPlot");
    double sum = 0.0;
    double mean = 0.0;
    for (qsizetype bin = 0; bin < periods.barXs.size(); ++bin) {
        sum += periods.barHeights[bin];
        mean += periods.barXs[bin] * periods.barHeights[bin];
    }
    EXPECT_GT(sum, 90'000.0);
    // 5 ppm of 20 us, and what the drift leaves of its mean
    EXPECT_NEAR(mean / sum, -0.1, 0.05);
}

TEST(WindowFrequency, DetectsTheBaseWithTheFirstBin) {
    PhysicsStage stage(sceneOf(kClock)); // nothing on the other inputs
    ASSERT_TRUE(stage.open("Frequency", R"({"channel": 4})"));
    ASSERT_TRUE(stage.tab().startLogInDirectory(stage.folder.path()));
    ASSERT_TRUE(stage.run(0.8));
    const auto rows = rowsOf(stage.tab());
    ASSERT_GE(rows.size(), 4U);
    const double base = std::stod(rows[0][6]);
    EXPECT_NEAR(base / meanFrequency(0.0, 0.1), 1.0, 0.05e-6);
    EXPECT_EQ(std::stod(rows[0][7]), 0.0);
    EXPECT_EQ(rows.back()[6], rows[0][6]);
    EXPECT_NEAR(std::stod(rows[3][7]), (meanFrequency(0.3, 0.4) / meanFrequency(0.0, 0.1) - 1) * 1e6, 0.1);
    EXPECT_NEAR(stage.control<QDoubleSpinBox>("baseHz").value(), base, 1e-6);
    EXPECT_TRUE(stage.control<QLabel>("baseStatus").text().startsWith(QStringLiteral("Detected: 50.000")));
}

TEST(WindowFrequency, AnotherInputWhileItRunsBeginsAnew) {
    PhysicsStage stage(
        sceneOf(QByteArray(kClock) + R"(, {"kind": "periodic", "input": 2, "frequency_hz": 25000})"));
    ASSERT_TRUE(stage.open("Frequency", R"({"channel": 4})"));
    WindowStage::press(stage.tab(), "Play");
    const auto& base = stage.control<QLabel>("baseStatus");
    ASSERT_TRUE(waitUntil([&] { return base.text().startsWith(QStringLiteral("Detected: 50.000")); }));
    stage.control<QSpinBox>("channel").setValue(2);
    EXPECT_TRUE(waitUntil([&] { return base.text().startsWith(QStringLiteral("Detected: 25.000")); }))
        << base.text().toStdString();
    EXPECT_TRUE(stage.tab().isRunning());
    WindowStage::press(stage.tab(), "Stop");
    EXPECT_TRUE(stage.waitForIdle());
}

TEST(WindowFrequency, SharesItsStreamWithACorrelation) {
    PhysicsStage stage(sceneOf(QByteArray(kClock) + R"(,
        {"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": 12400, "sigma_ps": 120})"));
    ASSERT_TRUE(stage.open("Frequency", R"({"channel": 4})"));
    gui::ExperimentTab& correlation = stage.addTab("Correlation");
    WindowStage::press(stage.tab(), "Play");
    WindowStage::press(correlation, "Play");
    EXPECT_EQ(stage.scheduler().runningConsumerCount(), 2);
    EXPECT_TRUE(waitUntil([&] {
        const ShownPlot shown = shownBy(*correlation.plotWidget());
        return !shown.ys.value(0).isEmpty() &&
               *std::max_element(shown.ys[0].begin(), shown.ys[0].end()) > 300 &&
               stage.plot("frequencyPlot").points() > 3;
    }));
    WindowStage::press(stage.tab(), "Stop");
    EXPECT_TRUE(correlation.isRunning());
    WindowStage::press(correlation, "Stop");
    EXPECT_TRUE(stage.waitForIdle());
}

} // namespace
} // namespace qorn::testing
