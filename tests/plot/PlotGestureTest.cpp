#include "PlotTestSupport.h"

#include <QTest>
#include <QWheelEvent>

namespace {

using namespace plottest;

// 40 pixels per unit of x, 20 per unit of y; (264, 116) is the value (5, 5).
class PlotGestures : public PlotTest {
protected:
    Mouse mouse{plot};
    const QPointF middle{264.0, 116.0};

    // Whether the owner's range still reaches the view; leaves the automatic range changed.
    ::testing::AssertionResult ownerReachesView() {
        plot.setXRange(100, 110);
        return hasView(plot, {100, 110, viewOf(plot).yMin, viewOf(plot).yMax});
    }
};

TEST_F(PlotGestures, LeftDragAlongXZoomsX) {
    mouse.drag({144, 116}, {304, 126});
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
}

TEST_F(PlotGestures, LeftDragAlongYZoomsY) {
    mouse.drag({264, 56}, {274, 156});
    EXPECT_TRUE(hasView(plot, {0, 10, 3, 8}));
}

TEST_F(PlotGestures, DragAgainstTheAxesZoomsTheSame) {
    mouse.drag({304, 116}, {144, 116});
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
    plot.resetView();
    mouse.drag({264, 156}, {264, 56});
    EXPECT_TRUE(hasView(plot, {0, 10, 3, 8}));
}

TEST_F(PlotGestures, DiagonalDragZoomsX) {
    mouse.drag({144, 76}, {184, 116});
    EXPECT_TRUE(hasView(plot, {2, 3, 0, 10}));
}

struct ThresholdCase {
    const char* name;
    Qt::KeyboardModifiers modifiers;
    QPointF move;
    View zoomed;
};

TEST_F(PlotGestures, DragOfFivePixelsDoesNothingAndOfSixZooms) {
    const QList<ThresholdCase> cases{
        {"dominant x", Qt::NoModifier, {6, 0}, {5, 5.15, 0, 10}},
        {"dominant y", Qt::NoModifier, {0, -6}, {0, 10, 5, 5.3}},
        {"x only", Qt::ShiftModifier, {6, 60}, {5, 5.15, 0, 10}},
        {"y only", Qt::ControlModifier, {60, -6}, {0, 10, 5, 5.3}},
        {"dominant x backwards", Qt::NoModifier, {-6, 0}, {4.85, 5, 0, 10}},
        {"dominant y downwards", Qt::NoModifier, {0, 6}, {0, 10, 4.7, 5}},
    };
    for (const ThresholdCase& entry : cases) {
        SCOPED_TRACE(entry.name);
        const auto shortened = [](double value) {
            return value == 6.0 || value == -6.0 ? value / 6 * 5 : value;
        };
        mouse.drag(middle, middle + QPointF(shortened(entry.move.x()), shortened(entry.move.y())),
                   Qt::LeftButton, entry.modifiers);
        EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
        EXPECT_TRUE(ownerReachesView()) << "a short drag leaves the view to its owner";
        plot.setXRange(0, 10);
        mouse.drag(middle, middle + entry.move, Qt::LeftButton, entry.modifiers);
        EXPECT_TRUE(hasView(plot, entry.zoomed));
        EXPECT_FALSE(ownerReachesView());
        plot.setXRange(0, 10);
        plot.resetView();
    }
}

TEST_F(PlotGestures, ClickLeavesTheView) {
    mouse.press(middle);
    mouse.release(middle);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    EXPECT_TRUE(ownerReachesView());
    QTest::mouseClick(&plot, Qt::LeftButton, Qt::NoModifier, middle.toPoint());
    EXPECT_TRUE(hasView(plot, {100, 110, 0, 10}));
}

TEST_F(PlotGestures, ShiftDragZoomsXEvenWhenMostlyVertical) {
    mouse.drag({184, 36}, {204, 196}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_TRUE(hasView(plot, {3, 3.5, 0, 10}));
    plot.resetView();
    mouse.drag({184, 36}, {189, 196}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10})) << "5 pixels along x are too few";
}

TEST_F(PlotGestures, ControlDragZoomsYEvenWhenMostlyHorizontal) {
    mouse.drag({104, 96}, {424, 116}, Qt::LeftButton, Qt::ControlModifier);
    EXPECT_TRUE(hasView(plot, {0, 10, 5, 6}));
}

TEST_F(PlotGestures, ModifiersZoomWithBoxZoomOffToo) {
    plot.setBoxZoomMode(false);
    mouse.drag({144, 116}, {304, 126}, Qt::LeftButton, Qt::ShiftModifier);
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
    plot.resetView();
    mouse.drag({144, 96}, {304, 116}, Qt::LeftButton, Qt::ControlModifier);
    EXPECT_TRUE(hasView(plot, {0, 10, 5, 6}));
}

TEST_F(PlotGestures, ZoomEndsAtTheEdgesOfThePlot) {
    mouse.drag({344, 116}, {2000, 116});
    EXPECT_TRUE(hasView(plot, {7, 10, 0, 10}));
    plot.resetView();
    mouse.drag({344, 116}, {-500, 120});
    EXPECT_TRUE(hasView(plot, {0, 7, 0, 10}));
    plot.resetView();
    mouse.drag({264, 56}, {264, 900});
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 8}));
}

TEST_F(PlotGestures, ReleasePointIsTheEndEvenWithoutAMove) {
    mouse.press({144, 116});
    mouse.release({304, 116});
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
}

TEST_F(PlotGestures, ZoomsNest) {
    mouse.drag({144, 116}, {304, 116});
    mouse.drag({164, 116}, {264, 116});
    EXPECT_TRUE(hasView(plot, {3, 4, 0, 10}));
    mouse.drag({264, 66}, {264, 166});
    EXPECT_TRUE(hasView(plot, {3, 4, 2.5, 7.5}));
}

TEST_F(PlotGestures, ZoomLeavesTheAutomaticRange) {
    mouse.drag({144, 116}, {304, 116});
    plot.setXRange(20, 30);
    EXPECT_TRUE(hasView(plot, {2, 6, 0, 10}));
    mouse.doubleClick(middle);
    EXPECT_TRUE(hasView(plot, {20, 30, 0, 10}));
}

struct PanCase {
    const char* name;
    Qt::MouseButton button;
    bool boxZoom;
};

TEST_F(PlotGestures, DataFollowTheCursorInAPan) {
    for (const PanCase& pan : {PanCase{"right, box zoom on", Qt::RightButton, true},
                               {"right, box zoom off", Qt::RightButton, false},
                               {"middle, box zoom on", Qt::MiddleButton, true},
                               {"middle, box zoom off", Qt::MiddleButton, false},
                               {"left, box zoom off", Qt::LeftButton, false}}) {
        SCOPED_TRACE(pan.name);
        plot.setBoxZoomMode(pan.boxZoom);
        mouse.press(middle, pan.button);
        EXPECT_EQ(plot.cursor().shape(), Qt::ClosedHandCursor);
        mouse.move(middle + QPointF(80, 40));
        EXPECT_TRUE(hasView(plot, {-2, 8, 2, 12}));
        // The value under the press point is under the cursor now.
        EXPECT_NEAR(plot.valueFromPixelX(344, plot.plotRect()), 5.0, 1e-9);
        EXPECT_NEAR(plot.valueFromPixelY(156, plot.plotRect()), 5.0, 1e-9);
        mouse.move(middle + QPointF(-20, 3));
        EXPECT_TRUE(hasView(plot, {0.5, 10.5, 0.15, 10.15}))
            << "from the view at the press, not the last move";
        mouse.release(middle + QPointF(-20, 3));
        EXPECT_TRUE(hasView(plot, {0.5, 10.5, 0.15, 10.15}));
        EXPECT_EQ(plot.cursor().shape(), Qt::ArrowCursor);
        mouse.move(middle);
        EXPECT_TRUE(hasView(plot, {0.5, 10.5, 0.15, 10.15})) << "the pan is over";
        plot.resetView();
    }
}

TEST_F(PlotGestures, CursorAfterAPanIsThatOfTheSurroundings) {
    QWidget panel;
    panel.setCursor(Qt::CrossCursor);
    auto* child = new BarChartWidget(&panel);
    child->resize(480, 258);
    Mouse other(*child);
    other.press(middle, Qt::RightButton);
    EXPECT_EQ(child->cursor().shape(), Qt::ClosedHandCursor);
    other.release(middle);
    EXPECT_EQ(child->cursor().shape(), Qt::CrossCursor);
    EXPECT_FALSE(child->testAttribute(Qt::WA_SetCursor));
    other.press(middle);
    EXPECT_EQ(child->cursor().shape(), Qt::CrossCursor) << "a zoom leaves the cursor alone";
    other.release(middle);
}

TEST_F(PlotGestures, PanGoesOnOutsideThePlot) {
    mouse.press(middle, Qt::RightButton);
    mouse.move(middle + QPointF(4000, -2000));
    EXPECT_TRUE(hasView(plot, {-100, -90, -100, -90}));
    mouse.move(middle);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    mouse.release(middle);
}

TEST_F(PlotGestures, PanKeepsTheOwnersRangeAwayUntilADoubleClick) {
    mouse.drag(middle, middle + QPointF(40, 0), Qt::RightButton);
    EXPECT_TRUE(hasView(plot, {-1, 9, 0, 10}));
    plot.setXRange(50, 60);
    plot.setYRange(70, 80);
    EXPECT_TRUE(hasView(plot, {-1, 9, 0, 10}));
    mouse.doubleClick(middle);
    EXPECT_TRUE(hasView(plot, {50, 60, 70, 80}));
    EXPECT_TRUE(ownerReachesView());
}

TEST_F(PlotGestures, RightClickWithoutAMoveLeavesTheViewToItsOwner) {
    mouse.press(middle, Qt::RightButton);
    mouse.release(middle);
    EXPECT_TRUE(ownerReachesView());
}

TEST_F(PlotGestures, DoubleClickOutsideThePlotDoesNothing) {
    plot.setManualRange(1, 2, 3, 4);
    for (const QPointF& outside : {QPointF(20, 100), QPointF(474, 100), QPointF(200, 5), QPointF(200, 240)}) {
        mouse.doubleClick(outside);
        EXPECT_TRUE(hasView(plot, {1, 2, 3, 4}));
    }
    QTest::mouseDClick(&plot, Qt::LeftButton, Qt::NoModifier, middle.toPoint());
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
}

TEST_F(PlotGestures, PressOutsideThePlotIsLeftToTheBaseClass) {
    for (const QPointF& outside : {QPointF(20, 100), QPointF(474, 100), QPointF(200, 5), QPointF(200, 240)}) {
        for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton}) {
            for (const Qt::KeyboardModifiers modifiers :
                 {Qt::KeyboardModifiers(Qt::NoModifier), Qt::KeyboardModifiers(Qt::ShiftModifier),
                  Qt::KeyboardModifiers(Qt::ControlModifier)}) {
                mouse.press(outside, button, modifiers);
                EXPECT_FALSE(mouse.accepted());
                EXPECT_EQ(plot.cursor().shape(), Qt::ArrowCursor);
                mouse.move(middle);
                mouse.release(middle);
                EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
            }
        }
    }
    EXPECT_TRUE(ownerReachesView());
}

TEST_F(PlotGestures, PressInsideThePlotIsTaken) {
    for (const Qt::MouseButton button : {Qt::LeftButton, Qt::RightButton, Qt::MiddleButton}) {
        mouse.press(middle, button);
        EXPECT_TRUE(mouse.accepted());
        mouse.release(middle);
    }
}

TEST_F(PlotGestures, ReleaseWithoutAPressDoesNothing) {
    mouse.release(middle);
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    EXPECT_TRUE(ownerReachesView());
}

TEST_F(PlotGestures, NewPressRestartsTheDrag) {
    mouse.press({104, 116});
    mouse.move({304, 116});
    mouse.press({344, 56});
    mouse.release({344, 156});
    EXPECT_TRUE(hasView(plot, {0, 10, 3, 8})) << "only the second drag counts";
    plot.resetView();

    mouse.press({104, 116});
    mouse.move({304, 116});
    mouse.press(middle, Qt::RightButton);
    mouse.move(middle + QPointF(40, 0));
    EXPECT_TRUE(hasView(plot, {-1, 9, 0, 10})) << "a pan now";
    mouse.press({144, 116}, Qt::LeftButton);
    mouse.release({344, 116});
    EXPECT_TRUE(hasView(plot, {1, 6, 0, 10})) << "a zoom again, of the panned view";
}

TEST_F(PlotGestures, PanStartsFromThePresentView) {
    plot.setManualRange(20, 24, -1, 1);
    mouse.drag(middle, middle + QPointF(100, -50), Qt::MiddleButton);
    EXPECT_TRUE(hasView(plot, {19, 23, -1.5, 0.5}));
}

// Counts the wheel events that come through to the surroundings.
class WheelCounter : public QWidget {
public:
    int events = 0;

protected:
    void wheelEvent(QWheelEvent* event) override {
        ++events;
        event->accept();
    }
};

TEST_F(PlotGestures, WheelIsLeftToTheSurroundingPanel) {
    QWheelEvent direct(middle, plot.mapToGlobal(middle), QPoint(), QPoint(0, 120), Qt::NoButton,
                       Qt::NoModifier, Qt::NoScrollPhase, false);
    direct.accept();
    QCoreApplication::sendEvent(&plot, &direct);
    EXPECT_FALSE(direct.isAccepted());
    EXPECT_TRUE(hasView(plot, {0, 10, 0, 10}));
    EXPECT_TRUE(ownerReachesView());

    WheelCounter panel;
    auto* child = new BarChartWidget(&panel);
    child->resize(480, 258);
    QWheelEvent nested(middle, child->mapToGlobal(middle), QPoint(), QPoint(0, 120), Qt::NoButton,
                       Qt::NoModifier, Qt::NoScrollPhase, false);
    // Only events of the window system are handed on to the parent.
    QSpontaneKeyEvent::setSpontaneous(&nested);
    QCoreApplication::instance()->notify(child, &nested);
    EXPECT_EQ(panel.events, 1);
    EXPECT_TRUE(hasView(*child, {0, 1, 0, 1}));
}

TEST_F(PlotGestures, EveryStepRepaints) {
    plot.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&plot));
    PaintCounter counter(plot);
    const auto repaints = [&](const char* what) { EXPECT_EQ(counter.takePaints(), 1) << what; };
    counter.takePaints();
    mouse.move(middle);
    repaints("hover");
    mouse.press(middle);
    counter.takePaints();
    mouse.move(middle + QPointF(50, 0));
    repaints("zoom drag");
    mouse.release(middle + QPointF(50, 0));
    repaints("end of the zoom");
    mouse.press(middle, Qt::RightButton);
    counter.takePaints();
    mouse.move(middle + QPointF(30, 0));
    repaints("pan");
    mouse.release(middle + QPointF(30, 0));
    repaints("end of the pan");
    mouse.leave();
    repaints("leave");
    plot.resetView();
    repaints("reset");
}

} // namespace
