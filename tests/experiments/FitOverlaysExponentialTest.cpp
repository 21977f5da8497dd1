#include "FitOverlays.h"

#include "FitOverlaysPrinting.h"

#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::axis;
using qorn::testing::isEmptyOverlay;
using qorn::testing::sameOverlay;

// At 1 but for what is put in.
QList<double> dips(qsizetype n, std::initializer_list<std::pair<qsizetype, double>> values) {
    QList<double> y(n, 1.0);
    for (const auto& [index, value] : values) {
        y[index] = value;
    }
    return y;
}

TEST(ExponentialFit, FourPointsAreTooFewAndFiveAreEnough) {
    const QList<double> x = axis(10, -2);
    const QList<double> dip{1, 1, 0, 1, 1, 1, 1, 1, 1, 1};
    const QList<double> decay{0, 0, 8, 4, 0, 0, 0, 0, 0, 0};
    for (qsizetype n = 0; n <= 10; ++n) {
        for (const bool isDip : {false, true}) {
            const QList<double>& y = isDip ? dip : decay;
            const bool enough = n >= 5;
            EXPECT_EQ(makeExponentialFitOverlay(x.first(n), y.first(n), isDip, 1).valid, enough) << n;
            EXPECT_EQ(makeExponentialFitOverlay(x, y.first(n), isDip, 1).valid, enough) << n;
            EXPECT_EQ(makeExponentialFitOverlay(x.first(n), y, isDip, 1).valid, enough) << n;
        }
    }
    EXPECT_TRUE(isEmptyOverlay(makeExponentialFitOverlay(x.first(4), dip.first(4), true, 1)));
}

TEST(ExponentialFit, AFlatSeriesHasNeitherDipNorDecay) {
    for (const double level : {0.0, 1.0, 0.1, -1.0 / 3, -3.0, 1.1e9}) {
        for (const qsizetype n : {5, 19, 20, 30, 70, 100, 190, 4000}) {
            for (const bool dip : {false, true}) {
                EXPECT_TRUE(
                    isEmptyOverlay(makeExponentialFitOverlay(axis(n, 0), QList<double>(n, level), dip, 3)))
                    << level;
            }
        }
    }
}

TEST(ExponentialFit, APeakIsNoDipAndADipIsNoDecay) {
    const QList<double> peak = dips(30, {{15, 4}});
    const QList<double> dip = dips(30, {{15, 0}});
    EXPECT_TRUE(isEmptyOverlay(makeExponentialFitOverlay(axis(30, -15), peak, true, 1)));
    EXPECT_TRUE(isEmptyOverlay(makeExponentialFitOverlay(axis(30, -15), dip, false, 1)));
    EXPECT_TRUE(makeExponentialFitOverlay(axis(30, -15), peak, false, 1).valid);
    EXPECT_TRUE(makeExponentialFitOverlay(axis(30, -15), dip, true, 1).valid);
}

TEST(ExponentialFit, TheDipIsAsWideAsItsDepthIsAwayFromZeroOnAverage) {
    // Depths 0.2, 0.8, 0.4 at 2, 0 and 3 from zero.
    const QList<double> x = axis(11, -5);
    const PeakFitOverlay overlay =
        makeExponentialFitOverlay(x, dips(11, {{3, 0.8}, {5, 0.2}, {8, 0.6}}), true, 1);
    ASSERT_TRUE(overlay.valid);
    const double tau = (0.2 * 2 + 0.4 * 3) / 1.4;
    EXPECT_NEAR(overlay.width, tau, 1e-12);
    EXPECT_DOUBLE_EQ(overlay.center, 0);
    EXPECT_DOUBLE_EQ(overlay.baseline, 1);
    EXPECT_DOUBLE_EQ(overlay.amplitude, 0.8);
    EXPECT_DOUBLE_EQ(overlay.fwhm, 0);
    EXPECT_EQ(overlay.exponential, 1);
    EXPECT_EQ(overlay.label, QStringLiteral("1-term g2 fit"));
    EXPECT_EQ(overlay.details, QStringList{QStringLiteral("T1 tau 1.143 ns")});
    ASSERT_EQ(overlay.y.size(), 11);
    for (qsizetype i = 0; i < 11; ++i) {
        EXPECT_NEAR(overlay.y[i], 1 - 0.8 * std::exp(-std::abs(x[i]) / tau), 1e-12) << i;
    }
    // What is above the floor weighs nothing.
    const PeakFitOverlay other =
        makeExponentialFitOverlay(x, dips(11, {{1, 7.0}, {3, 0.8}, {5, 0.2}, {8, 0.6}}), true, 1);
    EXPECT_NEAR(other.width, tau, 1e-12);
}

TEST(ExponentialFit, ADipAwayFromZeroIsReportedWhereItIsAndDrawnAtZero) {
    const QList<double> x = axis(21, -10);
    const PeakFitOverlay overlay = makeExponentialFitOverlay(x, dips(21, {{14, 0.25}}), true, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.center, 4);
    EXPECT_DOUBLE_EQ(overlay.width, 4);
    ASSERT_EQ(overlay.y.size(), 21);
    EXPECT_DOUBLE_EQ(overlay.y[10], 0.25);
    for (qsizetype i = 0; i < 21; ++i) {
        EXPECT_DOUBLE_EQ(overlay.y[i], 1 - 0.75 * std::exp(-std::abs(x[i]) / 4)) << i;
    }
}

TEST(ExponentialFit, OfTwoEqualExtremesTheFirstIsTaken) {
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(21, -10), dips(21, {{6, 0}, {14, 0}}), true, 1).center,
                     -4);
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(21, -10), dips(21, {{6, 9}, {14, 9}}), false, 1).center,
                     -4);
}

TEST(ExponentialFit, TheDecayBeginsAtItsMaximumAndIsAsLongAsItsHeightIsAfterItOnAverage) {
    const QList<double> x = axis(10, 3, 0.5);
    const QList<double> y{0, 6, 8, 4, 2, 1, 0, 0, 0, 0};
    const PeakFitOverlay overlay = makeExponentialFitOverlay(x, y, false, 1);
    ASSERT_TRUE(overlay.valid);
    // The rise weighs too, at no distance.
    const double tau = (4 * 0.5 + 2 * 1.0 + 1 * 1.5) / (6 + 8 + 4 + 2 + 1);
    EXPECT_NEAR(overlay.width, tau, 1e-12);
    EXPECT_DOUBLE_EQ(overlay.center, 4);
    EXPECT_DOUBLE_EQ(overlay.baseline, 0);
    EXPECT_DOUBLE_EQ(overlay.amplitude, 8);
    EXPECT_DOUBLE_EQ(overlay.fwhm, 0);
    EXPECT_EQ(overlay.exponential, 1);
    EXPECT_EQ(overlay.label, QStringLiteral("1-term lifetime fit"));
    EXPECT_EQ(overlay.details, QStringList{QStringLiteral("T1 tau 0.262 ns")});
    ASSERT_EQ(overlay.y.size(), 10);
    EXPECT_EQ(overlay.y[0], 0);
    EXPECT_EQ(overlay.y[1], 0);
    EXPECT_DOUBLE_EQ(overlay.y[2], 8);
    for (qsizetype i = 2; i < 10; ++i) {
        EXPECT_NEAR(overlay.y[i], 8 * std::exp(-(x[i] - 4) / tau), 1e-12) << i;
    }
}

TEST(ExponentialFit, TheFloorIsTheMeanOfTheFirstAndTheLastTenthAndOfOnePointEachWhenThereAreFew) {
    for (const auto& [n, edge] :
         {std::pair<qsizetype, qsizetype>{5, 1}, {19, 1}, {20, 2}, {29, 2}, {30, 3}, {100, 10}}) {
        QList<double> y;
        double sum = 0;
        for (qsizetype i = 0; i < n; ++i) {
            y.append(static_cast<double>(i * i % 7));
            if (i < edge || i >= n - edge) {
                sum += y.last();
            }
        }
        for (const bool dip : {false, true}) {
            y[n / 2] = dip ? -100 : 100;
            const PeakFitOverlay overlay = makeExponentialFitOverlay(axis(n, 0), y, dip, 1);
            ASSERT_TRUE(overlay.valid) << n;
            EXPECT_DOUBLE_EQ(overlay.baseline, sum / static_cast<double>(2 * edge)) << n;
            EXPECT_DOUBLE_EQ(overlay.amplitude, std::abs(y[n / 2] - overlay.baseline)) << n;
        }
    }
}

TEST(ExponentialFit, TheTimeConstantIsATwoHundredthOfTheSpanAtLeastAndTheSpanAtMost) {
    const QList<double> spike = dips(11, {{5, 3}});
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(11, -5), spike, false, 1).width, 10 / 200.0);
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(11, 5, -1), spike, false, 1).width, 10 / 200.0);
    const QList<double> dip = dips(11, {{5, 0}});
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(11, -5), dip, true, 1).width, 10 / 200.0);
    // A dip 1005 away from zero on a span of 10.
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(11, 1000), dip, true, 1).width, 10);
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(axis(11, -1010), dip, true, 1).width, 10);
    // No span at all.
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(QList<double>(11, 2.0), dip, true, 1).width, 1e-12);
    EXPECT_DOUBLE_EQ(makeExponentialFitOverlay(QList<double>(11, 2.0), spike, false, 1).width, 1e-12 / 200);
}

TEST(ExponentialFit, TheSpanReachesToTheEndOfTheLagsAlsoWhenThereAreFewerValues) {
    for (const bool dip : {false, true}) {
        const QList<double> y = dips(11, {{5, dip ? 0 : 3}});
        QList<double> x = axis(11, -5);
        x.append(395);
        const PeakFitOverlay overlay = makeExponentialFitOverlay(x, y, dip, 1);
        ASSERT_TRUE(overlay.valid);
        EXPECT_DOUBLE_EQ(overlay.width, 2);
        ASSERT_GE(overlay.y.size(), 11);
        EXPECT_DOUBLE_EQ(overlay.y[7], dip ? 1 - std::exp(-1) : 1 + 2 * std::exp(-1));
    }
    // And with fewer lags than values the last lag is the end.
    const PeakFitOverlay overlay =
        makeExponentialFitOverlay(axis(11, -5), dips(40, {{5, 0}, {30, -9}}), true, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.amplitude, 1);
    EXPECT_EQ(overlay.y.size(), 11);
}

TEST(ExponentialFit, TheTimeConstantsOfItsTermsAreMultiplesOfTheFirst) {
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    const QStringList lines{QStringLiteral("T1 tau 2.000 ns"), QStringLiteral("T2 tau 4.000 ns"),
                            QStringLiteral("T3 tau 6.000 ns")};
    const QList<double> x = axis(31, -15);
    for (const auto& [terms, used] : {std::pair<int, int>{least, 1},
                                      {-1, 1},
                                      {0, 1},
                                      {1, 1},
                                      {2, 2},
                                      {3, 3},
                                      {4, 3},
                                      {5, 3},
                                      {most, 3}}) {
        const PeakFitOverlay dip = makeExponentialFitOverlay(x, dips(31, {{13, 0}, {17, 0}}), true, terms);
        EXPECT_EQ(dip.label, QString::number(used) + QStringLiteral("-term g2 fit"));
        EXPECT_EQ(dip.details, lines.first(used));
        EXPECT_DOUBLE_EQ(dip.width, 2);
        const PeakFitOverlay decay = makeExponentialFitOverlay(x, dips(31, {{13, 9}, {17, 9}}), false, terms);
        EXPECT_EQ(decay.label, QString::number(used) + QStringLiteral("-term lifetime fit"));
        EXPECT_EQ(decay.details, lines.first(used));
        EXPECT_DOUBLE_EQ(decay.width, 2);
        ASSERT_EQ(dip.y.size(), 31);
        ASSERT_EQ(decay.y.size(), 31);
        for (qsizetype i = 0; i < 31; ++i) {
            double depth = 0;
            double height = 0;
            for (int k = 1; k <= used; ++k) {
                depth += 1.0 / used * std::exp(-std::abs(x[i]) / (2.0 * k));
                height += i < 13 ? 0 : 8.0 / used * std::exp(-(x[i] + 2) / (2.0 * k));
            }
            EXPECT_NEAR(dip.y[i], 1 - depth, 1e-12);
            EXPECT_NEAR(decay.y[i], 1 + height, 1e-12);
        }
    }
}

TEST(ExponentialFit, LagsOfAnyOrderAreMeasuredByTheirValues) {
    // Falling lags: what comes after the maximum by its lag stands before it in the list.
    const QList<double> y{0, 0, 2, 4, 8, 0, 0, 0, 0, 0};
    const PeakFitOverlay overlay = makeExponentialFitOverlay(axis(10, 9, -1), y, false, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.width, (4.0 * 1 + 2.0 * 2) / 14);
    EXPECT_DOUBLE_EQ(overlay.y[4], 8);
    EXPECT_EQ(overlay.y[5], 0);
    EXPECT_GT(overlay.y[0], 0);
}

TEST(ExponentialFit, NumbersThatAreNoneAreSurvived) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const qsizetype n : {6, 20, 500}) {
        for (qsizetype period = 1; period < 9; ++period) {
            QList<double> y = axis(n, 0);
            for (qsizetype i = period / 2; i < n; i += period) {
                y[i] = nan;
            }
            for (const bool dip : {false, true}) {
                const PeakFitOverlay overlay = makeExponentialFitOverlay(axis(n, 0), y, dip, 3);
                ASSERT_EQ(overlay.y.size(), overlay.valid ? n : 0);
            }
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
