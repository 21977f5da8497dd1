// Turns a theme's colours into what Qt takes: a widget palette and a style sheet. Free functions without
// state; all but applyThemeStyle() are pure. GUI thread.
#pragma once

#include "ThemePalette.h"

#include <QPalette>
#include <QString>

namespace qorn::timetagger::gui {

// The same colours in every colour group; what a disabled control looks like is the style sheet's business.
QPalette widgetPalette(const ThemePalette& theme);

// The style sheet template of the resources; empty when the resource is missing.
QString styleTemplate();

// `text` with every placeholder ("%BG%" and so on) replaced by its colour as "#rrggbb". "%INK%" becomes
// "light" or "dark", the ending of the icons that stand out on the theme's background.
QString fillStyleTemplate(QString text, const ThemePalette& theme);

// Sets palette and style sheet of the application. Every widget is styled anew when the sheet is another one,
// nothing else changes.
void applyThemeStyle(const ThemePalette& theme);

} // namespace qorn::timetagger::gui
