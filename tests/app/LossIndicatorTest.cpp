#include "LossIndicator.h"

#include "QtPrinting.h"
#include "TagFlowText.h"

#include <QMessageBox>
#include <QStatusBar>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

UiTagFlow flowOf(quint64 capture, quint64 dropped, quint64 backlog) {
    UiTagFlow flow;
    flow.capture = capture;
    flow.source.dropped = dropped;
    flow.source.received = dropped + 1000 + backlog;
    flow.source.pulled = flow.gui.offered = 1000 + backlog;
    flow.gui.sent = flow.window.sent = flow.window.shown = 1000;
    flow.gui.backlog = backlog;
    return flow;
}

class Losses : public ::testing::Test {
protected:
    Losses() {
        window.show();
        flag.hide();
    }
    QMessageBox* box() { return window.findChild<QMessageBox*>(); }
    QString state() const { return flag.property("flagState").toString(); }

    QWidget window;
    LossIndicator flag{&window};
};

TEST_F(Losses, NothingIsShownWhileNothingIsLost) {
    EXPECT_FALSE(flag.isVisible());
    UiTagFlow stopped = flowOf(1, 0, 0);
    stopped.gui.cut = stopped.source.discarded = 77; // as it should be
    flag.takeFlow(stopped);
    EXPECT_FALSE(flag.isVisible());
}

TEST_F(Losses, WhatPlotsLeaveOutIsAWarningOnceInACapture) {
    UiTagFlow thinned = flowOf(1, 0, 0);
    thinned.gui.thinned = 77;
    flag.takeFlow(thinned);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags left out of plots: 77"));
    EXPECT_EQ(state(), QStringLiteral("warning"));
    flag.showDetails();
    EXPECT_TRUE(box()->text().contains(QStringLiteral("77 were left out of them so far")));
    thinned.gui.thinned = 100;
    flag.takeFlow(thinned);
    EXPECT_FALSE(flag.isVisible());
    thinned.gui.backlog = 3;
    flag.takeFlow(thinned);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not shown: 3"));
    EXPECT_EQ(state(), QStringLiteral("warning"));
    thinned.capture = 2;
    thinned.gui.thinned = 5;
    thinned.gui.backlog = 0;
    flag.takeFlow(thinned);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not shown: 3, left out of plots: 5"));
    thinned.capture = 3;
    thinned.gui.thinned = 2;
    flag.takeFlow(thinned);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not shown: 3, left out of plots: 7"))
        << "nobody read of the 5";
}

TEST_F(Losses, ReadingOfAnotherLossLeavesOutNoLaterWarning) {
    UiTagFlow flow = flowOf(1, 5, 0);
    flag.takeFlow(flow);
    flag.showDetails();
    flow.gui.thinned = 77;
    flag.takeFlow(flow);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags left out of plots: 77"));
}

TEST_F(Losses, WhatIsLostIsToldWithItsCountUntilItIsRead) {
    flag.takeFlow(flowOf(1, 5, 0));
    EXPECT_TRUE(flag.isVisible());
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 5"));
    EXPECT_EQ(state(), QStringLiteral("bad"));
    EXPECT_EQ(flag.accessibleName(), flag.text());
    flag.takeFlow(flowOf(1, 8, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 8"));
    UiTagFlow end = flowOf(1, 8, 0);
    end.ended = true;
    flag.takeFlow(end);
    EXPECT_TRUE(flag.isVisible());
}

TEST_F(Losses, WhatIsNotShownIsAWarning) {
    flag.takeFlow(flowOf(1, 0, 30));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not shown: 30"));
    EXPECT_EQ(state(), QStringLiteral("warning"));
    flag.takeFlow(flowOf(1, 2, 31));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 2, not shown: 31"));
    EXPECT_EQ(state(), QStringLiteral("bad"));
}

TEST_F(Losses, ReadingHidesItAndOnlyNewLossesShowItAgain) {
    flag.takeFlow(flowOf(1, 5, 2));
    QTest::mouseClick(&flag, Qt::LeftButton);
    EXPECT_FALSE(flag.isVisible());
    ASSERT_NE(box(), nullptr);
    EXPECT_FALSE(box()->isModal());
    EXPECT_TRUE(box()->text().contains(QStringLiteral("5 time tags were lost")));
    EXPECT_TRUE(box()->text().contains(QStringLiteral("2 time tags were not shown")));
    box()->accept();
    flag.takeFlow(flowOf(1, 5, 2));
    EXPECT_FALSE(flag.isVisible());
    flag.takeFlow(flowOf(1, 9, 2));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 4"));
}

TEST_F(Losses, WhatTheRelayLosesIsToldWithItsCountWhateverIsCaptured) {
    flag.takeRelayLosses(0);
    EXPECT_FALSE(flag.isVisible());
    flag.takeRelayLosses(7);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not relayed: 7"));
    EXPECT_EQ(state(), QStringLiteral("bad"));
    flag.takeFlow(flowOf(1, 5, 2));
    flag.takeFlow(flowOf(2, 0, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 5, not relayed: 7, not shown: 2"));
    flag.showDetails();
    EXPECT_TRUE(box()->text().contains(QStringLiteral("7 time tags did not reach their relay clients")));
    flag.takeRelayLosses(7);
    EXPECT_FALSE(flag.isVisible());
    flag.takeRelayLosses(9);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags not relayed: 2"));
}

TEST_F(Losses, UnreadableBytesAreToldWithTheirCount) {
    UiTagFlow flow = flowOf(1, 0, 0);
    flow.source.skippedBytes = 12;
    flag.takeFlow(flow);
    EXPECT_EQ(flag.text(), QStringLiteral("Unreadable bytes: 12"));
    EXPECT_EQ(state(), QStringLiteral("bad"));
    flow.gui.backlog = 3;
    flag.takeFlow(flow);
    EXPECT_EQ(flag.text(), QStringLiteral("Unreadable bytes: 12; Tags not shown: 3"));
    flag.showDetails();
    EXPECT_TRUE(box()->text().startsWith(QStringLiteral("12 bytes of the stream were unreadable")));
    EXPECT_TRUE(flow.source.balances()) << "how many tags they held is not known";
    EXPECT_FALSE(flag.isVisible());
}

TEST_F(Losses, NobodyIsSaidToHaveWhatWasNotShown) {
    UiTagFlow flow = flowOf(1, 0, 30); // with neither recording nor relay
    flag.takeFlow(flow);
    flag.showDetails();
    EXPECT_FALSE(box()->text().contains(QStringLiteral("have them")));
    EXPECT_FALSE(box()->text().contains(QStringLiteral("Recording: ")));
    EXPECT_FALSE(box()->text().contains(QStringLiteral("Relay: ")));
    flow.recording = {1030, 1000, 30, 0};
    flow.gui.backlog = 31;
    flag.takeFlow(flow);
    flag.showDetails();
    EXPECT_TRUE(box()->text().contains(QStringLiteral("Recording: 1000 recorded, 30 after its end")));
}

TEST_F(Losses, TheNextCaptureAddsToWhatWasNotRead) {
    flag.takeFlow(flowOf(1, 5, 0));
    flag.takeFlow(flowOf(2, 0, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 5"));
    flag.takeFlow(flowOf(2, 3, 1));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 8, not shown: 1"));
    flag.showDetails();
    flag.takeFlow(flowOf(3, 2, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 2"));
}

// The last report of a capture waits for its batches; the first one of the next waits for none.
TEST_F(Losses, ALateReportOfAnEarlierCaptureCountsOnlyWhatItNewlyTells) {
    flag.takeFlow(flowOf(1, 5, 2));
    flag.takeFlow(flowOf(2, 0, 0));
    flag.takeFlow(flowOf(1, 5, 2));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 5, not shown: 2"));
    flag.takeFlow(flowOf(2, 1, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 6, not shown: 2"));
    flag.takeFlow(flowOf(1, 8, 3));
    flag.takeFlow(flowOf(2, 1, 0));
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 9, not shown: 3"));
    flag.takeFlow(flowOf(4, 0, 0));
    flag.takeFlow(flowOf(3, 10, 0)); // its only report
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 19, not shown: 3"));
}

TEST_F(Losses, ALateReportOfAnEarlierCaptureLeavesTheCountsOfThePresentOne) {
    flag.takeFlow(flowOf(1, 5, 0));
    const UiTagFlow present = flowOf(2, 3, 0);
    flag.takeFlow(present);
    UiTagFlow late = flowOf(1, 7, 0);
    late.ended = true;
    flag.takeFlow(late);
    flag.showDetails();
    EXPECT_TRUE(box()->text().contains(QStringLiteral("10 time tags were lost")));
    EXPECT_TRUE(box()->text().endsWith(tagFlowText(present)));
    flag.takeFlow(late);
    flag.takeFlow(present);
    EXPECT_FALSE(flag.isVisible()) << "all of it was read";
    late.source.dropped = 8;
    flag.takeFlow(late);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 1"));
}

TEST_F(Losses, WhatPlotsLeaveOutIsAWarningOnceInACaptureAlsoWhenReportsAreLate) {
    UiTagFlow first = flowOf(1, 0, 0);
    first.gui.thinned = 77;
    flag.takeFlow(first);
    flag.showDetails();
    UiTagFlow second = flowOf(2, 0, 0);
    flag.takeFlow(second);
    first.gui.thinned = 100;
    flag.takeFlow(first);
    EXPECT_FALSE(flag.isVisible()) << "that was read";
    second.gui.thinned = 5;
    flag.takeFlow(second);
    EXPECT_EQ(flag.text(), QStringLiteral("Tags left out of plots: 5"));
}

TEST_F(Losses, AreCountedOverAnyNumberOfCaptures) {
    for (quint64 capture = 1; capture <= 1000; ++capture) {
        flag.takeFlow(flowOf(capture, 2, 0));
        flag.takeFlow(flowOf(capture - 1, 2, 0));
    }
    EXPECT_EQ(flag.text(), QStringLiteral("Tags lost: 2002")) << "capture 0 too";
}

TEST_F(Losses, AKeyOpensTheCountsToo) {
    quint64 capture = 0;
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        flag.takeFlow(flowOf(++capture, 1, 0));
        flag.setFocus();
        QTest::keyClick(&flag, Qt::Key_A);
        EXPECT_TRUE(flag.isVisible());
        QTest::keyClick(&flag, key);
        EXPECT_FALSE(flag.isVisible());
        EXPECT_EQ(window.findChildren<QMessageBox*>().size(), 1) << "one box serves";
    }
    EXPECT_NE(flag.focusPolicy() & Qt::TabFocus, 0);
}

TEST(TagFlowText, HasALineForEachStageThatTookPart) {
    UiTagFlow flow = flowOf(1, 5, 2);
    EXPECT_EQ(tagFlowText(flow), QStringLiteral("The time tags of this acquisition so far:\n"
                                                "Source: 1007 received, 5 lost\n"
                                                "Window: 1000 shown, 2 not shown for want of time"));
    flow.ended = true;
    flow.masked = 3;
    flow.source.discarded = 4;
    flow.source.skippedBytes = 6;
    flow.recording = {950, 800, 60, 40, 50};
    flow.relay = {700, 600, 50, 30, 20};
    flow.gui.thinned = 11;
    flow.gui.discarded = 12;
    flow.gui.cut = 13;
    EXPECT_EQ(
        tagFlowText(flow),
        QStringLiteral("The time tags of the last acquisition:\n"
                       "Source: 1007 received, 5 lost, 3 on other channels, 4 left at the stop, "
                       "6 bytes unreadable\n"
                       "Recording: 800 recorded, 50 waiting, 60 after its end, 40 cut by an error\n"
                       "Relay: 600 published, 50 refused, 30 while nobody listened, 20 cut by an error\n"
                       "Window: 1000 shown, 11 left out to keep to the rate of the plots, "
                       "2 not shown for want of time, 12 left at the stop, 13 cut by an error"));
}

} // namespace
} // namespace qorn::timetagger::gui
