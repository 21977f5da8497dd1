#include "IconStyle.h"

#include "ThemeStyle.h"

#include <QApplication>
#include <QImage>
#include <QStyleFactory>

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

} // namespace
} // namespace qorn::timetagger::gui
