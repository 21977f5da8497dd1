#include "StatusBarRoom.h"

#include "ElidedLabel.h"

#include <QHelpEvent>
#include <QLayout>
#include <QStatusBar>
#include <QTest>
#include <QToolTip>

#include <gtest/gtest.h>

#include <numeric>

namespace qorn::timetagger::gui {
namespace {

TEST(StatusBarRoom, ALimitIsCommonToAllThatWantMore) {
    struct Case {
        QList<int> wanted;
        int room;
        int limit;
    };
    for (const Case& given :
         {Case{{}, 100, 0}, Case{{50}, 100, 50}, Case{{50, 30}, 80, 50}, Case{{50, 30}, 70, 40},
          Case{{90, 20, 60}, 140, 60}, Case{{90, 20, 60}, 110, 45}, Case{{90, 20, 60}, 30, 10},
          Case{{90, 20}, 0, 0}, Case{{90, 20}, -50, 0}}) {
        EXPECT_EQ(commonLimit(given.wanted, given.room), given.limit) << given.room;
    }
}

TEST(StatusBarRoom, ALimitFillsTheRoomAndNeverMore) {
    const QList<int> wanted{130, 145, 120, 240};
    for (int room = 0; room < 700; ++room) {
        const int limit = commonLimit(wanted, room);
        const int taken = std::accumulate(wanted.begin(), wanted.end(), 0,
                                          [limit](int sum, int width) { return sum + qMin(width, limit); });
        const int all = std::accumulate(wanted.begin(), wanted.end(), 0);
        EXPECT_LE(taken, qMin(room, all));
        EXPECT_GT(taken + int(wanted.size()), qMin(room, all)) << "no room is given away";
    }
}

// A bar as the window has it: a text that gives way, flags, and one more text that gives way.
struct Bar {
    Bar() {
        const auto add = [this](const char* text, int least, int stretch) {
            auto* label = new ElidedLabel(QString::fromLatin1(text), least, 100, &bar);
            bar.addPermanentWidget(label, stretch);
            return label;
        };
        connection = add("Simulated four-input instrument, serial SIM00001", 12, 1);
        for (const char* text : {"Cal upload: required", "Clock lock: internal fallback", "Clock out: 10 MHz",
                                 "Acquisition: hardware coincidence"}) {
            flags.append(add(text, 0, 0));
        }
        detail = add("counter (external, hardware counter)", 4, 0);
        new StatusBarRoom(bar, flags, {connection, detail, flags[2], flags[0], flags[1], flags[3]});
        window.show();
        widen(2000);
    }
    // Sends what waits; the bar never grows by itself, as in a window that is as small as it may be.
    static void settle() { QCoreApplication::processEvents(); }
    void widen(int width) {
        bar.resize(width, 30);
        settle();
    }
    int wholeFlags() const {
        return std::accumulate(flags.begin(), flags.end(), 0,
                               [](int sum, const ElidedLabel* flag) { return sum + flag->wholeWidth(); });
    }
    int leastWidth() const { // in which all flags are whole
        int width = bar.layout()->minimumSize().width() + wholeFlags();
        for (const ElidedLabel* flag : flags) {
            width -= flag->minimumWidth();
        }
        return width;
    }
    bool inView(const QWidget* label) const {
        return label->x() >= 0 && label->geometry().right() <= bar.rect().right();
    }

    QWidget window;
    QStatusBar bar{&window};
    ElidedLabel* connection = nullptr;
    QList<ElidedLabel*> flags;
    ElidedLabel* detail = nullptr;
};

TEST(StatusBarRoom, TheFlagsAreWholeWhileTheOtherTextsCanGiveWay) {
    Bar stage;
    const int least = stage.leastWidth();
    for (const int width : {2000, least + 100, least}) {
        stage.widen(width);
        for (const ElidedLabel* flag : stage.flags) {
            EXPECT_GE(flag->width(), flag->wholeWidth()) << flag->text().toStdString() << " in " << width;
        }
        EXPECT_TRUE(stage.inView(stage.connection));
        EXPECT_TRUE(stage.inView(stage.detail));
    }
    EXPECT_LT(stage.connection->width(), stage.connection->wholeWidth());
}

TEST(StatusBarRoom, WhereTheyDoNotFitTheLongestFlagsEndEarlyAndAllStayInView) {
    Bar stage;
    stage.widen(stage.leastWidth() - 60);
    for (const QWidget* label :
         std::initializer_list<const QWidget*>{stage.connection, stage.flags[0], stage.flags[1],
                                               stage.flags[2], stage.flags[3], stage.detail}) {
        EXPECT_TRUE(stage.inView(label));
        EXPECT_GT(label->width(), 20);
    }
    EXPECT_GE(stage.flags[2]->width(), stage.flags[2]->wholeWidth()) << "the shortest keeps its text";
    EXPECT_LT(stage.flags[3]->width(), stage.flags[3]->wholeWidth());
    stage.widen(2000);
    EXPECT_GE(stage.flags[3]->width(), stage.flags[3]->wholeWidth()) << "and comes back";
}

TEST(StatusBarRoom, ANewTextIsRoomedAnew) {
    Bar stage;
    stage.widen(stage.leastWidth());
    stage.flags[2]->setText(QStringLiteral("Clock out: unavailable"));
    Bar::settle();
    EXPECT_TRUE(stage.inView(stage.detail));
    EXPECT_GE(stage.flags[2]->width(), stage.flags[2]->wholeWidth());
    EXPECT_LT(stage.flags[3]->width(), stage.flags[3]->wholeWidth());
    stage.flags[3]->setText(QStringLiteral("Acquisition: idle"));
    Bar::settle();
    for (const ElidedLabel* flag : stage.flags) {
        EXPECT_GE(flag->width(), flag->wholeWidth()) << flag->text().toStdString();
    }
}

TEST(StatusBarRoom, AMessageIsShownWholeAndEverythingIsThereBehindIt) {
    const QString message = QStringLiteral("This tab joins a running stream and records nothing.");
    Bar stage;
    int visibleBefore = 7;
    for (const int width : {2000, 1220, 900, 700, 500}) {
        stage.widen(width);
        stage.bar.showMessage(message);
        Bar::settle();
        int visible = 0;
        int end = stage.bar.width();
        for (const ElidedLabel* label : stage.bar.findChildren<ElidedLabel*>()) {
            visible += label->isVisible() ? 1 : 0;
            end = label->isVisible() ? qMin(end, label->x()) : end;
        }
        EXPECT_GE(end, stage.bar.fontMetrics().horizontalAdvance(message) + 8) << width;
        EXPECT_FALSE(stage.connection->isVisible());
        EXPECT_LE(visible, visibleBefore) << "no more make way than have to";
        EXPECT_TRUE(width > 500 ? visible > 0 : visible == 0) << width;
        EXPECT_TRUE(width < 2000 || visible == 5) << "only the first makes way where there is room";
        visibleBefore = visible;
        stage.bar.clearMessage();
        Bar::settle();
        for (const ElidedLabel* label : stage.bar.findChildren<ElidedLabel*>()) {
            EXPECT_TRUE(label->isVisible()) << label->text().toStdString() << " in " << width;
        }
    }
}

TEST(ElidedLabel, TellsItsWholeTextInTheToolTipWhenItIsShortened) {
    ElidedLabel label(QStringLiteral("Clock lock: internal fallback"), 0, 100);
    label.setElision(Qt::ElideLeft);
    for (const bool shortened : {true, false}) {
        label.resize(label.wholeWidth() / (shortened ? 2 : 1), 30);
        label.show();
        QHelpEvent ask(QEvent::ToolTip, QPoint(5, 5), label.mapToGlobal(QPoint(5, 5)));
        QCoreApplication::sendEvent(&label, &ask);
        EXPECT_EQ(QToolTip::text(), shortened ? label.text() : QString());
        QToolTip::hideText();
        EXPECT_TRUE(QTest::qWaitFor([] { return !QToolTip::isVisible(); }));
    }
}

} // namespace
} // namespace qorn::timetagger::gui
