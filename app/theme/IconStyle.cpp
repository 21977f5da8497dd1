#include "IconStyle.h"

#include <QApplication>
#include <QIconEngine>
#include <QImageReader>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>

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

int IconStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                         QStyleHintReturn* returned) const {
    return hint == SH_DialogButtonBox_ButtonsHaveIcons
               ? 0
               : QProxyStyle::styleHint(hint, option, widget, returned);
}

} // namespace qorn::timetagger::gui
