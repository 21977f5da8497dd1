#include "WheelGuard.h"

#include "MessageGuard.h"

#include <QApplication>
#include <QComboBox>
#include <QDial>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <QtTest/qtestspontaneevent.h>

#include <gtest/gtest.h>

#include <functional>

namespace qorn::timetagger::gui {
namespace {

QWheelEvent wheelEvent(const QWidget& target, const QPoint& position) {
    return QWheelEvent(QPointF(position), QPointF(target.mapToGlobal(position)), QPoint(), QPoint(0, -120),
                       Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
}

// As the window system delivers it: to the widget under the pointer, and from there to the parents while
// refused.
void turnWheel(QWidget& target, const QPoint& position) {
    QWheelEvent event = wheelEvent(target, position);
    QSpontaneKeyEvent::setSpontaneous(&event);
    qApp->notify(&target, &event);
}

void turnWheel(QWidget& target) {
    turnWheel(target, target.rect().center());
}

// A panel of settings that is taller than its window, under a guard.
struct Panel {
    Panel() {
        qApp->installEventFilter(&guard);
        auto* content = new QWidget;
        auto* layout = new QVBoxLayout(content);
        number = new QSpinBox;
        number->setRange(-100, 100);
        real = new QDoubleSpinBox;
        real->setRange(-100, 100);
        choice = new QComboBox;
        editable = new QComboBox;
        editable->setEditable(true);
        for (QComboBox* box : {choice, editable}) {
            for (int i = 0; i < 60; ++i) {
                box->addItem(QString::number(i));
            }
            box->setCurrentIndex(30);
        }
        slider = new QSlider(Qt::Horizontal);
        slider->setValue(50);
        dial = new QDial;
        dial->setValue(50);
        loneBar = new QScrollBar(Qt::Horizontal);
        loneBar->setValue(50);
        label = new QLabel(QStringLiteral("plain"));
        list = new QListWidget;
        for (int i = 0; i < 200; ++i) {
            list->addItem(QString::number(i));
        }
        list->setFixedHeight(100);
        for (QWidget* widget :
             {static_cast<QWidget*>(number), static_cast<QWidget*>(real), static_cast<QWidget*>(choice),
              static_cast<QWidget*>(editable), static_cast<QWidget*>(slider), static_cast<QWidget*>(dial),
              static_cast<QWidget*>(loneBar), static_cast<QWidget*>(label), static_cast<QWidget*>(list)}) {
            layout->addWidget(widget);
        }
        layout->addSpacing(2000);
        area.setWidget(content);
        area.resize(300, 700);
        area.show();
        area.verticalScrollBar()->setValue(20);
    }
    ~Panel() { qApp->removeEventFilter(&guard); }

    // Everything that a wheel could move.
    QList<int> state() const {
        return {number->value(),
                int(real->value()),
                choice->currentIndex(),
                editable->currentIndex(),
                slider->value(),
                dial->value(),
                loneBar->value(),
                list->verticalScrollBar()->value(),
                area.verticalScrollBar()->value()};
    }
    QList<QWidget*> settings() const { return {number, real, choice, editable, slider, dial, loneBar}; }

    WheelGuard guard;
    QScrollArea area;
    QSpinBox* number = nullptr;
    QDoubleSpinBox* real = nullptr;
    QComboBox* choice = nullptr;
    QComboBox* editable = nullptr;
    QSlider* slider = nullptr;
    QDial* dial = nullptr;
    QScrollBar* loneBar = nullptr;
    QLabel* label = nullptr;
    QListWidget* list = nullptr;
};

TEST(WheelGuard, OverASettingNothingMovesNeitherTheControlNorThePanel) {
    const Panel panel;
    const QList<int> before = panel.state();
    for (QWidget* setting : panel.settings()) {
        for (const bool focused : {false, true}) {
            if (focused) {
                setting->setFocus();
            }
            turnWheel(*setting);
            EXPECT_EQ(panel.state(), before) << setting->metaObject()->className();
        }
    }
}

TEST(WheelGuard, TheLineEditInsideASettingIsGuardedAsWell) {
    const Panel panel;
    const QList<int> before = panel.state();
    for (QWidget* setting : {static_cast<QWidget*>(panel.number), static_cast<QWidget*>(panel.editable)}) {
        auto* edit = setting->findChild<QLineEdit*>();
        ASSERT_NE(edit, nullptr);
        turnWheel(*edit);
        EXPECT_EQ(panel.state(), before);
    }
}

TEST(WheelGuard, ADisabledSettingIsGuardedAsWell) {
    const Panel panel;
    for (QWidget* setting : panel.settings()) {
        setting->setEnabled(false);
        const QList<int> before = panel.state();
        turnWheel(*setting);
        EXPECT_EQ(panel.state(), before) << setting->metaObject()->className();
    }
}

TEST(WheelGuard, ARefusedEventIsNotAccepted) {
    Panel panel;
    QWheelEvent event = wheelEvent(*panel.number, QPoint(5, 5));
    event.accept();
    EXPECT_TRUE(panel.guard.eventFilter(panel.number, &event));
    EXPECT_FALSE(event.isAccepted());
}

TEST(WheelGuard, ThePanelScrollsBesideTheSettings) {
    const Panel panel;
    const int before = panel.area.verticalScrollBar()->value();
    turnWheel(*panel.label);
    const int afterLabel = panel.area.verticalScrollBar()->value();
    EXPECT_GT(afterLabel, before);
    turnWheel(*panel.area.viewport(), QPoint(150, 690));
    EXPECT_GT(panel.area.verticalScrollBar()->value(), afterLabel);
}

TEST(WheelGuard, ScrollBarsOfScrollAreasScroll) {
    const Panel panel;
    const int before = panel.area.verticalScrollBar()->value();
    turnWheel(*panel.area.verticalScrollBar());
    EXPECT_GT(panel.area.verticalScrollBar()->value(), before);
}

TEST(WheelGuard, AListScrolls) {
    const Panel panel;
    turnWheel(*panel.list->viewport());
    EXPECT_GT(panel.list->verticalScrollBar()->value(), 0);
}

TEST(WheelGuard, TheOpenListOfAComboBoxScrollsWithoutChangingTheChoice) {
    using qorn::testing::MessageGuard;
    MessageGuard::allow(QStringLiteral("This plugin does not support raise()"));
    MessageGuard::allow(QStringLiteral("This plugin does not support grabbing the keyboard"));
    const Panel panel;
    qApp->setStyleSheet(QStringLiteral("QComboBox { combobox-popup: 0; }"));
    panel.choice->setCurrentIndex(0);
    panel.choice->showPopup();
    const QScrollBar* bar = panel.choice->view()->verticalScrollBar();
    ASSERT_GT(bar->maximum(), 0);
    turnWheel(*panel.choice->view()->viewport());
    EXPECT_GT(bar->value(), 0);
    EXPECT_EQ(panel.choice->currentIndex(), 0);
    panel.choice->hidePopup();
    qApp->setStyleSheet(QString());
}

TEST(WheelGuard, OtherEventsAndOtherObjectsPass) {
    Panel panel;
    QEvent leave(QEvent::Leave);
    EXPECT_FALSE(panel.guard.eventFilter(panel.number, &leave));
    QObject plain;
    QWheelEvent event = wheelEvent(*panel.number, QPoint(5, 5));
    EXPECT_FALSE(panel.guard.eventFilter(&plain, &event));
}

} // namespace
} // namespace qorn::timetagger::gui
