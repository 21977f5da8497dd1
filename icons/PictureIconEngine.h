// Draws an icon of a picture under the picture's name. GUI thread only.
#pragma once

#include "PictureIcon.h"

#include <QIconEngine>

namespace qorn::timetagger::gui {

class PictureIconEngine : public QIconEngine {
public:
    PictureIconEngine(QString file, IconColours wanted);

    QIconEngine* clone() const override;
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;

private:
    QPixmap draw(const QSize& size, QIcon::Mode mode) const;

    QString path;
    IconColours colours;
};

} // namespace qorn::timetagger::gui
