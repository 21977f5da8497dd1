#include "SharedIcon.h"

#include <QApplication>
#include <QIconEngine>
#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>
#include <QStyle>
#include <QStyleOption>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

class SharedIconEngine : public QIconEngine {
public:
    explicit SharedIconEngine(QString file) : path(std::move(file)) {}

    QIconEngine* clone() const override { return new SharedIconEngine(path); }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        const QString key =
            QStringLiteral("%1 %2 %3x%4").arg(path).arg(mode).arg(size.width()).arg(size.height());
        QPixmap result;
        if (!QPixmapCache::find(key, &result)) {
            QImageReader reader(path);
            reader.setScaledSize(size);
            const QStyleOption option;
            result =
                QApplication::style()->generatedIconPixmap(mode, QPixmap::fromImage(reader.read()), &option);
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

QIcon sharedIcon(const QString& path) {
    return QIcon(new SharedIconEngine(path));
}

} // namespace qorn::timetagger::gui
