#include "HeroBanner.h"

#include <QApplication>
#include <QImage>
#include <QLabel>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QTest>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

// Answers the animation hint as told, whatever the platform thinks.
class HintStyle : public QProxyStyle {
public:
    explicit HintStyle(int milliseconds)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))), duration(milliseconds) {}

    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override {
        return hint == SH_Widget_Animation_Duration ? duration
                                                    : QProxyStyle::styleHint(hint, option, widget, data);
    }

private:
    int duration;
};

// Member order matters: the style outlives the banner that uses it.
struct Stage {
    explicit Stage(int animationMs) : style(animationMs) {
        banner.setStyle(&style);
        banner.resize(900, banner.height());
    }
    QImage picture() { return banner.grab().toImage(); }

    HintStyle style;
    HeroBanner banner{QStringLiteral("qorn.timing"), QStringLiteral("Counting")};
};

TEST(HeroBanner, ShowsItsTwoTextsUnderTheNamesThatTheStyleSheetKnows) {
    const HeroBanner banner(QStringLiteral("qorn.timing"), QStringLiteral("Counting"));
    const auto* title = banner.findChild<QLabel*>(QStringLiteral("HeroTitle"));
    const auto* subtitle = banner.findChild<QLabel*>(QStringLiteral("HeroSubtitle"));
    ASSERT_NE(title, nullptr);
    ASSERT_NE(subtitle, nullptr);
    EXPECT_EQ(title->text(), QStringLiteral("qorn.timing"));
    EXPECT_EQ(subtitle->text(), QStringLiteral("Counting"));
}

TEST(HeroBanner, MovesOnlyWhileItIsVisible) {
    Stage stage(200);
    EXPECT_FALSE(stage.banner.isAnimated());
    stage.banner.show();
    EXPECT_TRUE(stage.banner.isAnimated());
    const QImage first = stage.picture();
    EXPECT_TRUE(QTest::qWaitFor([&] { return stage.picture() != first; }));
    stage.banner.hide();
    EXPECT_FALSE(stage.banner.isAnimated());
    stage.banner.show();
    EXPECT_TRUE(stage.banner.isAnimated());
}

TEST(HeroBanner, MovesOnlyWhileTheWindowAroundItIsVisible) {
    QWidget window;
    auto* banner = new HeroBanner(QStringLiteral("a"), QStringLiteral("b"), &window);
    HintStyle style(200);
    banner->setStyle(&style);
    window.show();
    EXPECT_TRUE(banner->isAnimated());
    window.hide();
    EXPECT_FALSE(banner->isAnimated());
    delete banner;
}

TEST(HeroBanner, StandsStillWhenTheStyleHasAnimationsOff) {
    Stage stage(0);
    stage.banner.show();
    EXPECT_FALSE(stage.banner.isAnimated());
}

TEST(HeroBanner, FollowsAStyleThatSwitchesAnimationsOffAndOn) {
    Stage stage(200);
    stage.banner.show();
    HintStyle still(0);
    stage.banner.setStyle(&still);
    EXPECT_FALSE(stage.banner.isAnimated());
    stage.banner.setStyle(&stage.style);
    EXPECT_TRUE(stage.banner.isAnimated());
}

TEST(HeroBanner, TakesItsColoursFromThePalette) {
    Stage stage(0);
    stage.banner.show();
    for (const QColor ground : {QColor(0x0b, 0x10, 0x20), QColor(0xf0, 0xf0, 0xf0)}) {
        QPalette palette;
        palette.setColor(QPalette::Window, ground);
        palette.setColor(QPalette::Link, QColor(0x12, 0xb8, 0xa6));
        stage.banner.setPalette(palette);
        EXPECT_EQ(stage.picture().pixelColor(2, 2), ground);
    }
}

TEST(HeroBanner, FillsEveryPixelAtAnySize) {
    for (const int width : {1, 40, 300, 2560}) {
        HeroBanner banner(QStringLiteral("qorn.timing"), QStringLiteral("Counting"));
        QPalette palette;
        palette.setColor(QPalette::Window, Qt::white);
        palette.setColor(QPalette::Link, Qt::white);
        palette.setColor(QPalette::WindowText, Qt::white);
        banner.setPalette(palette);
        banner.resize(width, banner.height());
        QImage target(banner.size(), QImage::Format_RGB32);
        target.fill(Qt::magenta);
        banner.render(&target, QPoint(), QRegion(), QWidget::RenderFlags());
        for (int x = 0; x < target.width(); ++x) {
            for (int y = 0; y < target.height(); ++y) {
                ASSERT_EQ(target.pixelColor(x, y), QColor(Qt::white)) << x << "," << y << " of " << width;
            }
        }
    }
}

} // namespace
} // namespace qorn::timetagger::gui
