#include "IconStyle.h"

#include "ResidentMemory.h"
#include "ThemeStyle.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QStyleFactory>
#include <QStyleOption>

#include <gtest/gtest.h>

#include <array>

namespace qorn::timetagger::gui {
namespace {

constexpr std::array kToolBarIcons{
    QStyle::SP_MediaPlay,        QStyle::SP_MediaPause, QStyle::SP_MediaStop,        QStyle::SP_BrowserReload,
    QStyle::SP_DialogSaveButton, QStyle::SP_FileIcon,   QStyle::SP_DialogOpenButton, QStyle::SP_DriveHDIcon};

struct Stage {
    ~Stage() { QApplication::setPalette(QPalette()); }

    IconStyle style{QStyleFactory::create(QStringLiteral("Fusion"))};
};

QImage render(const QIcon& icon, QIcon::Mode mode = QIcon::Normal) {
    return icon.pixmap(QSize(18, 18), mode).toImage().convertToFormat(QImage::Format_ARGB32);
}

// The colour of all pixels that are fully covered, or nothing when they differ or there are too few.
std::optional<QRgb> inkOf(const QImage& image) {
    std::optional<QRgb> ink;
    int covered = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            if (qAlpha(pixel) < 255) {
                continue;
            }
            ++covered;
            if (ink.has_value() && *ink != pixel) {
                return std::nullopt;
            }
            ink = pixel;
        }
    }
    return covered >= 8 ? ink : std::nullopt;
}

TEST(IconStyle, ToolBarIconsHaveTheTextColourOfTheTheme) {
    const Stage stage;
    for (const char* name : {"Qorn", "Dark", "Bright", "High contrast", "Classic"}) {
        const ThemePalette& theme = paletteFor(QString::fromLatin1(name));
        QApplication::setPalette(widgetPalette(theme));
        for (const QStyle::StandardPixmap which : kToolBarIcons) {
            EXPECT_EQ(inkOf(render(stage.style.standardIcon(which))), theme.buttonText)
                << name << " " << which;
            EXPECT_EQ(inkOf(render(stage.style.standardIcon(which), QIcon::Disabled)),
                      theme.buttonDisabledText)
                << name << " " << which;
        }
    }
}

TEST(IconStyle, AnIconThatWasHandedOutFollowsTheTheme) {
    const Stage stage;
    const QIcon icon = stage.style.standardIcon(QStyle::SP_MediaPlay);
    for (const char* name : {"Qorn", "Classic", "Qorn"}) {
        const ThemePalette& theme = paletteFor(QString::fromLatin1(name));
        QApplication::setPalette(widgetPalette(theme));
        EXPECT_EQ(inkOf(render(icon)), theme.buttonText) << name;
    }
}

TEST(IconStyle, NoTwoIconsLookAlike) {
    const Stage stage;
    for (std::size_t i = 0; i < kToolBarIcons.size(); ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            EXPECT_NE(render(stage.style.standardIcon(kToolBarIcons[i])),
                      render(stage.style.standardIcon(kToolBarIcons[j])));
        }
    }
}

TEST(IconStyle, OtherIconsAreThoseOfTheBaseStyle) {
    const Stage stage;
    const QImage own = render(stage.style.standardIcon(QStyle::SP_MessageBoxWarning));
    EXPECT_FALSE(own.isNull());
    EXPECT_EQ(own, render(stage.style.baseStyle()->standardIcon(QStyle::SP_MessageBoxWarning)));
}

void drawArrow(const QStyle& style, QStyle::PrimitiveElement element, const QPalette& palette,
               QPainter& painter) {
    QStyleOption option;
    option.rect = QRect(0, 0, 16, 16);
    option.palette = palette;
    style.drawPrimitive(element, &option, &painter);
}

TEST(IconStyle, ArrowsPointTheirWayInTheColourOfTheButton) {
    const Stage stage;
    const QPalette palette = widgetPalette(paletteFor(QStringLiteral("Dark")));
    const std::pair<QStyle::PrimitiveElement, QPoint> arrows[] = {{QStyle::PE_IndicatorArrowDown, {0, 1}},
                                                                  {QStyle::PE_IndicatorArrowLeft, {-1, 0}},
                                                                  {QStyle::PE_IndicatorArrowUp, {0, -1}},
                                                                  {QStyle::PE_IndicatorArrowRight, {1, 0}}};
    for (const auto& [element, direction] : arrows) {
        QImage image(16, 16, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        drawArrow(stage.style, element, palette, painter);
        painter.end();
        // Less ink on the side of the tip.
        int ahead = 0;
        int behind = 0;
        for (int y = 0; y < 16; ++y) {
            for (int x = 0; x < 16; ++x) {
                const int along = (2 * x - 15) * direction.x() + (2 * y - 15) * direction.y();
                (along > 0 ? ahead : behind) += qAlpha(image.pixel(x, y));
            }
        }
        EXPECT_GT(ahead, 0) << element;
        EXPECT_GT(behind, ahead * 3 / 2) << element;
        EXPECT_EQ(inkOf(image), palette.color(QPalette::ButtonText).rgb()) << element;
    }
}

TEST(IconStyle, ArrowsOfAnyPaletteLeaveNothingInMemory) {
    const Stage stage;
    QImage image(16, 16, QImage::Format_ARGB32_Premultiplied);
    QPainter painter(&image);
    // What the arrows of so many buttons leave behind once their pictures are given up, in KiB.
    const auto leftBy = [&painter](const QStyle& style) {
        const double before = bench::allocatedMebibytes();
        for (int i = 0; i < 4000; ++i) {
            QPalette own;
            own.setColor(QPalette::Shadow, QColor::fromRgb(static_cast<QRgb>(i)));
            drawArrow(style, QStyle::PE_IndicatorArrowDown, own, painter);
        }
        const int limit = QPixmapCache::cacheLimit();
        QPixmapCache::setCacheLimit(0);
        QPixmapCache::setCacheLimit(limit);
        return (bench::allocatedMebibytes() - before) * 1024.0;
    };
    leftBy(stage.style);
    EXPECT_LT(leftBy(stage.style), 40.0);
    EXPECT_GT(leftBy(*stage.style.baseStyle()), 400.0) << "the control";
}

} // namespace
} // namespace qorn::timetagger::gui
