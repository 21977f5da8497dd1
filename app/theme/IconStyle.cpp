#include "IconStyle.h"

#include <QApplication>
#include <QIconEngine>
#include <QImageReader>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QStyleOption>

#include <algorithm>
#include <array>
#include <utility>

namespace qorn::timetagger::gui {
namespace {

constexpr std::array<std::pair<QStyle::StandardPixmap, const char*>, 8> kIcons{{
    {QStyle::SP_MediaPlay, "play"},
    {QStyle::SP_MediaPause, "pause"},
    {QStyle::SP_MediaStop, "stop"},
    {QStyle::SP_BrowserReload, "reload"},
    {QStyle::SP_DialogSaveButton, "save"},
    {QStyle::SP_FileIcon, "file"},
    {QStyle::SP_DialogOpenButton, "open"},
    {QStyle::SP_DriveHDIcon, "drive"},
}};

constexpr std::array<std::pair<QStyle::PrimitiveElement, double>, 4> kArrows{{
    {QStyle::PE_IndicatorArrowDown, 0.0}, // and how far it is turned from there, in degrees
    {QStyle::PE_IndicatorArrowLeft, 90.0},
    {QStyle::PE_IndicatorArrowUp, 180.0},
    {QStyle::PE_IndicatorArrowRight, 270.0},
}};
constexpr int kMostArrowPixels = 8;

// Paints the shape of a picture in the colour that the palette has at that moment.
class ShapeIconEngine : public QIconEngine {
public:
    explicit ShapeIconEngine(QString file) : path(std::move(file)) {}

    QIconEngine* clone() const override { return new ShapeIconEngine(path); }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        // Disabled text has no role of its own: all colour groups of a theme are alike.
        const QColor colour = QApplication::palette().color(
            mode == QIcon::Disabled ? QPalette::PlaceholderText : QPalette::ButtonText);
        const QString key =
            QStringLiteral("%1 %2 %3x%4").arg(path, colour.name()).arg(size.width()).arg(size.height());
        QPixmap result;
        if (!QPixmapCache::find(key, &result)) {
            QImageReader reader(path);
            reader.setScaledSize(size);
            result = QPixmap::fromImage(reader.read());
            QPainter painter(&result);
            painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
            painter.fillRect(result.rect(), colour);
            painter.end();
            QPixmapCache::insert(key, result);
        }
        return result;
    }

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override {
        const QSize size = rect.size() * painter->device()->devicePixelRatioF();
        painter->drawPixmap(rect, pixmap(size, mode, state));
    }

private:
    QString path;
};

} // namespace

IconStyle::IconStyle(QStyle* base) : QProxyStyle(base) {}

QIcon IconStyle::standardIcon(StandardPixmap which, const QStyleOption* option, const QWidget* widget) const {
    for (const auto& [pixmap, name] : kIcons) {
        if (pixmap == which) {
            return QIcon(
                new ShapeIconEngine(QStringLiteral(":/icons/standard/%1.svg").arg(QLatin1String(name))));
        }
    }
    return QProxyStyle::standardIcon(which, option, widget);
}

void IconStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                              const QWidget* widget) const {
    const auto arrow = std::find_if(kArrows.begin(), kArrows.end(),
                                    [element](const auto& each) { return each.first == element; });
    if (arrow == kArrows.end()) {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        return;
    }
    const double side = std::min({option->rect.width(), option->rect.height(), kMostArrowPixels});
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->translate(QRectF(option->rect).center());
    painter->rotate(arrow->second);
    painter->setPen(Qt::NoPen);
    painter->setBrush(option->palette.buttonText());
    painter->drawPolygon(QPolygonF{{-side / 2.0, -side / 4.0}, {side / 2.0, -side / 4.0}, {0.0, side / 4.0}});
    painter->restore();
}

int IconStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                         QStyleHintReturn* returned) const {
    return hint == SH_DialogButtonBox_ButtonsHaveIcons
               ? 0
               : QProxyStyle::styleHint(hint, option, widget, returned);
}

} // namespace qorn::timetagger::gui
