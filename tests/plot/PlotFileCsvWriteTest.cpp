// The text form as it is written, and what of a plot comes back from it.
#include "PlotFileStage.h"

#include "QtPrinting.h"

#include <limits>

namespace {

using namespace plottest;

class PlotCsv : public PlotFileTest {
protected:
    void showSeries(const QStringList& labels) {
        QList<QList<double>> xs;
        QList<QList<double>> ys;
        for (qsizetype i = 0; i < labels.size(); ++i) {
            xs.append({double(i), double(i + 1)});
            ys.append({double(-i), 0.5});
        }
        plot.setSeries(xs, ys, labels, {}, BarChartWidget::Points);
    }
    // The plot's file up to its series' labels is that of these lines and nothing else.
    ::testing::AssertionResult hasSeries(const QList<QList<double>>& xs, const QList<QList<double>>& ys,
                                         const QStringList& labels) {
        PlotFileFields file;
        file.xLabel = QStringLiteral("t");
        file.yLabel = QStringLiteral("n");
        file.seriesXs = xs;
        file.seriesYs = ys;
        file.seriesLabels = labels;
        plot.setAxisLabels(file.xLabel, file.yLabel);
        if (plot.toBinary().startsWith(file.bytesUpTo(PlotField::SeriesColours))) {
            return ::testing::AssertionSuccess();
        }
        return ::testing::AssertionFailure() << "shows\n" << plot.toCsv().left(2000).toStdString();
    }
};

TEST_F(PlotCsv, HoldsSeriesThenOverlays) {
    plot.setSeries({{1, 2.5}, {-3}}, {{0.1, 1e-7}, {0}}, {QStringLiteral("A")}, {kRed},
                   BarChartWidget::Lines);
    plot.setOverlaySeries({{0.5}, {7}}, {{-2}, {8}}, {QStringLiteral("fit")}, {}, BarChartWidget::Points);
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\n"
                                           "A,1,0.1\n"
                                           "A,2.5,1e-07\n"
                                           "series_2,-3,0\n"
                                           "fit,0.5,-2\n"
                                           "overlay_2,7,8\n"));
}

TEST_F(PlotCsv, HoldsBarsThenOverlays) {
    plot.setBars({1, 2, 3}, {10, 0, -4.5}, 0.8);
    plot.setOverlaySeries({{1, 2}}, {{3, 4}}, {}, {}, BarChartWidget::Lines);
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\n"
                                           "bars,1,10\n"
                                           "bars,2,0\n"
                                           "bars,3,-4.5\n"
                                           "overlay_1,1,3\n"
                                           "overlay_1,2,4\n"));
}

TEST_F(PlotCsv, NamesCountFromOneInEachList) {
    plot.setSeries({{1}, {2}, {3}}, {{1}, {2}, {3}}, {}, {}, BarChartWidget::Points);
    plot.setOverlaySeries({{4}, {5}}, {{4}, {5}}, {}, {}, BarChartWidget::Points);
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\nseries_1,1,1\nseries_2,2,2\nseries_3,3,3\n"
                                           "overlay_1,4,4\noverlay_2,5,5\n"));
}

TEST_F(PlotCsv, HoldsSeriesRatherThanBarsWhenAFileHadBoth) {
    PlotFileFields file;
    file.barXs = file.barHeights = {1, 2};
    file.seriesXs = {{5}};
    file.seriesYs = {{6}};
    file.seriesLabels = {QStringLiteral("s")};
    ASSERT_TRUE(loads(file.bytes()));
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\ns,5,6\n"));
}

TEST_F(PlotCsv, NumbersHaveSixteenDigits) {
    const QList<double> values{1.0 / 3.0,           2e22,      100000, 1234567890123456,
                               12345678901234567.0, -1.5e-300, 0.1};
    plot.setBars(values, values, 1.0);
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\n"
                                           "bars,0.3333333333333333,0.3333333333333333\n"
                                           "bars,2e+22,2e+22\n"
                                           "bars,100000,100000\n"
                                           "bars,1234567890123456,1234567890123456\n"
                                           "bars,1.234567890123457e+16,1.234567890123457e+16\n"
                                           "bars,-1.5e-300,-1.5e-300\n"
                                           "bars,0.1,0.1\n"));
}

TEST_F(PlotCsv, QuotesLabelsThatNeedIt) {
    plot.setSeries({{1}, {2}, {3}, {4}}, {{1}, {2}, {3}, {4}},
                   {QStringLiteral("a, b"), QStringLiteral("say \"hi\""), QStringLiteral("plain; text"),
                    QStringLiteral("two words")},
                   {}, BarChartWidget::Lines);
    EXPECT_EQ(plot.toCsv(), QStringLiteral("series,x,y\n"
                                           "\"a, b\",1,1\n"
                                           "\"say \"\"hi\"\"\",2,2\n"
                                           "plain; text,3,3\n"
                                           "two words,4,4\n"));
}

// --- what comes back ---------------------------------------------------------------------------------------

TEST_F(PlotCsv, OverlaysComeBackAsSeries) {
    plot.setSeries({{1, 2}}, {{3, 4}}, {QStringLiteral("A")}, {kRed}, BarChartWidget::Points);
    plot.setOverlaySeries({{5}}, {{6}}, {QStringLiteral("fit")}, {kBlue}, BarChartWidget::Points);
    const QString text = plot.toCsv();
    ASSERT_TRUE(loadsText(text));
    EXPECT_TRUE(hasSeries({{1, 2}, {5}}, {{3, 4}, {6}}, {QStringLiteral("A"), QStringLiteral("fit")}));
    EXPECT_EQ(plot.toCsv(), text);
}

TEST_F(PlotCsv, BarsComeBackAsBarsOfWidthOne) {
    plot.setBars({2, 4, 6}, {1, 5, 3}, 0.25);
    const QString text = plot.toCsv();
    ASSERT_TRUE(loadsText(text));
    EXPECT_EQ(plot.toCsv(), text);
    PlotFileFields file;
    file.seriesMode = 0;
    file.barXs = {2, 4, 6};
    file.barHeights = {1, 5, 3};
    plot.setAxisLabels(file.xLabel, file.yLabel);
    EXPECT_TRUE(plot.toBinary().startsWith(file.bytesUpTo(PlotField::OverlayMode)));
}

TEST_F(PlotCsv, BarsWithAnOverlayComeBackAsTwoLines) {
    plot.setBars({2, 4}, {1, 5}, 1.0);
    plot.setOverlaySeries({{3}}, {{7}}, {}, {}, BarChartWidget::Points);
    ASSERT_TRUE(loadsText(plot.toCsv()));
    EXPECT_TRUE(
        hasSeries({{2, 4}, {3}}, {{1, 5}, {7}}, {QStringLiteral("bars"), QStringLiteral("overlay_1")}));
}

class PlotCsvLabels : public PlotCsv, public ::testing::WithParamInterface<const char*> {};

TEST_P(PlotCsvLabels, ComeBack) {
    const QString label = QString::fromUtf8(GetParam());
    showSeries({QStringLiteral("before"), label, QStringLiteral("behind")});
    const QString text = plot.toCsv();
    ASSERT_TRUE(loadsText(text)) << text.toStdString();
    EXPECT_TRUE(hasSeries({{0, 1}, {1, 2}, {2, 3}}, {{0, 0.5}, {-1, 0.5}, {-2, 0.5}},
                          {QStringLiteral("before"), label, QStringLiteral("behind")}));
    EXPECT_EQ(plot.toCsv(), text);
}

INSTANTIATE_TEST_SUITE_P(Texts, PlotCsvLabels,
                         ::testing::Values("plain", "a,b", ",", "\"", "\"\"", "\"quoted\"", "a \"b\", c",
                                           "mean, \"x\"", "a\nb", "two\nline\nends", "a\r\nb", "a\rb",
                                           "quote\"\nand line", "series", "x", "Größe µs λ", "1", "-5",
                                           "a;b\tc", "it's", "series_1", "overlay_1"));

TEST_F(PlotCsv, LoadedNumbersAreTheWrittenOnesToSixteenDigits) {
    const QList<double> values{0.1, 1e300, -2.5e-300, 123456789.125, 0, -7};
    plot.setSeries({values}, {values}, {QStringLiteral("v")}, {}, BarChartWidget::Lines);
    ASSERT_TRUE(loadsText(plot.toCsv()));
    EXPECT_TRUE(hasSeries({values}, {values}, {QStringLiteral("v")}));
}

} // namespace
