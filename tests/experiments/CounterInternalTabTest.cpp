// How the Counter tab deals with long histories, small windows and new themes.
#include "BarChartWidget.h"
#include "ControlColumn.h"
#include "CounterControls.h"
#include "CounterTab.h"
#include "CountingStage.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::testing {
namespace {

using timetagger::gui::CounterControls;
using timetagger::gui::CounterSettings;
using timetagger::gui::CounterTab;
using timetagger::gui::UiCounterSample;

class Stage : public CountingStage<CounterTab> {
public:
    void feed(int samples, quint64 count) {
        UiCounterSample sample;
        sample.counts = {count, 0, 0, 0};
        sample.gateSeconds = 0.1;
        for (int i = 0; i < samples; ++i) {
            tab.onCounterSample(sample);
        }
    }
    QList<double> firstTrace() const { return shownBy(plot("tracePlot")).ys.value(0); }
    void keepSamples(int samples) {
        choose("display", "Bins");
        integer("historyBins").setValue(samples);
    }
};

TEST(CounterInternalTab, AHistoryOfAThousandSamplesIsShownWithEachSample) {
    Stage stage;
    stage.keepSamples(1000);
    stage.feed(999, 1);
    stage.feed(1, 7);
    EXPECT_EQ(stage.firstTrace().size(), 1000);
    EXPECT_EQ(stage.firstTrace().last(), 7.0);
}

TEST(CounterInternalTab, ALongerHistoryIsShownALittleLater) {
    Stage stage;
    stage.keepSamples(10000);
    stage.feed(5000, 1);
    stage.feed(1, 9);
    EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 5001 "))) << "the status is never late";
    EXPECT_TRUE(QTest::qWaitFor([&] { return stage.firstTrace().value(5000) == 9.0; }, 10000));
}

TEST(CounterInternalTab, AStopShowsWhatWasNotShownYet) {
    Stage stage;
    stage.keepSamples(10000);
    stage.feed(5000, 1);
    stage.feed(1, 9);
    stage.tab.onStop();
    EXPECT_EQ(stage.firstTrace().value(5000), 9.0);
}

TEST(CounterInternalTab, TheLongestHistoryInBinsIsShownSampleBySample) {
    Stage stage;
    stage.keepSamples(10000);
    stage.feed(10005, 5);
    stage.tab.onStop();
    EXPECT_EQ(stage.firstTrace().size(), 10000);
}

TEST(CounterInternalTab, ALongTraceIsThinnedForPaintingAndKeepsItsPeaks) {
    Stage stage;
    stage.number("timeWindowSec").setValue(3600.0);
    stage.feed(9321, 5);
    stage.feed(1, 1000);
    stage.feed(20678, 5);
    stage.tab.onStop();
    const QList<double> shown = stage.firstTrace();
    EXPECT_LE(shown.size(), 10000);
    EXPECT_EQ(*std::max_element(shown.begin(), shown.end()), 1000.0);
}

TEST(CounterInternalControls, ShowingSettingsIsNoChangeAndApplyToAllIsOne) {
    CounterControls controls;
    QSignalSpy changes(&controls, &CounterControls::settingsChanged);
    CounterSettings settings;
    settings.integrationSeconds = 2.0;
    settings.coincidenceWindowNs = 4.0;
    settings.pairs = {true, true, true, true, true, false};
    settings.yAxisMode = CounterSettings::YAxisMode::Custom;
    controls.showSettings(settings);
    EXPECT_EQ(changes.count(), 0);
    EXPECT_EQ(controls.settings().toJson(), settings.toJson());
    control<QPushButton>(controls, QStringLiteral("applyToAll")).click();
    EXPECT_EQ(changes.count(), 1);
    EXPECT_EQ(controls.settings().pairWindowsNs, (std::array<double, 6>{4, 4, 4, 4, 4, 10}))
        << "of the selected pairs";
}

TEST(CounterInternalControls, HalfANumberIsNoChange) {
    Stage stage;
    auto& integration = stage.number("integrationSec");
    stage.feed(3, 1);
    integration.setFocus();
    integration.selectAll();
    QTest::keyClicks(&integration, QStringLiteral("2.5"));
    EXPECT_TRUE(stage.status().startsWith(QStringLiteral("sample 3 "))) << "the samples are still there";
    QTest::keyClick(&integration, Qt::Key_Return);
    EXPECT_EQ(stage.tab.gateSeconds(), 2.5);
    EXPECT_EQ(stage.status(), QStringLiteral("integration 2.500 s"));
}

TEST(CounterInternalTab, WhereThereIsLittleRoomControlsAndPlotsScrollAndTheStatusStays) {
    Stage stage;
    stage.box("coincidenceEnabled").setChecked(true);
    stage.box("showHistogram").setChecked(true);
    stage.tab.resize(700, 400);
    QTest::qWait(1);
    EXPECT_EQ(stage.tab.size(), QSize(700, 400)) << "the tab asks for no more";
    const QList<QScrollArea*> areas = stage.tab.findChildren<QScrollArea*>();
    ASSERT_EQ(areas.size(), 2);
    for (const QScrollArea* area : areas) {
        EXPECT_GT(area->verticalScrollBar()->maximum(), 0);
        EXPECT_LE(area->widget()->minimumSizeHint().width(), area->viewport()->width() + 1);
    }
    const auto& status = control<QLabel>(stage.tab, QStringLiteral("status"));
    EXPECT_TRUE(stage.tab.rect().contains(QRect(status.mapTo(&stage.tab, QPoint()), status.size())));
}

TEST(CounterInternalTab, WhereThereIsRoomTheStatusStandsRightBelowTheControls) {
    Stage stage;
    stage.tab.resize(1300, 1200);
    QTest::qWait(1);
    const auto& controls = *stage.tab.findChild<CounterControls*>();
    const auto& status = control<QLabel>(stage.tab, QStringLiteral("status"));
    const int bottom = controls.mapTo(&stage.tab, QPoint(0, controls.height())).y();
    const int top = status.mapTo(&stage.tab, QPoint()).y();
    EXPECT_GE(top, bottom);
    EXPECT_LE(top, bottom + 20);
}

// Under a scheme of the plot the traces have other colours than the tab gave them.
TEST(CounterInternalTab, StatisticsHaveTheColoursOfTheTracesInEveryTheme) {
    Stage stage;
    stage.box("showStats").setChecked(true);
    stage.box("channels", 1).setChecked(false);
    auto& plot = stage.plot("tracePlot");
    stage.feed(1, 5);
    EXPECT_EQ(shownBy(plot).statColors.value(0), plot.seriesColor(0));
    plot.setPlotOptions(QStringLiteral("Bright"), 10, 1.8, Qt::SolidLine);
    QEvent styled(QEvent::StyleChange);
    QCoreApplication::sendEvent(&stage.tab, &styled);
    EXPECT_TRUE(QTest::qWaitFor([&] { return shownBy(plot).statColors.value(0) == plot.seriesColor(0); }));
}

} // namespace
} // namespace qorn::testing
