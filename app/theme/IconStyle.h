// A style around another that draws the standard icons of the tool bars in the palette's text colour, so that
// they stand out on dark and light themes alike; icons already handed out follow a change of the theme.
//
// Made by main around the base style and owned by the application. GUI thread only.
#pragma once

#include <QProxyStyle>

namespace qorn::timetagger::gui {

class IconStyle : public QProxyStyle {
    Q_OBJECT
public:
    // Takes the base style over.
    explicit IconStyle(QStyle* base);

    QIcon standardIcon(StandardPixmap which, const QStyleOption* option = nullptr,
                       const QWidget* widget = nullptr) const override;

    // Arrows without the base style's cache: it names each after the button's own palette, and the toolkit
    // keeps such names for good.
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override;

    // Buttons of dialogs are without the base style's coloured icons.
    int styleHint(StyleHint hint, const QStyleOption* option = nullptr, const QWidget* widget = nullptr,
                  QStyleHintReturn* returned = nullptr) const override;
};

} // namespace qorn::timetagger::gui
