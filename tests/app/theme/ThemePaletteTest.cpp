#include "ThemePalette.h"

#include <gtest/gtest.h>

#include <array>

namespace qorn::timetagger::gui {
namespace {

struct Row {
    const char* name;
    std::array<const char*, 15> colours;
};

// In the order background, panel, text, muted, border, accent, field, selection, tab background, selected
// tab, button, button hover, button text, disabled button, disabled button text.
constexpr std::array kRows{
    Row{"Qorn",
        {"#060a16", "#0b1020", "#e5e7eb", "#b5bfdc", "#182247", "#12b8a6", "#0a1020", "#182247", "#08101f",
         "#0d1430", "#101626", "#182247", "#f8fafc", "#0a0f1e", "#5d6680"}},
    Row{"Dark Modern",
        {"#1e1e1e", "#252526", "#d4d4d4", "#858585", "#3c3c3c", "#569cd6", "#3c3c3c", "#094771", "#2d2d2d",
         "#1e1e1e", "#3a3d41", "#45494e", "#d4d4d4", "#2d2d2d", "#6a6a6a"}},
    Row{"Bright",
        {"#f4f6f8", "#ffffff", "#1f2530", "#5a6573", "#c8ccd2", "#0f9b76", "#ffffff", "#bdeede", "#e6e9ee",
         "#ffffff", "#e3e7ec", "#d4dae1", "#1f2530", "#eef0f3", "#a7aeb8"}},
    Row{"High contrast",
        {"#000000", "#0a0a0a", "#ffffff", "#d0d0d0", "#ffffff", "#ffd400", "#000000", "#664f00", "#111111",
         "#000000", "#1a1a1a", "#333333", "#ffffff", "#111111", "#777777"}},
    Row{"Classic",
        {"#ffffff", "#f0f0f0", "#101010", "#444444", "#b0b0b0", "#0f9b76", "#ffffff", "#bdeede", "#e4e4e4",
         "#ffffff", "#ececec", "#dcdcdc", "#101010", "#f0f0f0", "#999999"}},
};

TEST(ThemePalette, EachThemeHasItsFifteenColours) {
    for (const Row& row : kRows) {
        const ThemePalette& theme = paletteFor(QString::fromLatin1(row.name));
        const std::array found{theme.background,  theme.panel,          theme.text,
                               theme.muted,       theme.border,         theme.accent,
                               theme.field,       theme.selection,      theme.tabBackground,
                               theme.tabSelected, theme.button,         theme.buttonHover,
                               theme.buttonText,  theme.buttonDisabled, theme.buttonDisabledText};
        EXPECT_EQ(theme.name, row.name);
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(QColor(found[i]).name(), QLatin1String(row.colours[i])) << row.name << " colour " << i;
        }
    }
}

TEST(ThemePalette, DarkAndDarkModernAreOneTheme) {
    EXPECT_EQ(&paletteFor(QStringLiteral("Dark")), &paletteFor(QStringLiteral("Dark Modern")));
}

TEST(ThemePalette, AnUnknownNameGivesTheDefaultTheme) {
    for (const char* name : {"", "qorn", "dark", "BRIGHT", "Solarized", "Dark ", "%BG%"}) {
        EXPECT_EQ(paletteFor(QString::fromLatin1(name)).name, "Qorn") << name;
    }
}

TEST(ThemePalette, PlotsTakeTheSchemeOfTheTheme) {
    const std::array<std::pair<const char*, const char*>, 8> expected{{{"qorn", "Qorn"},
                                                                       {"Qorn", "Qorn"},
                                                                       {"Dark", "Dark Modern"},
                                                                       {"Dark Modern", "Dark Modern"},
                                                                       {"Bright", "Bright"},
                                                                       {"High contrast", "High contrast"},
                                                                       {"Classic", "Classic"},
                                                                       {"no such theme", "Qorn"}}};
    for (const auto& [theme, scheme] : expected) {
        EXPECT_EQ(plotSchemeFor(QString::fromLatin1(theme)), QLatin1String(scheme)) << theme;
    }
}

} // namespace
} // namespace qorn::timetagger::gui
