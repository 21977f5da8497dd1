// The colours of one theme. Constant data, free for any thread.
#pragma once

#include <QColor>
#include <QString>

#include <string_view>

namespace qorn::timetagger::gui {

struct ThemePalette {
    std::string_view name;
    QRgb background;
    QRgb panel;
    QRgb text;
    QRgb muted;
    QRgb border;
    QRgb accent;
    QRgb field;
    QRgb selection;
    QRgb tabBackground;
    QRgb tabSelected;
    QRgb button;
    QRgb buttonHover;
    QRgb buttonText;
    QRgb buttonDisabled;
    QRgb buttonDisabledText;
};

// The row of a theme, by its exact name; "Dark" is "Dark Modern", and any name that is not known is "Qorn".
const ThemePalette& paletteFor(const QString& name);

// The colour scheme of plots under a theme; a name that BarChartWidget::setPlotOptions() knows.
QString plotSchemeFor(const QString& themeName);

} // namespace qorn::timetagger::gui
