// Whole pictures of rich states in every scheme against a plain painting of the same state.
#include "ReferencePicture.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace plottest;

QList<double> ramp(int count, double first, double step) {
    QList<double> values;
    for (int i = 0; i < count; ++i) {
        values.append(first + i * step);
    }
    return values;
}

QList<double> wave(int count, double level, double swing) {
    QList<double> values;
    for (int i = 0; i < count; ++i) {
        values.append(level + swing * std::sin(i * 0.37));
    }
    return values;
}

QStringList texts(std::initializer_list<const char*> list) {
    QStringList result;
    for (const char* text : list) {
        result.append(QString::fromLatin1(text));
    }
    return result;
}

PlotState histogram() {
    PlotState state;
    state.name = "Histogram";
    state.view = {-20.5, 20.5, 0.0, 1500.0};
    state.barXs = ramp(41, -20, 1);
    state.barHeights = wave(41, 700, 900);
    state.barWidth = 0.8;
    state.overlays = {
        {ramp(200, -20, 0.2)}, {wave(200, 800, 300)}, texts({"fit"}), {kRed}, BarChartWidget::Lines};
    state.xLabel = QStringLiteral("Delay (ns)");
    state.yLabel = QStringLiteral("Counts");
    state.statTexts = texts({"mean 3.25 ns", "deviation 1.5 ns"});
    state.statColors = {kBlue};
    state.markers = {250, 1500, 9000};
    state.markerLabels = texts({"floor", "top", "never"});
    state.markerColors = {kRed};
    return state;
}

PlotState traces() {
    PlotState state;
    state.name = "Traces";
    state.size = {620, 400};
    state.view = {0.0, 60.0, -2.5, 2.5};
    for (int i = 0; i < 6; ++i) {
        state.series.xs.append(ramp(150, 0, 0.4));
        state.series.ys.append(wave(150, i * 0.7 - 1.7, 0.6));
    }
    state.series.labels = texts({"A", "B", "Channel C", "D", "E"});
    state.series.colors = {kRed, kBlue};
    state.series.mode = BarChartWidget::Lines;
    state.overlays = {{{10, 20, 30}, {5, 50}},
                      {{0, 1, 9}, {-2, 2}},
                      texts({"peaks", "trend"}),
                      {kInk},
                      BarChartWidget::Points};
    state.xLabel = QStringLiteral("Time (s)");
    state.markers = {0.0};
    return state;
}

PlotState points() {
    PlotState state;
    state.name = "Points";
    state.view = {1e-3, 5e-3, 1e6, 9e6};
    state.series = {{ramp(20, 1e-3, 2e-4), ramp(20, 1e-3, 2e-4)},
                    {wave(20, 4e6, 2e6), wave(20, 6e6, 2e6)},
                    texts({"start", "stop"}),
                    {kRed},
                    BarChartWidget::Points};
    state.overlays = {{{1e-3, 5e-3}}, {{2e6, 8e6}}, {}, {}, BarChartWidget::Bars};
    state.lineWidth = 3.0;
    state.penStyle = Qt::DashLine;
    state.yLabel = QStringLiteral("Rate (1/s)");
    return state;
}

PlotState categories() {
    PlotState state;
    state.name = "Categories";
    state.size = {700, 300};
    state.fontPointSize = 13;
    state.view = {-0.5, 5.5, -10.0, 30.0};
    state.barXs = ramp(6, 0, 1);
    state.barHeights = {12, -4, 50, 0, 3.3, -80};
    state.barWidth = 0.7;
    state.ticks = {0, 1, 2, 3, 4, 5, 12};
    state.tickLabels = texts({"A", "B", "A and B", "C", ""});
    state.lineWidth = 4.0;
    state.fill = kGreen;
    state.border = kBlue;
    state.statTexts = texts({"6 inputs"});
    state.legend = false;
    return state;
}

struct PictureCase {
    PlotState state;
    Scheme scheme;
};

void PrintTo(const PictureCase& picture, std::ostream* stream) {
    *stream << picture.state.name;
}

QList<PictureCase> pictureCases() {
    QList<PictureCase> cases;
    for (const PlotState& state : {histogram(), traces(), points(), categories()}) {
        for (const Scheme& scheme : schemes()) {
            cases.append({state, scheme});
        }
    }
    return cases;
}

bool knownIn(const QImage& b, int x, int y, const QColor& colour) {
    for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
            if (b.rect().contains(x + dx, y + dy) && sameColour(colour, b.pixelColor(x + dx, y + dy), 32)) {
                return true;
            }
        }
    }
    return false;
}

// Pixels of `a` that look like none of the pixels around the same place in `b` and touch at least two others
// of their kind: what a missing or misplaced element leaves, but not a single pixel at the join of two
// strokes.
int strangers(const QImage& a, const QImage& b) {
    QImage strange(a.size(), QImage::Format_Grayscale8);
    strange.fill(0);
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            strange.scanLine(y)[x] = knownIn(b, x, y, a.pixelColor(x, y)) ? 0 : 1;
        }
    }
    int count = 0;
    for (int y = 1; y < a.height() - 1; ++y) {
        for (int x = 1; x < a.width() - 1; ++x) {
            int around = 0;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    around += strange.constScanLine(y + dy)[x + dx];
                }
            }
            count += strange.constScanLine(y)[x] == 1 && around >= 3 ? 1 : 0;
        }
    }
    return count;
}

class PlotPicture : public PlotTest, public ::testing::WithParamInterface<PictureCase> {};

TEST_P(PlotPicture, IsThatOfAPlainPainting) {
    const PictureCase& expected = GetParam();
    apply(expected.state, expected.scheme, plot);
    const QImage painted = picture();
    const QImage reference = referencePicture(expected.state, expected.scheme, plot);
    ASSERT_EQ(painted.size(), reference.size());
    // Texts may be a pixel off by rounding; the smallest element, a marker, has 40 pixels.
    EXPECT_LE(strangers(painted, reference), 10);
    EXPECT_LE(strangers(reference, painted), 10);
    EXPECT_LT(meanDifference(painted, reference, painted.rect()), 0.004);
}

INSTANTIATE_TEST_SUITE_P(States, PlotPicture, ::testing::ValuesIn(pictureCases()), [](const auto& entry) {
    QString name = QString::fromStdString(entry.param.state.name + "In") + entry.param.scheme.name;
    return name.remove(QLatin1Char(' ')).toStdString();
});

} // namespace
