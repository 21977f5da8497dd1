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
    UiTagFlow thinned = flowOf(1, 0, 0);
    thinned.gui.thinned = thinned.gui.cut = thinned.source.discarded = 77; // as it should be
    flag.takeFlow(thinned);
    EXPECT_FALSE(flag.isVisible());
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

TEST_F(Losses, AKeyOpensTheCountsToo) {
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space}) {
        flag.takeFlow(flowOf(key, 1, 0));
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
    flow.recording = {900, 800, 60, 40};
    flow.relay = {700, 600, 50, 30, 20};
    flow.gui.thinned = 11;
    flow.gui.discarded = 12;
    flow.gui.cut = 13;
    EXPECT_EQ(
        tagFlowText(flow),
        QStringLiteral("The time tags of the last acquisition:\n"
                       "Source: 1007 received, 5 lost, 3 on other channels, 4 left at the stop\n"
                       "Recording: 800 recorded, 60 after its end, 40 cut by an error\n"
                       "Relay: 600 published, 50 refused, 30 while nobody listened, 20 cut by an error\n"
                       "Window: 1000 shown, 11 left out to keep to the rate of the plots, "
                       "2 not shown for want of time, 12 left at the stop, 13 cut by an error"));
}

} // namespace
} // namespace qorn::timetagger::gui
