#include "FitOverlays.h"

#include "FitOverlaysPrinting.h"

#include <limits>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::axis;
using qorn::testing::isEmptyOverlay;
using qorn::testing::sameOverlay;

constexpr double kFwhmOfSigma = 2.354820045;

// Zero but for what is put in.
QList<double> spikes(qsizetype n, std::initializer_list<std::pair<qsizetype, double>> values) {
    QList<double> y(n, 0.0);
    for (const auto& [index, value] : values) {
        y[index] = value;
    }
    return y;
}

TEST(PeakFit, FourPointsAreTooFewAndFiveAreEnough) {
    const QList<double> x = axis(10, -2);
    const QList<double> y{0, 0, 10, 0, 0, 0, 0, 0, 0, 0};
    for (qsizetype n = 0; n <= 10; ++n) {
        for (const bool lorentzian : {false, true}) {
            EXPECT_EQ(makePeakFitOverlay(x.first(n), y.first(n), lorentzian, 1).valid, n >= 5) << n;
            EXPECT_EQ(makePeakFitOverlay(x, y.first(n), lorentzian, 1).valid, n >= 5) << n;
            EXPECT_EQ(makePeakFitOverlay(x.first(n), y, lorentzian, 1).valid, n >= 5) << n;
        }
    }
    EXPECT_TRUE(isEmptyOverlay(makePeakFitOverlay(x.first(4), y.first(4), false, 1)));
}

TEST(PeakFit, AFlatSeriesHasNoPeak) {
    for (const double level : {0.0, 1.0, 0.1, -1.0 / 3, -3.0, 1.1e9}) {
        for (const qsizetype n : {5, 19, 20, 30, 70, 100, 190, 4000}) {
            for (const bool lorentzian : {false, true}) {
                EXPECT_TRUE(
                    isEmptyOverlay(makePeakFitOverlay(axis(n, 0), QList<double>(n, level), lorentzian, 3)))
                    << level;
            }
        }
    }
}

TEST(PeakFit, ASeriesThatIsNowhereAboveItsEndsHasNoPeak) {
    QList<double> dip(40, 5.0);
    dip[20] = 1;
    EXPECT_TRUE(isEmptyOverlay(makePeakFitOverlay(axis(40, -20), dip, false, 1)));
    EXPECT_TRUE(isEmptyOverlay(makePeakFitOverlay(axis(40, -20), dip, true, 3)));
}

TEST(PeakFit, ASpikeIsAsWideAsOneStep) {
    const QList<double> x = axis(5, -2);
    const QList<double> y{1, 1, 11, 1, 1};
    const PeakFitOverlay gaussian = makePeakFitOverlay(x, y, false, 1);
    ASSERT_TRUE(gaussian.valid);
    EXPECT_DOUBLE_EQ(gaussian.center, 0);
    EXPECT_DOUBLE_EQ(gaussian.baseline, 1);
    EXPECT_DOUBLE_EQ(gaussian.amplitude, 10);
    EXPECT_DOUBLE_EQ(gaussian.width, 1);
    EXPECT_DOUBLE_EQ(gaussian.fwhm, kFwhmOfSigma);
    EXPECT_EQ(gaussian.exponential, 0);
    EXPECT_EQ(gaussian.label, QStringLiteral("Gaussian fit"));
    EXPECT_EQ(gaussian.details, QStringList{QStringLiteral("P1 center 0.000 ns")});
    const PeakFitOverlay lorentzian = makePeakFitOverlay(x, y, true, 1);
    EXPECT_DOUBLE_EQ(lorentzian.width, 1);
    EXPECT_DOUBLE_EQ(lorentzian.fwhm, 2);
    EXPECT_EQ(lorentzian.label, QStringLiteral("Lorentzian fit"));
    ASSERT_EQ(gaussian.y.size(), 5);
    ASSERT_EQ(lorentzian.y.size(), 5);
    for (qsizetype i = 0; i < 5; ++i) {
        EXPECT_DOUBLE_EQ(gaussian.y[i], 1 + 10 * std::exp(-0.5 * x[i] * x[i])) << i;
        EXPECT_DOUBLE_EQ(lorentzian.y[i], 1 + 10 / (x[i] * x[i] + 1)) << i;
    }
}

TEST(PeakFit, TheFloorIsTheMeanOfTheFirstAndTheLastTenthAndOfOnePointEachWhenThereAreFew) {
    struct Row {
        qsizetype n;
        qsizetype edge;
    };
    for (const Row& row :
         {Row{5, 1}, Row{19, 1}, Row{20, 2}, Row{29, 2}, Row{30, 3}, Row{99, 9}, Row{100, 10}}) {
        QList<double> y(row.n, 0.0);
        double sum = 0;
        for (qsizetype i = 0; i < row.n; ++i) {
            y[i] = static_cast<double>(i * i % 7);
            if (i < row.edge || i >= row.n - row.edge) {
                sum += y[i];
            }
        }
        y[row.n / 2] = 100;
        const PeakFitOverlay overlay = makePeakFitOverlay(axis(row.n, 0), y, false, 1);
        ASSERT_TRUE(overlay.valid) << row.n;
        EXPECT_DOUBLE_EQ(overlay.baseline, sum / static_cast<double>(2 * row.edge)) << row.n;
        EXPECT_DOUBLE_EQ(overlay.amplitude, 100 - overlay.baseline) << row.n;
    }
}

TEST(PeakFit, APeakAtTheFirstPointIsMeasuredFromThere) {
    // Floor 5, half height 7.5; the first point below is number 6.
    const QList<double> y{10, 9, 8, 8, 8, 8, 3, 0, 0, 0};
    const PeakFitOverlay overlay = makePeakFitOverlay(axis(10, 100, 0.5), y, true, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.center, 100);
    EXPECT_DOUBLE_EQ(overlay.baseline, 5);
    EXPECT_DOUBLE_EQ(overlay.width, 0.5 * 6 * 0.5);
    EXPECT_DOUBLE_EQ(overlay.fwhm, 6 * 0.5);
    // The last point is the first one below 9.75, and the end when none is.
    for (const double last : {9.0, 9.8}) {
        const double rest = last == 9.0 ? 9.8 : 9.95;
        const QList<double> wide{10, rest, rest, rest, rest, rest, rest, rest, rest, last};
        EXPECT_DOUBLE_EQ(makePeakFitOverlay(axis(10, 0), wide, true, 1).fwhm, 9) << last;
    }
}

TEST(PeakFit, APeakAtTheLastPointIsMeasuredToThere) {
    const QList<double> y{0, 0, 0, 3, 8, 8, 8, 8, 9, 10};
    const PeakFitOverlay overlay = makePeakFitOverlay(axis(10, 100, 0.5), y, true, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.center, 104.5);
    EXPECT_DOUBLE_EQ(overlay.fwhm, 6 * 0.5);
}

TEST(PeakFit, APointExactlyAtHalfHeightStillBelongsToThePeak) {
    // Half height is 5: the sides end at numbers 2 and 8.
    const QList<double> y{0, 0, 4.999, 5, 5, 10, 7, 5, 4, 0, 0};
    EXPECT_DOUBLE_EQ(makePeakFitOverlay(axis(11, 0), y, true, 1).fwhm, 6);
}

TEST(PeakFit, OfTwoEqualMaximaTheFirstIsTheStrongest) {
    const QList<double> y = spikes(30, {{10, 50}, {20, 50}});
    for (const int terms : {1, 2}) {
        const PeakFitOverlay overlay = makePeakFitOverlay(axis(30, 0), y, false, terms);
        EXPECT_DOUBLE_EQ(overlay.center, 10);
        ASSERT_EQ(overlay.details.size(), terms);
        EXPECT_EQ(overlay.details.first(), QStringLiteral("P1 center 10.000 ns"));
        EXPECT_EQ(overlay.details.last(),
                  terms == 1 ? QStringLiteral("P1 center 10.000 ns") : QStringLiteral("P2 center 20.000 ns"));
    }
}

TEST(PeakFit, OneSharpPeakStaysOneTermWhenThreeAreAskedFor) {
    const QList<double> y = spikes(30, {{14, 7}});
    const PeakFitOverlay gaussian = makePeakFitOverlay(axis(30, 0), y, false, 3);
    EXPECT_EQ(gaussian.label, QStringLiteral("1-term Gaussian fit"));
    EXPECT_EQ(gaussian.details, QStringList{QStringLiteral("P1 center 14.000 ns")});
    EXPECT_DOUBLE_EQ(gaussian.amplitude, 7);
    EXPECT_EQ(gaussian.y, makePeakFitOverlay(axis(30, 0), y, false, 1).y);
    EXPECT_EQ(makePeakFitOverlay(axis(30, 0), y, true, 3).label, QStringLiteral("1-term Lorentzian fit"));
}

TEST(PeakFit, NoneOrFewerTermsAreOneAndMoreThanThreeAreThree) {
    const QList<double> x = axis(60, 0);
    const QList<double> y = spikes(60, {{10, 90}, {20, 80}, {30, 70}, {40, 60}, {50, 50}});
    struct Row {
        int terms;
        qsizetype taken;
        const char* gaussian;
        const char* lorentzian;
    };
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    for (const Row& row :
         {Row{least, 1, "Gaussian fit", "Lorentzian fit"}, Row{-1, 1, "Gaussian fit", "Lorentzian fit"},
          Row{0, 1, "Gaussian fit", "Lorentzian fit"}, Row{1, 1, "Gaussian fit", "Lorentzian fit"},
          Row{2, 2, "2-term Gaussian fit", "2-term Lorentzian fit"},
          Row{3, 3, "3-term Gaussian fit", "3-term Lorentzian fit"},
          Row{5, 3, "3-term Gaussian fit", "3-term Lorentzian fit"},
          Row{most, 3, "3-term Gaussian fit", "3-term Lorentzian fit"}}) {
        const PeakFitOverlay gaussian = makePeakFitOverlay(x, y, false, row.terms);
        const PeakFitOverlay lorentzian = makePeakFitOverlay(x, y, true, row.terms);
        EXPECT_EQ(gaussian.details.size(), row.taken) << row.terms;
        EXPECT_EQ(lorentzian.details.size(), row.taken) << row.terms;
        EXPECT_EQ(gaussian.label, QLatin1String(row.gaussian));
        EXPECT_EQ(lorentzian.label, QLatin1String(row.lorentzian));
        EXPECT_DOUBLE_EQ(gaussian.amplitude, QList<double>({90, 170, 240})[row.taken - 1]);
    }
    EXPECT_TRUE(sameOverlay(makePeakFitOverlay(x, y, false, 5), makePeakFitOverlay(x, y, false, 3)));
}

TEST(PeakFit, TheCurveIsTheSumOfItsTermsInTheOrderOfTheirHeights) {
    const QList<double> x = axis(41, -20);
    QList<double> y = spikes(41, {{10, 30}, {20, 100}, {33, 60}});
    for (double& value : y) {
        value += 2;
    }
    const PeakFitOverlay overlay = makePeakFitOverlay(x, y, true, 3);
    EXPECT_EQ(overlay.details,
              (QStringList{QStringLiteral("P1 center 0.000 ns"), QStringLiteral("P2 center 13.000 ns"),
                           QStringLiteral("P3 center -10.000 ns")}));
    EXPECT_DOUBLE_EQ(overlay.baseline, 2);
    EXPECT_DOUBLE_EQ(overlay.amplitude, 190);
    EXPECT_DOUBLE_EQ(overlay.center, 0);
    ASSERT_EQ(overlay.y.size(), 41);
    for (qsizetype i = 0; i < 41; ++i) {
        const auto term = [&](double a, double c) { return a / ((x[i] - c) * (x[i] - c) + 1); };
        EXPECT_DOUBLE_EQ(overlay.y[i], 2 + term(100, 0) + term(60, 13) + term(30, -10)) << i;
    }
}

TEST(PeakFit, PeaksAreTwoStepsApartAtLeast) {
    for (const qsizetype distance : {1, 2, 3}) {
        const QList<double> y = spikes(30, {{10, 50}, {10 + distance, 10}});
        const PeakFitOverlay overlay = makePeakFitOverlay(axis(30, 0), y, false, 3);
        EXPECT_EQ(overlay.details.size(), distance < 2 ? 1 : 2) << distance;
    }
    // A second peak too near to the first one leaves room for a third.
    const PeakFitOverlay overlay =
        makePeakFitOverlay(axis(30, 0), spikes(30, {{10, 50}, {11, 20}, {17, 3}}), false, 2);
    EXPECT_EQ(overlay.details.last(), QStringLiteral("P2 center 17.000 ns"));
}

TEST(PeakFit, PeaksAreTwoThirdsOfTheWidthApartAtLeast) {
    // From number 15 to 25 the strongest is 10 wide, so that others are 6.5 away at least.
    for (const qsizetype distance : {6, 7}) {
        QList<double> y(60, 0.0);
        for (qsizetype i = 16; i < 25; ++i) {
            y[i] = 60 + static_cast<double>(i);
        }
        y[20] = 100;
        y[20 + distance] = 40; // below half height
        const PeakFitOverlay overlay = makePeakFitOverlay(axis(60, 0), y, true, 2);
        EXPECT_DOUBLE_EQ(overlay.fwhm, 10);
        EXPECT_EQ(overlay.details.size(), distance == 7 ? 2 : 1) << distance;
    }
}

TEST(PeakFit, ASmoothPeakHasFurtherTermsOnItsSlopes) {
    QList<double> y(61, 0.0);
    for (qsizetype i = 10; i <= 50; ++i) {
        y[i] = 100.0 - 5.0 * static_cast<double>(std::abs(i - 30));
    }
    const PeakFitOverlay overlay = makePeakFitOverlay(axis(61, 0), y, false, 3);
    // First below half height are numbers 19 and 41: 22 wide, so that peaks are 14.3 apart at least.
    EXPECT_EQ(overlay.label, QStringLiteral("3-term Gaussian fit"));
    EXPECT_EQ(overlay.details,
              (QStringList{QStringLiteral("P1 center 30.000 ns"), QStringLiteral("P2 center 15.000 ns"),
                           QStringLiteral("P3 center 45.000 ns")}));
    EXPECT_DOUBLE_EQ(overlay.amplitude, 100 + 25 + 25);
}

TEST(PeakFit, TheWidthIsThatOfTheWeightsWithinOneAndAHalfWidthsOfThePeak) {
    struct Row {
        qsizetype distance;
        double width;
    };
    // The spike is 2 wide, and 3 away is the last that counts: weights 10 and 4 there.
    const double both = std::sqrt(4.0 * 9 / 14 - (12.0 / 14) * (12.0 / 14));
    for (const Row& row : {Row{3, both}, Row{-3, both}, Row{4, 1}, Row{-4, 1}}) {
        const QList<double> y = spikes(30, {{15, 10}, {15 + row.distance, 4}});
        const PeakFitOverlay overlay = makePeakFitOverlay(axis(30, 0), y, false, 1);
        EXPECT_NEAR(overlay.width, row.width, 1e-9) << row.distance;
        EXPECT_NEAR(overlay.fwhm, kFwhmOfSigma * row.width, 1e-9) << row.distance;
        EXPECT_DOUBLE_EQ(makePeakFitOverlay(axis(30, 0), y, true, 1).width, 1);
    }
    // What is below the floor weighs nothing.
    const QList<double> y = spikes(30, {{15, 10}, {16, -8}, {18, 4}});
    EXPECT_NEAR(makePeakFitOverlay(axis(30, 0), y, false, 1).width, both, 1e-9);
}

TEST(PeakFit, ThePeakMayStandOnFallingLags) {
    const QList<double> y{0, 0, 1, 6, 10, 6, 1, 0, 0, 0, 0};
    const PeakFitOverlay rising = makePeakFitOverlay(axis(11, -4), y, true, 1);
    const PeakFitOverlay falling = makePeakFitOverlay(axis(11, 4, -1), y, true, 1);
    EXPECT_DOUBLE_EQ(rising.width, falling.width);
    EXPECT_DOUBLE_EQ(rising.fwhm, 4);
    EXPECT_EQ(rising.y, falling.y);
}

TEST(PeakFit, ALagThatComesBackLeavesTheWeightsToTellTheWidth) {
    // Both ends of the peak are at lag 1: no width at half height; the weights within an eighth of the span.
    // The one at 1.03 is beyond it.
    const QList<double> x{-4, -3.9, 1, 0, 1, 1.03, 4};
    const QList<double> y{0, 0, 4, 10, 4, 4, 0};
    const double sigma = std::sqrt(8.0 / 18 - (8.0 / 18) * (8.0 / 18));
    EXPECT_NEAR(makePeakFitOverlay(x, y, false, 1).width, sigma, 1e-9);
    EXPECT_NEAR(makePeakFitOverlay(x, y, true, 1).width, 0.5 * kFwhmOfSigma * sigma, 1e-9);
}

TEST(PeakFit, PointsAtOneLagAreTheNarrowestPeak) {
    const QList<double> x(6, 0.0);
    const QList<double> y{0, 3, 10, 9, 0, 0};
    const PeakFitOverlay overlay = makePeakFitOverlay(x, y, false, 3);
    ASSERT_TRUE(overlay.valid);
    EXPECT_DOUBLE_EQ(overlay.width, 1e-12);
    EXPECT_EQ(overlay.details.size(), 1);
    EXPECT_EQ(overlay.y, QList<double>(6, 10.0));
}

TEST(PeakFit, CurveValuesThatAreNotFiniteAreTheFloor) {
    QList<double> y(11, 2.0);
    y[5] = std::numeric_limits<double>::infinity();
    const PeakFitOverlay overlay = makePeakFitOverlay(axis(11, -5), y, true, 1);
    ASSERT_TRUE(overlay.valid);
    EXPECT_EQ(overlay.y, QList<double>(11, 2.0));
    EXPECT_DOUBLE_EQ(overlay.baseline, 2);
}

TEST(PeakFit, NumbersThatAreNoneMakeNoCurveOfSuch) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const qsizetype n : {6, 20, 500}) {
        for (qsizetype period = 1; period < 9; ++period) {
            QList<double> y = axis(n, 0);
            for (qsizetype i = period / 2; i < n; i += period) {
                y[i] = nan;
            }
            for (const bool lorentzian : {false, true}) {
                const PeakFitOverlay overlay = makePeakFitOverlay(axis(n, 0), y, lorentzian, 3);
                ASSERT_EQ(overlay.y.size(), overlay.valid ? n : 0);
                for (const double value : overlay.y) {
                    ASSERT_TRUE(std::isfinite(value)) << n << " " << period;
                }
            }
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
