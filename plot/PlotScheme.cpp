#include "PlotScheme.h"

#include <QLatin1String>

#include <algorithm>
#include <array>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

struct SchemeRow {
    QLatin1String name;
    QRgb background;
    QRgb foreground;
    QRgb grid;
    int gridAlpha;
    std::array<QRgb, 4> palette;
};

constexpr std::array kSchemes{
    SchemeRow{
        QLatin1String("Dark"), 0x12161a, 0xdee8f0, 0x4a5562, 95, {0x7ecbff, 0xffcd7c, 0xff9191, 0x9bdcaa}},
    SchemeRow{
        QLatin1String("Bright"), 0xfcfdff, 0x222a34, 0xbec6d0, 130, {0x245f8f, 0x2f9a7e, 0xd57b1d, 0x8a52b3}},
    SchemeRow{QLatin1String("High contrast"),
              0x000000,
              0xffffff,
              0xd2d2d2,
              110,
              {0xffe000, 0x00d2ff, 0xff4e4e, 0x6eff6e}},
    SchemeRow{QLatin1String("Classic"),
              0xffffff,
              0x000000,
              0xb4b4b4,
              135,
              {0x1f77b4, 0xff7f0e, 0x2ca02c, 0xd62728}},
    SchemeRow{QLatin1String("Dark Modern"),
              0x1e1e1e,
              0xd4d4d4,
              0x636363,
              100,
              {0x569cd6, 0x4ec9b0, 0xce9178, 0xc586c0}},
    SchemeRow{
        QLatin1String("Qorn"), 0x060a16, 0xe5e7eb, 0x5d6680, 105, {0x12b8a6, 0x37f4b5, 0xc4b5fd, 0xfbbf24}},
};

constexpr QRgb kNeutral = 0x787878;
constexpr int kNeutralGridAlpha = 70;
constexpr int kTickAlpha = 170;

QColor opaque(QRgb rgb) {
    return QColor::fromRgb(rgb);
}

QColor translucent(QColor color, int alpha) {
    color.setAlpha(alpha);
    return color;
}

} // namespace

PlotScheme plotScheme(const QString& name) {
    const auto row = std::find_if(kSchemes.begin(), kSchemes.end(),
                                  [&name](const SchemeRow& candidate) { return name == candidate.name; });
    PlotScheme scheme;
    if (row == kSchemes.end())
        return scheme;
    scheme.background = opaque(row->background);
    scheme.foreground = opaque(row->foreground);
    scheme.grid = translucent(opaque(row->grid), row->gridAlpha);
    for (const QRgb rgb : row->palette)
        scheme.palette.append(opaque(rgb));
    return scheme;
}

PlotColors plotColors(const PlotScheme& scheme, const QPalette& palette) {
    PlotColors colors;
    colors.background = scheme.background.isValid() ? scheme.background : palette.color(QPalette::Base);
    colors.foreground = scheme.foreground.isValid() ? scheme.foreground : palette.color(QPalette::Text);
    colors.grid = scheme.grid.isValid() ? scheme.grid : translucent(opaque(kNeutral), kNeutralGridAlpha);
    colors.tick = scheme.foreground.isValid() ? translucent(scheme.foreground, kTickAlpha) : opaque(kNeutral);
    return colors;
}

QColor seriesColorInForce(const QList<QColor>& schemePalette, qsizetype offset, const QList<QColor>& own,
                          qsizetype index, const QColor& fallback) {
    if (!schemePalette.isEmpty() && index >= 0)
        return schemePalette[(offset + index) % schemePalette.size()];
    if (index >= 0 && index < own.size())
        return own[index];
    return fallback;
}

QList<QColor> distinctColors(const QColor& first, qsizetype count) {
    constexpr int kDifferent = 12;
    // The golden angle: steps of it never come close to an earlier one soon.
    constexpr double kHueStep = 137.508;
    constexpr double kFullCircle = 360.0;
    const QColor start = first.toHsv();
    QList<QColor> colors{first};
    for (int i = 1; i < kDifferent; ++i) {
        const double hue = std::fmod(std::max(0, start.hsvHue()) + i * kHueStep, kFullCircle);
        colors.append(QColor::fromHsv(static_cast<int>(hue), start.hsvSaturation(), start.value()).toRgb());
    }
    colors.reserve(count);
    while (colors.size() < count)
        colors.append(colors[colors.size() - kDifferent]);
    colors.resize(count);
    return colors;
}

QColor mainSeriesColor(const PlotModel& model, qsizetype index) {
    return seriesColorInForce(model.scheme.palette, 0, model.seriesColors, index, model.barFill);
}

} // namespace qorn::timetagger::gui
