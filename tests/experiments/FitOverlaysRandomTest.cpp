// Random series of the kinds that are measured: the overlays are what the steps of their definition give.
#include "FitOverlays.h"

#include "FitOverlaysPrinting.h"
#include "FitOverlaysReference.h"
#include "TagGenerator.h"

#include <ostream>
#include <string>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::RandomSource;
using qorn::testing::ReferenceFit;
using qorn::testing::sameOverlay;

struct SeriesRow {
    const char* name;
    std::uint64_t seed;
    double step;      // between lags
    double scatter;   // of the steps, as a part of them
    bool whole;       // counts are whole numbers, with many ties
    int peaks;        // of random heights, places and widths
    double noise;     // on a floor of 5
    double direction; // of the peaks: 1 up, -1 down
    bool decays;      // rise at once and fall slowly
};

void PrintTo(const SeriesRow& row, std::ostream* out) {
    *out << row.name;
}

struct Series {
    QList<double> x;
    QList<double> y;
};

double heightAt(double lag, double center, double width, bool decays) {
    if (decays) {
        return lag < center ? 0 : std::exp(-(lag - center) / width);
    }
    return std::exp(-0.5 * (lag - center) * (lag - center) / (width * width));
}

Series makeSeries(const SeriesRow& row, qsizetype n, RandomSource& random) {
    Series series;
    double lag = -0.5 * row.step * static_cast<double>(n);
    for (qsizetype i = 0; i < n; ++i) {
        series.x.append(lag);
        lag += row.step * (1 + row.scatter * (random.unit() - 0.5));
        series.y.append(5 + row.noise * random.unit());
    }
    const double span = std::abs(row.step) * static_cast<double>(n);
    for (int peak = 0; peak < row.peaks; ++peak) {
        const double height = row.direction * 20 * random.unit();
        const double center = span * (random.unit() - 0.5);
        const double width = span * 0.1 * random.unit() + 1e-3;
        for (qsizetype i = 0; i < n; ++i) {
            series.y[i] += height * heightAt(series.x[i], center, width, row.decays);
        }
    }
    if (row.whole) {
        for (double& value : series.y) {
            value = std::round(value);
        }
    }
    return series;
}

class FitSeries : public ::testing::TestWithParam<SeriesRow> {};

TEST_P(FitSeries, GetTheCurveOfTheDefinition) {
    const SeriesRow& row = GetParam();
    RandomSource random(row.seed);
    int valid = 0;
    int compared = 0;
    for (int round = 0; round < 120; ++round) {
        const qsizetype n = round == 0 ? 4000 : random.between(4, round % 2 == 0 ? 30 : 400);
        Series series = makeSeries(row, n, random);
        if (round % 10 == 9 && n > 10) {
            series.y.resize(n - random.between(1, 4)); // fewer values than lags
        }
        const int terms = random.between(-1, 5);
        for (const bool flag : {false, true}) {
            SCOPED_TRACE("round " + std::to_string(round) +
                         (flag ? " Lorentzian or dip" : " Gaussian or decay"));
            ReferenceFit reference(series.x, series.y);
            const PeakFitOverlay peak = makePeakFitOverlay(series.x, series.y, flag, terms);
            ASSERT_TRUE(sameOverlay(peak, reference.peak(flag, terms)));
            const PeakFitOverlay curve = makeExponentialFitOverlay(series.x, series.y, flag, terms);
            ASSERT_TRUE(sameOverlay(curve, reference.exponential(flag, terms)));
            valid += (peak.valid ? 1 : 0) + (curve.valid ? 1 : 0);
            compared += 2;
        }
    }
    EXPECT_GT(valid, compared / 3);
}

INSTANTIATE_TEST_SUITE_P(Random, FitSeries,
                         ::testing::Values(SeriesRow{"Noise", 1, 0.125, 0, false, 0, 3, 1, false},
                                           SeriesRow{"WholeNoise", 2, 0.125, 0, true, 0, 4, 1, false},
                                           SeriesRow{"OnePeak", 3, 0.125, 0, false, 1, 1, 1, false},
                                           SeriesRow{"OnePeakWithoutNoise", 4, 0.25, 0, false, 1, 0, 1,
                                                     false},
                                           SeriesRow{"ThreePeaks", 5, 0.008, 0, false, 3, 1, 1, false},
                                           SeriesRow{"WholePeaks", 6, 0.008, 0, true, 4, 3, 1, false},
                                           SeriesRow{"UnevenLags", 7, 0.1, 0.9, false, 3, 1, 1, false},
                                           SeriesRow{"FallingLags", 8, -0.1, 0.2, true, 3, 2, 1, false},
                                           SeriesRow{"LagsBackAndForth", 9, 0.1, 6, true, 3, 2, 1, false},
                                           SeriesRow{"Dip", 10, 0.125, 0, false, 1, 0.3, -1, false},
                                           SeriesRow{"DipsOfTies", 11, 0.125, 0, true, 2, 1, -1, false},
                                           SeriesRow{"Decay", 12, 0.05, 0, false, 1, 0.2, 1, true},
                                           SeriesRow{"WholeDecays", 13, 0.05, 0.3, true, 2, 1, 1, true}),
                         [](const auto& test) { return test.param.name; });

} // namespace
} // namespace qorn::timetagger::gui
