#include "IconStyle.h"

#include "PictureIcon.h"

#include <QPainter>
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

} // namespace

IconStyle::IconStyle(QStyle* base) : QProxyStyle(base) {}

QIcon IconStyle::standardIcon(StandardPixmap which, const QStyleOption* option, const QWidget* widget) const {
    for (const auto& [pixmap, name] : kIcons) {
        if (pixmap == which) {
            return pictureIcon(QStringLiteral(":/icons/standard/%1.svg").arg(QLatin1String(name)),
                               IconColours::Text);
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
