// Correlations of a scene whose physics is known, as the operator gets them: a peak, its floor, a decay, a
// dip, and six pairs at once.
#include "PhysicsStage.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>

namespace qorn::testing {
namespace {

constexpr double kDeviations = 6.0;

// Of the points between two lags in ns: their sum, mean lag and spread.
struct Moments {
    double sum = 0.0;
    double mean = 0.0;
    double sigma = 0.0;
    int points = 0;
};

Moments momentsOf(const ShownPlot& shown, double from, double to) {
    Moments moments;
    double squares = 0.0;
    for (qsizetype point = 0; point < shown.xs.value(0).size(); ++point) {
        const double x = shown.xs[0][point];
        if (x >= from && x <= to) {
            const double y = shown.ys[0][point];
            moments.sum += y;
            moments.mean += x * y;
            squares += x * x * y;
            ++moments.points;
        }
    }
    moments.mean /= moments.sum;
    moments.sigma = std::sqrt(std::max(0.0, squares / moments.sum - moments.mean * moments.mean));
    return moments;
}

double firstNumber(const QString& text) {
    return text.section(QLatin1Char(' '), 0, 0).toDouble();
}

// Pairs on inputs 1 and 2 over uncorrelated singles.
QByteArray pairScene(int singlesHz) {
    return sceneOf(QStringLiteral(R"({"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": 12400,
                                      "sigma_ps": 120},
                                     {"kind": "poisson", "input": 1, "rate_hz": %1},
                                     {"kind": "poisson", "input": 2, "rate_hz": %1})")
                       .arg(singlesHz)
                       .toUtf8());
}

TEST(WindowCorrelation, PairsGiveAPeakOfTheirDelayAndWidth) {
    PhysicsStage stage(pairScene(10000));
    ASSERT_TRUE(stage.open("Correlation", R"({"fitEnabled": true})"));
    ASSERT_TRUE(stage.run(2.0));
    const ShownPlot shown = stage.plot("integratedPlot");
    const Moments peak = momentsOf(shown, -1.0, 1.0);
    // what arrives behind the last refresh is not shown
    EXPECT_NEAR(peak.sum, 20000 * (stage.elapsed() - 0.1), 20000 * 0.4) << "pairs";
    // the delay lines are not calibrated: some ten ps
    EXPECT_NEAR(firstNumber(stage.stat("Offset")), 12.4, 0.06);
    EXPECT_NEAR(peak.mean, 0.0, 0.02) << "at zero by the automatic offset";
    const double sigma = std::hypot(0.120, std::sqrt(2.0) * 0.022); // with the lines' own jitter
    EXPECT_GT(peak.sigma, 0.97 * sigma);
    EXPECT_LT(peak.sigma, 1.12 * sigma);
    const QString fit = stage.stat("Gaussian fit"); // "<center> ns / FWHM <width> ns"
    EXPECT_NEAR(firstNumber(fit), 0.0, 0.1);
    EXPECT_NEAR(fit.section(QLatin1Char(' '), 4, 4).toDouble(), 2.3548 * peak.sigma, 0.03)
        << fit.toStdString();
    ASSERT_EQ(shown.overlayYs.size(), 1);
    EXPECT_NEAR(*std::max_element(shown.overlayYs[0].begin(), shown.overlayYs[0].end()),
                *std::max_element(shown.ys[0].begin(), shown.ys[0].end()), 1.0);
}

TEST(WindowCorrelation, G2FarFromThePeakIsOne) {
    PhysicsStage stage(pairScene(130'000));
    ASSERT_TRUE(stage.open("Correlation", R"json({"rangeNs": 40, "binNs": 0.5, "offsetMode": "Manual",
                                                  "manualOffsetNs": 12.4, "normalize": "g2(tau)"})json"));
    ASSERT_TRUE(stage.run(2.5));
    const ShownPlot g2 = stage.plot("integratedPlot");
    ASSERT_EQ(g2.yLabel, QStringLiteral("g2(tau)"));
    stage.control<QComboBox>("normalize").setCurrentText(QStringLiteral("Counts"));
    const ShownPlot counts = stage.plot("integratedPlot");
    for (const auto& [from, to] : {std::pair{-40.0, -3.0}, {3.0, 40.0}}) {
        const Moments floor = momentsOf(g2, from, to);
        const double pairs = momentsOf(counts, from, to).sum;
        EXPECT_GT(pairs, 1000.0);
        EXPECT_NEAR(floor.sum / floor.points, 1.0, kDeviations / std::sqrt(pairs));
    }
    EXPECT_GT(momentsOf(g2, -0.3, 0.3).sum, 20.0) << "and in the peak it is not";
}

TEST(WindowCorrelation, ANewUserSeesThePeakWithinTwoSeconds) {
    // what the first simulated unit sees
    PhysicsStage stage(sceneOf(R"(
        {"kind": "pairs", "inputs": [1, 2], "rate_hz": 50000, "delay_ps": 12400, "sigma_ps": 120},
        {"kind": "poisson", "input": 1, "rate_hz": 100000}, {"kind": "poisson", "input": 2, "rate_hz": 80000},
        {"kind": "decay", "sync_input": 4, "input": 3, "frequency_hz": 1e6, "probability": 0.06,
         "lifetime_ps": 3200}, {"kind": "poisson", "input": 3, "rate_hz": 1500})"));
    ASSERT_TRUE(stage.open("Correlation", "{}"));
    WindowStage::press(stage.tab(), "Play");
    const auto seesPeak = [&] {
        const Moments all = momentsOf(stage.plot("integratedPlot"), -1.0, 1.0);
        const Moments peak = momentsOf(stage.plot("integratedPlot"), -0.4, 0.4);
        return all.sum > 2000 && peak.sum > 0.95 * all.sum && std::abs(peak.mean) < 0.05;
    };
    EXPECT_TRUE(waitUntil([&] { return seesPeak() || stage.elapsed() > 2.0; }));
    EXPECT_TRUE(seesPeak()) << "after " << stage.elapsed() << " s";
    WindowStage::press(stage.tab(), "Stop");
    EXPECT_TRUE(stage.waitForIdle());
}

TEST(WindowCorrelation, TheInstantaneousHistogramAndTheTraceShowThePeakToo) {
    PhysicsStage stage(pairScene(10000));
    ASSERT_TRUE(stage.open("Correlation", R"json({"viewInstant": true, "viewIntegrated": false,
        "viewParameters": true, "instantWindowMs": 500, "parameterMetric": "Offset (ns)"})json"));
    ASSERT_TRUE(stage.run(1.5));
    const Moments peak = momentsOf(stage.plot("instantPlot"), -1.0, 1.0);
    EXPECT_NEAR(peak.sum, 10000, kDeviations * 100);
    EXPECT_NEAR(peak.mean, 0.0, 0.02);
    const ShownPlot trace = stage.plot("tracePlot");
    ASSERT_GE(trace.points(), 2);
    for (const double offset : trace.ys[0]) {
        EXPECT_NEAR(offset, 12.4, 0.1);
    }
    EXPECT_NEAR(trace.xs[0].last(), stage.elapsed() - 0.1, 0.4);
}

// The estimator takes the mean distance from the highest bin for the lifetime: photons that come before that
// bin have none, so it is too short by exp(-distance / lifetime).
TEST(WindowCorrelation, ADecayGivesItsLifetime) {
    PhysicsStage stage(sceneOf(R"({"kind": "decay", "sync_input": 4, "input": 3, "frequency_hz": 200000,
        "probability": 0.15, "lifetime_ps": 3200, "delay_ps": 8000, "sigma_ps": 60},
        {"kind": "poisson", "input": 3, "rate_hz": 1500})"));
    ASSERT_TRUE(stage.open("Correlation", R"({"sourceChannel": 4, "targetChannel": 3, "rangeNs": 60,
        "binNs": 0.1, "analysisMode": "Lifetime decay fit", "fitEnabled": true})"));
    ASSERT_TRUE(stage.run(2.5));
    const ShownPlot shown = stage.plot("integratedPlot");
    const double photons = momentsOf(shown, 7.0, 60.0).sum;
    EXPECT_NEAR(photons, 30'000 * (stage.elapsed() - 0.1), 30'000 * 0.4);
    EXPECT_LT(momentsOf(shown, -60.0, 7.0).sum, 0.01 * photons);
    const auto highest = std::max_element(shown.ys[0].begin(), shown.ys[0].end());
    const double begin = shown.xs[0][highest - shown.ys[0].begin()];
    EXPECT_NEAR(begin, 8.2, 0.5);
    const double tau = stage.stat("1-term lifetime fit").section(QLatin1Char(' '), 1, 1).toDouble();
    const double expected = 3.2 * std::exp(-(begin - 8.0) / 3.2);
    EXPECT_NEAR(tau, expected, 0.12) << "the highest bin is at " << begin;
    // the decay itself, free of the estimator: the mean wait behind a point of it
    EXPECT_NEAR(momentsOf(shown, 9.0, 40.0).mean - 8.95, 3.2, kDeviations * 3.2 / std::sqrt(photons) + 0.03);
    ASSERT_EQ(shown.overlayYs.size(), 1);
}

TEST(WindowCorrelation, ASinglePhotonEmitterGivesADip) {
    PhysicsStage stage(
        sceneOf(R"({"kind": "emitter", "inputs": [1, 2], "rate_hz": 400000, "lifetime_ps": 6000},
        {"kind": "poisson", "input": 1, "rate_hz": 2000}, {"kind": "poisson", "input": 2, "rate_hz": 2000})"));
    ASSERT_TRUE(stage.open("Correlation", R"({"rangeNs": 40, "binNs": 0.5, "fitEnabled": true,
        "analysisMode": "Photon antibunching"})"));
    ASSERT_TRUE(stage.run(3.0));
    const ShownPlot g2 = stage.plot("integratedPlot");
    ASSERT_EQ(g2.yLabel, QStringLiteral("g2(tau)"));
    // g2 = 1 - exp(-(pump rate + 1 / lifetime) |t|) but for the dark counts
    const double time = 1.0 / (0.1 + 1.0 / 6.0);
    const double signal = std::pow(200.0 / 202.0, 2);
    const double perPoint = 202e3 * 202e3 * 0.5e-9 * 3.0; // accidental pairs
    for (const auto& [from, to] : {std::pair{-0.3, 0.3},
                                   {0.7, 2.1},
                                   {-2.1, -0.7},
                                   {2.2, 5.1},
                                   {-5.1, -2.2},
                                   {5.2, 10.1},
                                   {-10.1, -5.2},
                                   {20.0, 40.0},
                                   {-40.0, -20.0}}) {
        double expected = 0.0;
        for (const double x : g2.xs[0]) {
            if (x >= from && x <= to) {
                for (const double part : {-0.2, -0.1, 0.0, 0.1, 0.2}) {
                    expected += 0.2 * (1.0 - signal * std::exp(-std::abs(x + part) / time));
                }
            }
        }
        const Moments shown = momentsOf(g2, from, to);
        EXPECT_NEAR(shown.sum, expected,
                    kDeviations * std::sqrt(expected / perPoint) + 0.01 * expected + 0.03)
            << from << " to " << to << " ns";
    }
    EXPECT_LT(stage.stat("g2(0)").toDouble(), 0.4);
    ASSERT_EQ(g2.overlayYs.size(), 1);
    const auto lowest = std::min_element(g2.overlayYs[0].begin(), g2.overlayYs[0].end());
    EXPECT_NEAR(g2.xs[0][lowest - g2.overlayYs[0].begin()], 0.0, 0.3);
    const QString tau = stage.stat("1-term g2 fit");
    EXPECT_GT(tau.section(QLatin1Char(' '), 1, 1).toDouble(), 0.5 * time) << tau.toStdString();
}

// --- six pairs at once -------------------------------------------------------------------------------------

// Peaks of the pairs of input 1, in the order of inputs: lags in ns.
QList<double> peaksOf(const ShownPlot& shown) {
    QList<double> peaks;
    for (qsizetype series = 0; series < shown.ys.size(); ++series) {
        const auto highest = std::max_element(shown.ys[series].begin(), shown.ys[series].end());
        peaks.append(shown.xs[series][highest - shown.ys[series].begin()]);
    }
    return peaks;
}

TEST(WindowMultiCorrelation, AutoRemovalBringsThePeaksOfAllPairsToZero) {
    PhysicsStage stage(sceneOf(R"(
        {"kind": "pairs", "inputs": [1, 2], "rate_hz": 4000, "delay_ps": 3000, "sigma_ps": 100},
        {"kind": "pairs", "inputs": [1, 3], "rate_hz": 4000, "delay_ps": -5000, "sigma_ps": 100},
        {"kind": "pairs", "inputs": [1, 4], "rate_hz": 4000, "delay_ps": 12400, "sigma_ps": 100})"));
    ASSERT_TRUE(
        stage.open("Multi correlation",
                   R"({"rangeNs": 20, "binNs": 0.1, "pairs": [true, true, true, false, false, false]})"));
    ASSERT_TRUE(stage.run(1.0));
    const QList<double> delays{3.0, -5.0, 12.4};
    QList<double> peaks = peaksOf(stage.plot("histogramPlot"));
    ASSERT_EQ(peaks.size(), 3);
    for (int pair = 0; pair < 3; ++pair) {
        EXPECT_NEAR(peaks[pair], delays[pair], 0.25) << pair;
    }
    stage.control<QAbstractButton>("autoRemoveOffsets").click();
    EXPECT_TRUE(stage.control<QLabel>("status").text().startsWith(QStringLiteral("applied offsets: ")));
    EXPECT_TRUE(stage.control<QCheckBox>("offsetsEnabled").isChecked());
    for (int pair = 0; pair < 3; ++pair) {
        const QByteArray name = "offsetsNs" + QByteArray::number(pair + 2);
        EXPECT_NEAR(stage.control<QDoubleSpinBox>(name.constData()).value(), -delays[pair], 0.25);
    }
    ASSERT_TRUE(stage.run(1.0));
    peaks = peaksOf(stage.plot("histogramPlot"));
    for (const double peak : peaks) {
        EXPECT_NEAR(peak, 0.0, 0.25);
    }
    EXPECT_FALSE(stage.control<QLabel>("banner").isVisible()) << "nothing was thinned";
}

TEST(WindowMultiCorrelation, TheWindowsCountThePairs) {
    PhysicsStage stage(sceneOf(R"(
        {"kind": "pairs", "inputs": [2, 3], "rate_hz": 10000, "delay_ps": 3000, "sigma_ps": 100},
        {"kind": "poisson", "input": 1, "rate_hz": 1000}, {"kind": "poisson", "input": 4, "rate_hz": 1000})"));
    ASSERT_TRUE(stage.open("Multi correlation", R"({"rangeNs": 10, "binNs": 0.1, "windows": [{}, {}, {},
        {"a": {"centerNs": 3, "widthNs": 2}, "b": {"centerNs": -5, "widthNs": 2}}]})"));
    ASSERT_TRUE(stage.run(1.5));
    const ShownPlot trace = stage.plot("tracePlot");
    ASSERT_EQ(trace.ys.size(), 12);
    ASSERT_GE(trace.ys[6].size(), 12);
    for (const double pairs : trace.ys[6]) { // of inputs 2 and 3, window A, in 0.1 s
        EXPECT_NEAR(pairs, 1000, kDeviations * std::sqrt(1000.0) + 10);
    }
    for (const double accidentals : trace.ys[7]) {
        EXPECT_LT(accidentals, 10);
    }
}

} // namespace
} // namespace qorn::testing
