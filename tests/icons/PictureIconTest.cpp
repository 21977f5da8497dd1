#include "PictureIcon.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPalette>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace qorn::timetagger::gui {
namespace {

constexpr QRgb kInk = 0xff6f7d99;
constexpr QSize kSize{16, 16};

class PictureIcon : public testing::Test {
protected:
    // A square of ink in the left half, nothing in the right one.
    void SetUp() override {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(R"(<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16">
            <rect width="8" height="16" fill="#6f7d99"/></svg>)");
    }
    void TearDown() override { QApplication::setPalette(QPalette()); }

    static QImage imageOf(const QIcon& icon, QIcon::Mode mode = QIcon::Normal) {
        return icon.pixmap(kSize, mode).toImage().convertToFormat(QImage::Format_ARGB32);
    }
    static QRgb inkOf(const QIcon& icon, QIcon::Mode mode = QIcon::Normal) {
        const QImage image = imageOf(icon, mode);
        EXPECT_EQ(image.size(), kSize);
        EXPECT_EQ(qAlpha(image.pixel(12, 8)), 0) << "only what the picture has";
        return image.pixel(4, 8);
    }

    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("half.svg"));
};

TEST_F(PictureIcon, KeepsItsOwnColoursAndPalesWhereItIsDisabled) {
    const QIcon icon = pictureIcon(path, IconColours::Own);
    EXPECT_EQ(inkOf(icon), kInk);
    EXPECT_NE(inkOf(icon, QIcon::Disabled), kInk);
}

TEST_F(PictureIcon, HasTheColourOfTextAndFollowsIt) {
    const QIcon icon = pictureIcon(path, IconColours::Text);
    for (const QRgb text : {0xff102030U, 0xfff0f0f0U, 0xff102030U}) {
        QPalette palette;
        palette.setColor(QPalette::ButtonText, QColor(text));
        palette.setColor(QPalette::PlaceholderText, QColor(Qt::red));
        QApplication::setPalette(palette);
        EXPECT_EQ(inkOf(icon), text);
        EXPECT_EQ(inkOf(icon, QIcon::Disabled), QColor(Qt::red).rgb());
    }
}

TEST_F(PictureIcon, IsDrawnOnceForAllOfItsIcons) {
    for (const IconColours colours : {IconColours::Own, IconColours::Text}) {
        EXPECT_EQ(pictureIcon(path, colours).pixmap(kSize).cacheKey(),
                  pictureIcon(path, colours).pixmap(kSize).cacheKey());
    }
    EXPECT_NE(pictureIcon(path, IconColours::Own).pixmap(kSize).cacheKey(),
              pictureIcon(path, IconColours::Text).pixmap(kSize).cacheKey());
}

TEST_F(PictureIcon, IsAsSharpAsThePaper) {
    QImage paper(32, 32, QImage::Format_ARGB32_Premultiplied);
    paper.setDevicePixelRatio(2.0);
    paper.fill(Qt::transparent);
    QPainter painter(&paper);
    pictureIcon(path, IconColours::Own).paint(&painter, QRect(QPoint(), kSize));
    painter.end();
    EXPECT_EQ(paper.pixel(15, 16), kInk) << "the last column of ink at twice the size";
    EXPECT_EQ(qAlpha(paper.pixel(16, 16)), 0);
}

TEST_F(PictureIcon, OfNoPictureIsEmpty) {
    const QString missing = folder.filePath(QStringLiteral("missing.svg"));
    EXPECT_TRUE(pictureIcon(missing, IconColours::Own).pixmap(kSize).isNull());
    EXPECT_TRUE(pictureIcon(missing, IconColours::Text).pixmap(kSize).isNull());
}

} // namespace
} // namespace qorn::timetagger::gui
