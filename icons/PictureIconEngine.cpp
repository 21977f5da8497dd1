#include "PictureIconEngine.h"

#include <QApplication>
#include <QImageReader>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QStyle>
#include <QStyleOption>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

// Disabled text has no role of its own: all colour groups of a theme are alike.
QColor textColour(QIcon::Mode mode) {
    return QApplication::palette().color(mode == QIcon::Disabled ? QPalette::PlaceholderText
                                                                 : QPalette::ButtonText);
}

QPixmap inOneColour(QPixmap picture, const QColor& colour) {
    QPainter painter(&picture);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(picture.rect(), colour);
    return picture;
}

} // namespace

PictureIconEngine::PictureIconEngine(QString file, IconColours wanted)
    : path(std::move(file)), colours(wanted) {}

QIconEngine* PictureIconEngine::clone() const {
    return new PictureIconEngine(path, colours);
}

QPixmap PictureIconEngine::pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) {
    const QString look = colours == IconColours::Text ? textColour(mode).name() : QString::number(mode);
    const QString key = QStringLiteral("%1 %2 %3x%4").arg(path, look).arg(size.width()).arg(size.height());
    QPixmap result;
    if (!QPixmapCache::find(key, &result)) {
        result = draw(size, mode);
        QPixmapCache::insert(key, result);
    }
    return result;
}

void PictureIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) {
    const QSize size = rect.size() * painter->device()->devicePixelRatioF();
    painter->drawPixmap(rect, pixmap(size, mode, state));
}

QPixmap PictureIconEngine::draw(const QSize& size, QIcon::Mode mode) const {
    QImageReader reader(path);
    reader.setScaledSize(size);
    QPixmap picture = QPixmap::fromImage(reader.read());
    if (picture.isNull()) {
        return picture;
    }
    if (colours == IconColours::Text) {
        return inOneColour(std::move(picture), textColour(mode));
    }
    const QStyleOption option;
    return QApplication::style()->generatedIconPixmap(mode, picture, &option);
}

} // namespace qorn::timetagger::gui
