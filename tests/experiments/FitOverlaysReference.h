// The overlays step by step as they are defined, without regard to speed. The measure for the quick ones.
#pragma once

#include "FitOverlays.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace qorn::testing {

class ReferenceFit {
public:
    using Overlay = timetagger::gui::PeakFitOverlay;

    ReferenceFit(const QList<double>& xs, const QList<double>& ys)
        : x(xs), y(ys), n(std::min(xs.size(), ys.size())) {}

    Overlay peak(bool lorentzian, int terms) {
        if (n < 5) {
            return {};
        }
        findBaseline();
        const qsizetype top = firstExtreme(+1);
        const double height = y[top] - baseline;
        if (!(height > 0)) {
            return {};
        }
        double rawWidth = widthAtHalf(top, height);
        const double span = std::max(std::abs(x[n - 1] - x[0]), 1e-12);
        const double reach = rawWidth > 0 ? rawWidth * 1.5 : span * 0.125;
        const double sigma = sigmaNear(top, reach);
        if (sigma < 0) {
            return {};
        }
        const double step = std::max(std::abs(x[1] - x[0]), 1e-12);
        if (!(rawWidth > 0)) {
            rawWidth = std::max(2.354820045 * sigma, step);
        }
        const double width = std::max(lorentzian ? 0.5 * rawWidth : sigma, step);
        const std::vector<qsizetype> peaks = pick(terms, std::max(0.65 * rawWidth, 2 * step));

        Overlay overlay{};
        overlay.valid = true;
        overlay.center = x[peaks.front()];
        overlay.width = width;
        overlay.fwhm = (lorentzian ? 2 : 2.354820045) * width;
        overlay.baseline = baseline;
        overlay.y = QList<double>(n, baseline);
        double sum = 0;
        for (std::size_t number = 0; number < peaks.size(); ++number) {
            const double a = std::max(0.0, y[peaks[number]] - baseline);
            const double c = x[peaks[number]];
            overlay.details.append(QStringLiteral("P") + QString::number(number + 1) +
                                   QStringLiteral(" center ") + QString::number(c, 'f', 3) +
                                   QStringLiteral(" ns"));
            for (qsizetype i = 0; i < n; ++i) {
                const double u = (x[i] - c) / width;
                overlay.y[i] += lorentzian ? a / (u * u + 1) : a * std::exp(-0.5 * u * u);
            }
            sum += a;
        }
        for (double& value : overlay.y) {
            value = std::abs(value) <= std::numeric_limits<double>::max() ? value : baseline;
        }
        overlay.amplitude = sum > 0 ? sum : height;
        const QString kind = lorentzian ? QStringLiteral("Lorentzian") : QStringLiteral("Gaussian");
        overlay.label = terms < 2 ? kind + QStringLiteral(" fit") : termsLabel(peaks.size(), kind);
        return overlay;
    }

    Overlay exponential(bool dip, int terms) {
        if (n < 5) {
            return {};
        }
        findBaseline();
        const qsizetype extreme = firstExtreme(dip ? -1 : +1);
        const double amplitude = dip ? baseline - y[extreme] : y[extreme] - baseline;
        if (!(amplitude > 0)) {
            return {};
        }
        const int used = std::clamp(terms, 1, 3);
        double weight = 0;
        double moment = 0;
        for (qsizetype i = 0; i < n; ++i) {
            const double w = dip ? baseline - y[i] : y[i] - baseline;
            if (w > 0) {
                weight += w;
                moment += w * (dip ? std::abs(x[i]) : std::max(0.0, x[i] - x[extreme]));
            }
        }
        const double span = std::max(std::abs(x.last() - x[0]), 1e-12);
        const double tau = weight > 0 ? std::min(span, std::max(span / 200.0, moment / weight)) : span / 10.0;

        Overlay overlay{};
        overlay.valid = true;
        overlay.center = x[extreme];
        overlay.width = tau;
        overlay.baseline = baseline;
        overlay.amplitude = amplitude;
        overlay.exponential = 1;
        overlay.y = QList<double>(n, baseline);
        for (int k = 1; k <= used; ++k) {
            const double time = k * tau;
            overlay.details.append(QStringLiteral("T") + QString::number(k) + QStringLiteral(" tau ") +
                                   QString::number(time, 'f', 3) + QStringLiteral(" ns"));
            for (qsizetype i = 0; i < n; ++i) {
                const double distance = dip ? std::abs(x[i]) : x[i] - x[extreme];
                if (distance >= 0) {
                    const double part = amplitude / used * std::exp(-distance / std::max(1e-12, time));
                    overlay.y[i] += dip ? -part : part;
                }
            }
        }
        overlay.label = termsLabel(static_cast<std::size_t>(used),
                                   dip ? QStringLiteral("g2") : QStringLiteral("lifetime"));
        return overlay;
    }

private:
    static QString termsLabel(std::size_t count, const QString& kind) {
        return QString::number(count) + QStringLiteral("-term ") + kind + QStringLiteral(" fit");
    }

    void findBaseline() {
        const qsizetype edge = n >= 20 ? n / 10 : 1;
        double sum = 0;
        for (qsizetype i = 0; i < edge; ++i) {
            sum += y[i];
        }
        for (qsizetype i = n - edge; i < n; ++i) {
            sum += y[i];
        }
        baseline = sum / (2 * static_cast<double>(edge));
    }

    qsizetype firstExtreme(int sign) const {
        qsizetype found = 0;
        for (qsizetype i = 1; i < n; ++i) {
            found = sign * y[i] > sign * y[found] ? i : found;
        }
        return found;
    }

    double widthAtHalf(qsizetype top, double height) const {
        const double half = baseline + 0.5 * height;
        qsizetype left = top;
        while (left > 0 && !(y[left] < half)) {
            --left;
        }
        qsizetype right = top;
        while (right < n - 1 && !(y[right] < half)) {
            ++right;
        }
        return left < right ? std::abs(x[right] - x[left]) : 0;
    }

    // Below 0 when nothing is above the baseline there.
    double sigmaNear(qsizetype top, double reach) const {
        double sum = 0;
        double first = 0;
        double second = 0;
        for (qsizetype i = 0; i < n; ++i) {
            const double w = y[i] - baseline;
            if (w > 0 && !(std::abs(x[i] - x[top]) > reach)) {
                sum += w;
                first += w * x[i];
                second += w * x[i] * x[i];
            }
        }
        if (!(sum > 0)) {
            return -1;
        }
        const double mean = first / sum;
        return std::sqrt(std::max(0.0, second / sum - mean * mean));
    }

    std::vector<qsizetype> pick(int terms, double separation) const {
        std::vector<qsizetype> order(static_cast<std::size_t>(n));
        std::iota(order.begin(), order.end(), qsizetype{0});
        std::stable_sort(order.begin(), order.end(),
                         [this](qsizetype a, qsizetype b) { return y[a] > y[b]; });
        std::vector<qsizetype> taken;
        for (const qsizetype index : order) {
            if (!(y[index] > baseline) || static_cast<int>(taken.size()) == std::clamp(terms, 1, 3)) {
                break;
            }
            if (std::none_of(taken.begin(), taken.end(),
                             [&](qsizetype peakAt) { return std::abs(x[index] - x[peakAt]) < separation; })) {
                taken.push_back(index);
            }
        }
        return taken;
    }

    QList<double> x;
    QList<double> y;
    qsizetype n;
    double baseline = 0;
};

} // namespace qorn::testing
