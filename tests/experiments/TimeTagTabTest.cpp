#include "TimeTagTab.h"

#include "BarChartWidget.h"
#include "QtPrinting.h"
#include "StoredSettings.h"
#include "TabControls.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

using qorn::testing::formField;
using qorn::testing::groupTitleOf;
using qorn::testing::pictureOf;
using qorn::testing::texts;

constexpr qint64 kSecond = 1'000'000'000'000;

QStringList itemsOf(const QComboBox& box) {
    QStringList items;
    for (int i = 0; i < box.count(); ++i) {
        items.append(box.itemText(i));
    }
    return items;
}

// What the plot must look like.
struct ExpectedPlot {
    QList<QList<double>> xs;
    QList<QList<double>> ys;
    QStringList labels;
    QString yLabel = QStringLiteral("Tags/bin");
    QStringList stats;
    double xMax = 10.0;
    double yMax = 1.15;

    void matches(BarChartWidget& actual) const {
        static const QList<QColor> colors{QColor(0xd7, 0xba, 0x7d), QColor(0x9c, 0xdc, 0xfe),
                                          QColor(0xce, 0x91, 0x78), QColor(0xb5, 0xce, 0xa8)};
        BarChartWidget expected;
        expected.resize(actual.size());
        expected.setSeries(xs, ys, labels, colors, BarChartWidget::Lines);
        expected.setAxisLabels(QStringLiteral("Time (s)"), yLabel);
        expected.setXRange(0.0, xMax);
        expected.setYRange(0.0, yMax);
        expected.setStatLines(stats, {});
        EXPECT_TRUE(pictureOf(actual) == pictureOf(expected));
    }
};

// The view of a plot in axis units: left, right, bottom, top.
QList<double> viewOf(const BarChartWidget& plot) {
    const QRectF rect = plot.plotRect();
    return {plot.valueFromPixelX(rect.left(), rect), plot.valueFromPixelX(rect.right(), rect),
            plot.valueFromPixelY(rect.bottom(), rect), plot.valueFromPixelY(rect.top(), rect)};
}

void expectView(const BarChartWidget& plot, double xMax, double yMax) {
    const QList<double> view = viewOf(plot);
    EXPECT_NEAR(view[0], 0.0, 1e-9);
    EXPECT_NEAR(view[1], xMax, 1e-9 * xMax);
    EXPECT_NEAR(view[2], 0.0, 1e-9);
    EXPECT_NEAR(view[3], yMax, 1e-9 * yMax);
}

struct Stage {
    Stage() {
        tab.resize(900, 600);
        tab.show();
    }

    QLabel* status() const {
        for (QLabel* label : tab.findChildren<QLabel*>()) {
            if (label->objectName() == QLatin1String("status")) {
                return label;
            }
        }
        return nullptr;
    }

    TimeTagTab tab;
    QDoubleSpinBox* bin = formField<QDoubleSpinBox>(tab, "Bin");
    QSpinBox* history = formField<QSpinBox>(tab, "Max plotted bins");
    QComboBox* quantity = formField<QComboBox>(tab, "Quantity");
    QComboBox* channels = formField<QComboBox>(tab, "Channels");
    QComboBox* scaling = formField<QComboBox>(tab, "Scaling");
    BarChartWidget* plot = tab.plotWidget();
    QTimer* timer = tab.findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
};

TEST(TimeTagTab, AnswersWhatTheBaseAsks) {
    const Stage stage;
    EXPECT_EQ(stage.tab.experimentType(), QStringLiteral("Time tags"));
    EXPECT_FALSE(stage.tab.supportsLogging());
    EXPECT_EQ(stage.tab.logFileStem(), QStringLiteral("time_tags"));
    EXPECT_EQ(stage.tab.logFileExtension(), QStringLiteral("qornts"));
    EXPECT_EQ(stage.tab.logCsvHeader(), texts({"tag_index", "elapsed_s", "channel", "timestamp_ps"}));
    EXPECT_TRUE(stage.tab.requiresTagStreaming());
}

TEST(TimeTagTab, HasItsControlsInTwoGroups) {
    const Stage stage;
    ASSERT_NE(stage.bin, nullptr);
    EXPECT_EQ(stage.bin->minimum(), 0.001);
    EXPECT_EQ(stage.bin->maximum(), 60.0);
    EXPECT_EQ(stage.bin->singleStep(), 0.01);
    EXPECT_EQ(stage.bin->decimals(), 3);
    EXPECT_EQ(stage.bin->suffix(), QStringLiteral(" s"));
    EXPECT_EQ(stage.bin->value(), 0.1);
    EXPECT_EQ(stage.bin->toolTip(),
              QStringLiteral("Plot integration bin. QORNTS logging still writes individual tags."));
    EXPECT_EQ(groupTitleOf(stage.bin), QStringLiteral("Binning"));
    ASSERT_NE(stage.history, nullptr);
    EXPECT_EQ(stage.history->minimum(), 10);
    EXPECT_EQ(stage.history->maximum(), 100000);
    EXPECT_EQ(stage.history->value(), 300);
    EXPECT_EQ(stage.history->toolTip(),
              QStringLiteral(
                  "Maximum plotted bins kept in memory. The time axis stays run-relative, not sliding."));
    EXPECT_EQ(groupTitleOf(stage.history), QStringLiteral("Binning"));
    ASSERT_NE(stage.quantity, nullptr);
    EXPECT_EQ(itemsOf(*stage.quantity), texts({"Tags", "Data"}));
    EXPECT_EQ(stage.quantity->currentIndex(), 0);
    EXPECT_EQ(stage.quantity->toolTip(),
              QStringLiteral("Data uses decoded 8-byte tags as the displayed MB estimate."));
    EXPECT_EQ(groupTitleOf(stage.quantity), QStringLiteral("Plot"));
    ASSERT_NE(stage.channels, nullptr);
    EXPECT_EQ(itemsOf(*stage.channels), texts({"Per channel", "Total"}));
    EXPECT_EQ(stage.channels->currentIndex(), 0);
    EXPECT_EQ(groupTitleOf(stage.channels), QStringLiteral("Plot"));
    ASSERT_NE(stage.scaling, nullptr);
    EXPECT_EQ(itemsOf(*stage.scaling), texts({"Per bin", "Per second", "Integrated"}));
    EXPECT_EQ(stage.scaling->currentIndex(), 0);
    EXPECT_EQ(groupTitleOf(stage.scaling), QStringLiteral("Plot"));
}

TEST(TimeTagTab, BeginsIdleWithAnEmptyPlot) {
    Stage stage;
    ASSERT_NE(stage.status(), nullptr);
    EXPECT_EQ(TimeTagTab().findChildren<QLabel*>().isEmpty(), false);
    ASSERT_NE(stage.plot, nullptr);
    EXPECT_EQ(stage.plot->minimumSize(), QSize(320, 220));
    expectView(*stage.plot, 10.0, 1.15);
    ASSERT_NE(stage.timer, nullptr);
    EXPECT_EQ(stage.timer->interval(), 200);
    EXPECT_FALSE(stage.timer->isActive());
}

TEST(TimeTagTab, TheStatusFollowsStartResumeStopAndReset) {
    Stage stage;
    stage.tab.onStart();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("streaming time tags"));
    EXPECT_TRUE(stage.timer->isActive());
    stage.tab.onTagsBatch({{0, 0}, {1, 5}});
    stage.tab.onStop();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("stopped after 2 plotted tag(s)"));
    EXPECT_FALSE(stage.timer->isActive());
    stage.tab.onResume();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("streaming time tags"));
    EXPECT_TRUE(stage.timer->isActive());
    stage.tab.onTagsBatch({{0, 10}});
    stage.tab.onStop();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("stopped after 3 plotted tag(s)"));
    stage.tab.resetMeasurement();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("cleared"));
    stage.tab.onStop();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("stopped after 0 plotted tag(s)"));
}

TEST(TimeTagTab, TheStatusSaysWhenTheStreamIsRecorded) {
    testing::storedSettings().setValue(QStringLiteral("measurement/time_tags/timeTagsEnabled"), true);
    Stage stage;
    stage.tab.onStart();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("streaming and recording complete time tags"));
    stage.tab.onStop();
    stage.tab.onResume();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("streaming and recording complete time tags"));
    stage.tab.onStop();
}

TEST(TimeTagTab, TheTimerShowsTagsElapsedTimeAndData) {
    Stage stage;
    stage.tab.onStart();
    QList<UiTimeTag> tags(250000, UiTimeTag{1, 7 * kSecond});
    tags.append({2, 8 * kSecond + kSecond / 2 + kSecond / 8});
    stage.tab.onTagsBatch(tags);
    EXPECT_EQ(stage.status()->text(), QStringLiteral("streaming time tags")) << "not per batch";
    const QString expected = QStringLiteral("tags 250001   elapsed 1.625 s   decoded 2.000 MB");
    EXPECT_TRUE(QTest::qWaitFor([&] { return stage.status()->text() == expected; }, 10000))
        << stage.status()->text().toStdString();
    stage.tab.onStop();
}

TEST(TimeTagTab, WithoutTagsTheElapsedTimeIsZero) {
    Stage stage;
    stage.quantity->setCurrentIndex(1);
    EXPECT_EQ(stage.status()->text(), QStringLiteral("tags 0   elapsed 0.000 s   decoded 0.000 MB"));
}

TEST(TimeTagTab, APlainStartForgetsAndAResumeKeeps) {
    Stage stage;
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}});
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, kSecond}});
    stage.tab.onStop();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("stopped after 1 plotted tag(s)"));
}

TEST(TimeTagTab, AResumedRunGoesOnThoughItsStreamBeginsAnew) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 100 * kSecond}, {0, 120 * kSecond}});
    stage.tab.onStop();
    stage.tab.onResume();
    stage.tab.onTagsBatch({{0, 0}, {0, 5 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 25.0, 1.15 * 2);
}

TEST(TimeTagTab, BeforeTheFirstClosedBinThePlotShowsNoPoints) {
    Stage stage;
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}, {1, 1}});
    stage.tab.onStop();
    ExpectedPlot expected;
    expected.xs = QList<QList<double>>(4);
    expected.ys = QList<QList<double>>(4);
    expected.labels = texts({"Ch 1", "Ch 2", "Ch 3", "Ch 4"});
    expected.stats = texts({"Total tags: 2", "Tags, Per channel, Per bin"});
    expected.matches(*stage.plot);
    expectView(*stage.plot, 10.0, 1.15);
}

// Bins of a second: 3 and 1 tags of input 1, 2 and 0 of input 3, with the open bin not drawn.
QList<UiTimeTag> someTags() {
    return {{0, 0},       {0, 1},           {0, 2},           {2, 3},          {2, 4},
            {0, kSecond}, {3, 2 * kSecond}, {3, 2 * kSecond}, {1, 2 * kSecond}};
}

TEST(TimeTagTab, DrawsOneLineAnInputInItsColour) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.tab.onStart();
    stage.tab.onTagsBatch(someTags());
    stage.tab.onStop();
    ExpectedPlot expected;
    const QList<double> xs{1.0, 2.0};
    expected.xs = {xs, xs, xs, xs};
    expected.ys = {{3, 1}, {0, 0}, {2, 0}, {0, 0}};
    expected.labels = texts({"Ch 1", "Ch 2", "Ch 3", "Ch 4"});
    expected.stats = texts({"Total tags: 9", "Tags, Per channel, Per bin"});
    expected.yMax = 3.0 * 1.15;
    expected.matches(*stage.plot);
    EXPECT_EQ(stage.plot->seriesColor(0), QColor(0xd7, 0xba, 0x7d));
    EXPECT_EQ(stage.plot->seriesColor(1), QColor(0x9c, 0xdc, 0xfe));
    EXPECT_EQ(stage.plot->seriesColor(2), QColor(0xce, 0x91, 0x78));
    EXPECT_EQ(stage.plot->seriesColor(3), QColor(0xb5, 0xce, 0xa8));
}

TEST(TimeTagTab, DrawsTheTotalAsOneLineInTheFirstColour) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.channels->setCurrentIndex(1);
    stage.scaling->setCurrentIndex(2);
    stage.tab.onStart();
    stage.tab.onTagsBatch(someTags());
    stage.tab.onStop();
    ExpectedPlot expected;
    expected.xs = {{1.0, 2.0}};
    expected.ys = {{5, 6}};
    expected.labels = texts({"Total"});
    expected.yLabel = QStringLiteral("Tags integrated");
    expected.stats = texts({"Total tags: 9", "Tags, Total, Integrated"});
    expected.yMax = 6.0 * 1.15;
    expected.matches(*stage.plot);
}

struct LabelRow {
    int quantity;
    int scaling;
    const char* yLabel;
    double factor;
};

void PrintTo(const LabelRow& row, std::ostream* out) {
    *out << row.yLabel;
}

class TimeTagLabels : public ::testing::TestWithParam<LabelRow> {};

TEST_P(TimeTagLabels, FollowQuantityAndScalingAtOnce) {
    Stage stage;
    stage.bin->setValue(0.5);
    stage.channels->setCurrentIndex(1);
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}, {1, 1}, {0, kSecond / 2}});
    stage.tab.onStop();
    stage.quantity->setCurrentIndex(GetParam().quantity);
    stage.scaling->setCurrentIndex(GetParam().scaling);
    ExpectedPlot expected;
    expected.xs = {{0.5}};
    expected.ys = {{2.0 * GetParam().factor}};
    expected.labels = texts({"Total"});
    expected.yLabel = QString::fromUtf8(GetParam().yLabel);
    expected.stats = {
        QStringLiteral("Total tags: 3"),
        QStringLiteral("%1, Total, %2").arg(stage.quantity->currentText(), stage.scaling->currentText())};
    expected.yMax = std::max(1.0, 2.0 * GetParam().factor) * 1.15;
    expected.matches(*stage.plot);
}

INSTANTIATE_TEST_SUITE_P(Choices, TimeTagLabels,
                         ::testing::Values(LabelRow{0, 0, "Tags/bin", 1.0}, LabelRow{0, 1, "Tags/s", 2.0},
                                           LabelRow{0, 2, "Tags integrated", 1.0},
                                           LabelRow{1, 0, "Decoded data (MB/bin)", 8e-6},
                                           LabelRow{1, 1, "Decoded data (MB/s)", 16e-6},
                                           LabelRow{1, 2, "Decoded data (MB)", 8e-6}));

TEST(TimeTagTab, TheTimeAxisGrowsBeyondTenSeconds) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}, {0, 9 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 10.0, 1.15);
    stage.tab.onResume();
    stage.tab.onTagsBatch({{0, 25 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 25.0, 1.15);
}

TEST(TimeTagTab, AResetEmptiesThePlotAndItsRanges) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}, {0, 0}, {0, 20 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 20.0, 2.3);
    stage.tab.resetMeasurement();
    expectView(*stage.plot, 10.0, 1.0);
    ExpectedPlot expected;
    expected.yMax = 1.0;
    expected.matches(*stage.plot);
}

TEST(TimeTagTab, ALowerHistoryDropsBinsFromThePlotAtOnce) {
    Stage stage;
    stage.bin->setValue(1.0);
    stage.channels->setCurrentIndex(1);
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}, {0, 0}, {0, 0}, {0, 5 * kSecond}, {0, 30 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 30.0, 3.45);
    stage.history->setValue(10);
    expectView(*stage.plot, 30.0, 1.15);
    stage.history->setValue(300);
    expectView(*stage.plot, 30.0, 1.15);
}

TEST(TimeTagTab, TagsOfOtherChannelsAreDroppedInSilence) {
    Stage stage;
    stage.tab.onStart();
    stage.tab.onTagsBatch({});
    stage.tab.onTagsBatch({{4, 0}, {200, kSecond}});
    stage.tab.onStop();
    EXPECT_EQ(stage.status()->text(), QStringLiteral("stopped after 0 plotted tag(s)"));
}

TEST(TimeTagTab, ItsSettingsComeBackFromAConfiguration) {
    Stage stage;
    stage.bin->setValue(2.5);
    stage.history->setValue(777);
    stage.quantity->setCurrentIndex(1);
    stage.channels->setCurrentIndex(1);
    stage.scaling->setCurrentIndex(2);
    const QJsonObject saved = stage.tab.saveConfig();
    EXPECT_EQ(saved, (QJsonObject{{QStringLiteral("binSeconds"), 2.5},
                                  {QStringLiteral("historyBins"), 777},
                                  {QStringLiteral("quantity"), QStringLiteral("Data")},
                                  {QStringLiteral("group"), QStringLiteral("Total")},
                                  {QStringLiteral("scale"), QStringLiteral("Integrated")}}));
    Stage other;
    other.tab.loadConfig(saved);
    EXPECT_EQ(other.bin->value(), 2.5);
    EXPECT_EQ(other.history->value(), 777);
    EXPECT_EQ(other.quantity->currentText(), QStringLiteral("Data"));
    EXPECT_EQ(other.channels->currentText(), QStringLiteral("Total"));
    EXPECT_EQ(other.scaling->currentText(), QStringLiteral("Integrated"));
    EXPECT_EQ(other.tab.saveConfig(), saved);
}

TEST(TimeTagTab, AConfigurationTouchesOnlyWhatItNames) {
    Stage stage;
    stage.scaling->setCurrentIndex(2);
    stage.tab.loadConfig({{QStringLiteral("historyBins"), 50},
                          {QStringLiteral("scale"), QStringLiteral("Per hour")},
                          {QStringLiteral("quantity"), QStringLiteral("data")}});
    EXPECT_EQ(stage.history->value(), 50);
    EXPECT_EQ(stage.bin->value(), 0.1);
    EXPECT_EQ(stage.scaling->currentIndex(), 2);
    EXPECT_EQ(stage.quantity->currentIndex(), 0);
    stage.tab.loadConfig({});
    EXPECT_EQ(stage.history->value(), 50);
}

TEST(TimeTagTab, AConfigurationBeyondTheControlsIsClampedToThem) {
    Stage stage;
    stage.tab.loadConfig({{QStringLiteral("binSeconds"), 1000.0}, {QStringLiteral("historyBins"), 5}});
    EXPECT_EQ(stage.bin->value(), 60.0);
    EXPECT_EQ(stage.history->value(), 10);
    stage.tab.loadConfig({{QStringLiteral("binSeconds"), -1.0}, {QStringLiteral("historyBins"), 10000000}});
    EXPECT_EQ(stage.bin->value(), 0.001);
    EXPECT_EQ(stage.history->value(), 100000);
    EXPECT_EQ(stage.tab.saveConfig().value(QStringLiteral("binSeconds")), QJsonValue(0.001));
}

TEST(TimeTagTab, ALoadedConfigurationIsInForceForTheNextTag) {
    Stage stage;
    stage.tab.onStart();
    stage.tab.onTagsBatch({{0, 0}});
    stage.tab.loadConfig({{QStringLiteral("binSeconds"), 20.0}});
    stage.tab.onTagsBatch({{0, 15 * kSecond}, {0, 20 * kSecond}});
    stage.tab.onStop();
    expectView(*stage.plot, 20.0, 2.3);
}

TEST(TimeTagTab, TheOlderOutputFolderBecomesTheRecordingFolderAndIsNotSavedByTheTab) {
    Stage stage;
    stage.tab.loadConfig({{QStringLiteral("outputFolder"), QStringLiteral("  /data/run 7  ")}});
    EXPECT_EQ(stage.tab.timeTagRecordingDirectory(), QStringLiteral("/data/run 7"));
    EXPECT_EQ(
        testing::storedSettings().value(QStringLiteral("measurement/time_tags/timeTagsDirectory")).toString(),
        QStringLiteral("/data/run 7"));
    EXPECT_FALSE(stage.tab.saveConfig().contains(QStringLiteral("outputFolder")));
}

TEST(TimeTagTab, StandsUnderItsPlotWithControlsAndSplit) {
    const Stage stage;
    const QToolBar* toolbar = qorn::testing::measurementToolbar(stage.tab);
    ASSERT_NE(toolbar, nullptr);
    EXPECT_NE(qorn::testing::findAction(*toolbar, "Split"), nullptr);
    EXPECT_NE(qorn::testing::findAction(*toolbar, "Drag zoom"), nullptr);
    EXPECT_EQ(qorn::testing::findAction(*toolbar, "Start log"), nullptr);
    EXPECT_NE(qorn::testing::findAction(*toolbar, "Complete time-tag recording"), nullptr);
    EXPECT_EQ(toolbar->parentWidget(), stage.plot->parentWidget());
    EXPECT_GT(toolbar->y(), stage.plot->y());
}

TEST(TimeTagTab, StopBeforeStartAndDeathWhileStreamingDoNoHarm) {
    auto tab = std::make_unique<TimeTagTab>();
    tab->onStop();
    tab->onStart();
    tab->onTagsBatch({{0, 0}});
    tab.reset();
    QTest::qWait(0);
}

} // namespace
} // namespace qorn::timetagger::gui
