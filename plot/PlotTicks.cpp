#include "PlotTicks.h"

#include <QChar>

#include <algorithm>
#include <array>
#include <cmath>

namespace qorn::timetagger::gui {

namespace {

constexpr int kMostDecimals = 9;
constexpr qsizetype kMostTicks = 200;

struct Suffix {
    double divisor;
    int decimals;
    char16_t letter;
};

constexpr std::array kSuffixes{
    Suffix{1e12, 12, u'T'},
    Suffix{1e9, 9, u'G'},
    Suffix{1e6, 6, u'M'},
    Suffix{1e3, 3, u'k'},
};

double niceStep(double raw) {
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    const double n = raw / magnitude;
    if (n < 1.5)
        return magnitude;
    if (n < 3.0)
        return 2.0 * magnitude;
    if (n < 7.0)
        return 5.0 * magnitude;
    return 10.0 * magnitude;
}

} // namespace

QList<double> niceTicks(double min, double max, int target, int& decimals) {
    QList<double> ticks;
    decimals = 0;
    if (!(max > min) || target <= 1)
        return ticks;

    const double step = niceStep((max - min) / target);
    const double first = std::ceil(min / step - 1e-9) * step;
    // Ranges at the ends of what a double holds have no usable step.
    if (!std::isnormal(step) || !std::isfinite(first))
        return ticks;
    decimals = static_cast<int>(std::clamp(std::ceil(-std::log10(step) - 1e-9), 0.0, double{kMostDecimals}));

    const double eps = step * 1e-6;
    const double limit = max + eps;
    for (double v = first; v <= limit && ticks.size() <= kMostTicks; v += step)
        ticks.append(std::abs(v) < eps ? 0.0 : v);
    return ticks;
}

QString formatTick(double value, int decimals) {
    QString suffix;
    const auto row = std::find_if(kSuffixes.begin(), kSuffixes.end(),
                                  [value](const Suffix& s) { return std::abs(value) >= s.divisor; });
    decimals = std::clamp(decimals, -kMostDecimals - 12, kMostDecimals);
    if (row != kSuffixes.end()) {
        value /= row->divisor;
        decimals += row->decimals;
        suffix = QChar(row->letter);
    }

    QString text = QString::number(value, 'f', std::clamp(decimals, 0, kMostDecimals));
    if (text.contains(QLatin1Char('.'))) {
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
        if (text.endsWith(QLatin1Char('.')))
            text.chop(1);
    }
    if (text == QLatin1String("-0"))
        text = QStringLiteral("0");
    return text + suffix;
}

} // namespace qorn::timetagger::gui
