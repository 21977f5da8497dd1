#include "FitOverlays.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

constexpr double kFwhmPerSigma = 2.354820045;
constexpr double kLeastStep = 1e-12;
constexpr qsizetype kLeastPoints = 5;
constexpr int kMostTerms = 3;

QString text(const char* source) {
    return QCoreApplication::translate("FitOverlays", source);
}

QString threeDecimals(double value) {
    return QString::number(value, 'f', 3);
}

// The points that have both values, and their floor: the mean of their two ends.
struct Points {
    std::span<const double> x;
    std::span<const double> y;
    double baseline = 0.0;
};

std::optional<Points> pointsOf(const QList<double>& x, const QList<double>& y) {
    const qsizetype count = std::min(x.size(), y.size());
    if (count < kLeastPoints) {
        return std::nullopt;
    }
    const auto size = static_cast<std::size_t>(count);
    Points points{{x.constData(), size}, {y.constData(), size}};
    const std::size_t edge = size >= 20 ? size / 10 : 1;
    const auto first = points.y.first(edge);
    const auto last = points.y.last(edge);
    const double sum =
        std::accumulate(last.begin(), last.end(), std::accumulate(first.begin(), first.end(), 0.0));
    // Rounding must not put the mean beside the values, or a flat line would stand out of its own floor.
    const auto [firstLow, firstHigh] = std::minmax_element(first.begin(), first.end());
    const auto [lastLow, lastHigh] = std::minmax_element(last.begin(), last.end());
    points.baseline = std::clamp(sum / static_cast<double>(2 * edge), std::min(*firstLow, *lastLow),
                                 std::max(*firstHigh, *lastHigh));
    return points;
}

std::size_t highest(std::span<const double> values) {
    return static_cast<std::size_t>(std::max_element(values.begin(), values.end()) - values.begin());
}

std::size_t lowest(std::span<const double> values) {
    return static_cast<std::size_t>(std::min_element(values.begin(), values.end()) - values.begin());
}

// From the last point above half height on the left of the top to that on the right, with the first below it
// on each side.
double rawWidthOf(const Points& points, std::size_t top) {
    const double half = points.baseline + 0.5 * (points.y[top] - points.baseline);
    std::size_t left = top;
    while (left > 0 && !(points.y[left] < half)) {
        --left;
    }
    std::size_t right = top;
    while (right + 1 < points.y.size() && !(points.y[right] < half)) {
        ++right;
    }
    return left < right ? std::abs(points.x[right] - points.x[left]) : 0.0;
}

// Standard deviation of what stands above the floor near the top; absent when nothing does.
std::optional<double> sigmaOf(const Points& points, std::size_t top, double reach) {
    double sum = 0.0;
    double moment = 0.0;
    double square = 0.0;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        const double weight = points.y[i] - points.baseline;
        if (weight > 0.0 && !(std::abs(points.x[i] - points.x[top]) > reach)) {
            sum += weight;
            moment += weight * points.x[i];
            square += weight * points.x[i] * points.x[i];
        }
    }
    if (!(sum > 0.0)) {
        return std::nullopt;
    }
    const double mean = moment / sum;
    return std::sqrt(std::max(0.0, square / sum - mean * mean));
}

// The highest points above the floor that keep a distance to each other, the strongest first.
std::vector<std::size_t> pickPeaks(const Points& points, double separation, int most) {
    std::vector<std::size_t> peaks;
    while (peaks.size() < static_cast<std::size_t>(most)) {
        std::optional<std::size_t> best;
        for (std::size_t i = 0; i < points.y.size(); ++i) {
            const auto isNear = [&](std::size_t peak) {
                return !(std::abs(points.x[i] - points.x[peak]) >= separation);
            };
            if (points.y[i] > (best ? points.y[*best] : points.baseline) &&
                std::none_of(peaks.begin(), peaks.end(), isNear)) {
                best = i;
            }
        }
        if (!best) {
            break;
        }
        peaks.push_back(*best);
    }
    return peaks;
}

double spanOf(double first, double last) {
    return std::max(std::abs(last - first), kLeastStep);
}

QString termsLabel(std::size_t terms, const QString& name) {
    return text("%1-term %2 fit").arg(terms).arg(name);
}

// Mean distance of what stands out of the floor, from zero lag for a dip, else from the extremum on.
double tauOf(const Points& points, std::size_t extremum, bool dip, double span) {
    double sum = 0.0;
    double moment = 0.0;
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        const double weight = dip ? points.baseline - points.y[i] : points.y[i] - points.baseline;
        if (weight > 0.0) {
            sum += weight;
            moment +=
                weight * (dip ? std::abs(points.x[i]) : std::max(0.0, points.x[i] - points.x[extremum]));
        }
    }
    return sum > 0.0 ? std::min(span, std::max(span / 200.0, moment / sum)) : span / 10.0;
}

void addPeak(QList<double>& curve, const Points& points, bool lorentzian, double height, double center,
             double width) {
    for (std::size_t i = 0; i < points.x.size(); ++i) {
        const double u = (points.x[i] - center) / width;
        curve[static_cast<qsizetype>(i)] +=
            lorentzian ? height / (u * u + 1.0) : height * std::exp(-0.5 * u * u);
    }
}

} // namespace

PeakFitOverlay makePeakFitOverlay(const QList<double>& x, const QList<double>& y, bool lorentzian,
                                  int terms) {
    const std::optional<Points> points = pointsOf(x, y);
    if (!points) {
        return {};
    }
    const std::size_t top = highest(points->y);
    const double topHeight = points->y[top] - points->baseline;
    if (!(topHeight > 0.0)) {
        return {};
    }
    double rawWidth = rawWidthOf(*points, top);
    const double reach =
        rawWidth > 0.0 ? rawWidth * 1.5 : spanOf(points->x.front(), points->x.back()) * 0.125;
    const std::optional<double> sigma = sigmaOf(*points, top, reach);
    if (!sigma) {
        return {};
    }
    const double step = spanOf(points->x[0], points->x[1]);
    if (!(rawWidth > 0.0)) {
        rawWidth = std::max(kFwhmPerSigma * *sigma, step);
    }
    const double width = std::max(lorentzian ? 0.5 * rawWidth : *sigma, step);
    const std::vector<std::size_t> peaks =
        pickPeaks(*points, std::max(0.65 * rawWidth, 2.0 * step), std::clamp(terms, 1, kMostTerms));

    PeakFitOverlay overlay;
    overlay.valid = true;
    overlay.y.fill(points->baseline, static_cast<qsizetype>(points->y.size()));
    for (const std::size_t peak : peaks) {
        const double height = points->y[peak] - points->baseline;
        const double center = points->x[peak];
        overlay.details.append(
            text("P%1 center %2 ns").arg(overlay.details.size() + 1).arg(threeDecimals(center)));
        addPeak(overlay.y, *points, lorentzian, height, center, width);
        overlay.amplitude += height;
    }
    std::replace_if(
        overlay.y.begin(), overlay.y.end(), [](double value) { return !std::isfinite(value); },
        points->baseline);
    overlay.center = points->x[peaks.front()];
    overlay.width = width;
    overlay.fwhm = (lorentzian ? 2.0 : kFwhmPerSigma) * width;
    overlay.baseline = points->baseline;
    const QString name = lorentzian ? text("Lorentzian") : text("Gaussian");
    overlay.label = terms < 2 ? (lorentzian ? text("Lorentzian fit") : text("Gaussian fit"))
                              : termsLabel(peaks.size(), name);
    return overlay;
}

PeakFitOverlay makeExponentialFitOverlay(const QList<double>& x, const QList<double>& y, bool dip,
                                         int terms) {
    const std::optional<Points> points = pointsOf(x, y);
    if (!points) {
        return {};
    }
    const std::size_t extremum = dip ? lowest(points->y) : highest(points->y);
    const double amplitude =
        dip ? points->baseline - points->y[extremum] : points->y[extremum] - points->baseline;
    if (!(amplitude > 0.0)) {
        return {};
    }
    const int used = std::clamp(terms, 1, kMostTerms);
    const double tau = tauOf(*points, extremum, dip, spanOf(points->x.front(), x.last()));

    PeakFitOverlay overlay;
    overlay.valid = true;
    overlay.y.fill(points->baseline, static_cast<qsizetype>(points->y.size()));
    const double part = (dip ? -amplitude : amplitude) / used;
    for (int term = 1; term <= used; ++term) {
        const double termTau = term * tau;
        overlay.details.append(text("T%1 tau %2 ns").arg(term).arg(threeDecimals(termTau)));
        for (std::size_t i = 0; i < points->x.size(); ++i) {
            const double distance = dip ? std::abs(points->x[i]) : points->x[i] - points->x[extremum];
            if (distance >= 0.0) {
                overlay.y[static_cast<qsizetype>(i)] +=
                    part * std::exp(-distance / std::max(kLeastStep, termTau));
            }
        }
    }
    overlay.center = points->x[extremum];
    overlay.width = tau;
    overlay.baseline = points->baseline;
    overlay.amplitude = amplitude;
    overlay.exponential = 1;
    overlay.label = termsLabel(static_cast<std::size_t>(used), dip ? text("g2") : text("lifetime"));
    return overlay;
}

} // namespace qorn::timetagger::gui
