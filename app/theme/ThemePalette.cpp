#include "ThemePalette.h"

#include <array>

namespace qorn::timetagger::gui {
namespace {

// clang-format off
constexpr std::array kThemes{
    ThemePalette{"Qorn",
                 0xff060a16, 0xff0b1020, 0xffe5e7eb, 0xffb5bfdc, 0xff182247,
                 0xff12b8a6, 0xff0a1020, 0xff182247, 0xff08101f, 0xff0d1430,
                 0xff101626, 0xff182247, 0xfff8fafc, 0xff0a0f1e, 0xff5d6680},
    ThemePalette{"Dark Modern",
                 0xff1e1e1e, 0xff252526, 0xffd4d4d4, 0xff858585, 0xff3c3c3c,
                 0xff569cd6, 0xff3c3c3c, 0xff094771, 0xff2d2d2d, 0xff1e1e1e,
                 0xff3a3d41, 0xff45494e, 0xffd4d4d4, 0xff2d2d2d, 0xff6a6a6a},
    ThemePalette{"Bright",
                 0xfff4f6f8, 0xffffffff, 0xff1f2530, 0xff5a6573, 0xffc8ccd2,
                 0xff0f9b76, 0xffffffff, 0xffbdeede, 0xffe6e9ee, 0xffffffff,
                 0xffe3e7ec, 0xffd4dae1, 0xff1f2530, 0xffeef0f3, 0xffa7aeb8},
    ThemePalette{"High contrast",
                 0xff000000, 0xff0a0a0a, 0xffffffff, 0xffd0d0d0, 0xffffffff,
                 0xffffd400, 0xff000000, 0xff664f00, 0xff111111, 0xff000000,
                 0xff1a1a1a, 0xff333333, 0xffffffff, 0xff111111, 0xff777777},
    ThemePalette{"Classic",
                 0xffffffff, 0xfff0f0f0, 0xff101010, 0xff444444, 0xffb0b0b0,
                 0xff0f9b76, 0xffffffff, 0xffbdeede, 0xffe4e4e4, 0xffffffff,
                 0xffececec, 0xffdcdcdc, 0xff101010, 0xfff0f0f0, 0xff999999},
};
// clang-format on

} // namespace

const ThemePalette& paletteFor(const QString& name) {
    const QString wanted = name == QLatin1String("Dark") ? QStringLiteral("Dark Modern") : name;
    for (const ThemePalette& theme : kThemes) {
        if (wanted == QLatin1String(theme.name.data(), qsizetype(theme.name.size()))) {
            return theme;
        }
    }
    return kThemes.front();
}

QString plotSchemeFor(const QString& themeName) {
    const std::string_view name = paletteFor(themeName).name;
    return QString::fromLatin1(name.data(), qsizetype(name.size()));
}

} // namespace qorn::timetagger::gui
