#include "ThemeStyle.h"

#include <QAbstractItemDelegate>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QFile>
#include <QtPlugin>

#include <array>
#include <utility>

Q_IMPORT_PLUGIN(PictureIconPlugin) // for the pictures of the style sheet

namespace qorn::timetagger::gui {
namespace {

using Colour = QRgb ThemePalette::*;

constexpr std::array<std::pair<const char*, Colour>, 15> kPlaceholders{{
    {"%BG%", &ThemePalette::background},
    {"%PANEL%", &ThemePalette::panel},
    {"%TEXT%", &ThemePalette::text},
    {"%MUTED%", &ThemePalette::muted},
    {"%BORDER%", &ThemePalette::border},
    {"%ACCENT%", &ThemePalette::accent},
    {"%FIELD%", &ThemePalette::field},
    {"%SEL%", &ThemePalette::selection},
    {"%TABBG%", &ThemePalette::tabBackground},
    {"%TABSEL%", &ThemePalette::tabSelected},
    {"%BTN%", &ThemePalette::button},
    {"%BTNHOVER%", &ThemePalette::buttonHover},
    {"%BTNTEXT%", &ThemePalette::buttonText},
    {"%BTNDISBG%", &ThemePalette::buttonDisabled},
    {"%BTNDISTEXT%", &ThemePalette::buttonDisabledText},
}};

constexpr std::array<std::pair<QPalette::ColorRole, Colour>, 14> kRoles{{
    {QPalette::Window, &ThemePalette::background},
    {QPalette::Base, &ThemePalette::field},
    {QPalette::AlternateBase, &ThemePalette::panel},
    {QPalette::Text, &ThemePalette::text},
    {QPalette::WindowText, &ThemePalette::text},
    {QPalette::ButtonText, &ThemePalette::buttonText},
    {QPalette::Button, &ThemePalette::button},
    {QPalette::Highlight, &ThemePalette::selection},
    {QPalette::HighlightedText, &ThemePalette::text},
    {QPalette::ToolTipBase, &ThemePalette::panel},
    {QPalette::ToolTipText, &ThemePalette::text},
    {QPalette::PlaceholderText, &ThemePalette::buttonDisabledText},
    {QPalette::Link, &ThemePalette::accent},
    {QPalette::LinkVisited, &ThemePalette::accent},
}};

// A combo box gets a new delegate for its list with each change between the two kinds of style, and would
// keep the earlier ones to its end.
void deleteReplacedDelegates() {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (auto* box = qobject_cast<QComboBox*>(widget)) {
            for (auto* delegate : box->findChildren<QAbstractItemDelegate*>()) {
                if (delegate->parent() == box->view() && delegate != box->itemDelegate()) {
                    delete delegate;
                }
            }
        }
    }
}

} // namespace

QPalette widgetPalette(const ThemePalette& theme) {
    // The constructor derives the bevel shades that the base style still paints with.
    QPalette palette(QColor(theme.button), QColor(theme.background));
    for (const auto& [role, colour] : kRoles) {
        palette.setColor(QPalette::All, role, QColor(theme.*colour));
    }
    return palette;
}

QString styleTemplate() {
    QFile file(QStringLiteral(":/theme.qss"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString fillStyleTemplate(QString text, const ThemePalette& theme) {
    for (const auto& [placeholder, colour] : kPlaceholders) {
        text.replace(QLatin1String(placeholder), QColor(theme.*colour).name());
    }
    const bool darkGround = qGray(theme.background) < 128;
    return text.replace(QLatin1String("%INK%"), darkGround ? QLatin1String("light") : QLatin1String("dark"));
}

void applyThemeStyle(const ThemePalette& theme) {
    QApplication::setPalette(widgetPalette(theme));
    const QString sheet = fillStyleTemplate(styleTemplate(), theme);
    if (sheet == qApp->styleSheet()) {
        return;
    }
    // Where one style sheet follows another, Qt styles a widget once for each that it stands in. Off with the
    // one and on with the other takes a sixth of the time.
    qApp->setStyleSheet(QString());
    qApp->setStyleSheet(sheet);
    deleteReplacedDelegates();
}

} // namespace qorn::timetagger::gui
