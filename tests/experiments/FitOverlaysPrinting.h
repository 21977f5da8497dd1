// Compares two overlays as closely as sums in another order allow, and makes axes for them.
#pragma once

#include "FitOverlays.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace qorn::testing {

using timetagger::gui::PeakFitOverlay;

// n values from `first` on.
inline QList<double> axis(qsizetype n, double first, double step = 1) {
    QList<double> x;
    for (qsizetype i = 0; i < n; ++i) {
        x.append(first + static_cast<double>(i) * step);
    }
    return x;
}

inline bool close(double actual, double expected, double scale = 0) {
    return std::abs(actual - expected) <= 1e-8 * std::max(std::abs(expected), scale);
}

inline ::testing::AssertionResult isEmptyOverlay(const PeakFitOverlay& overlay) {
    if (overlay.valid) {
        return ::testing::AssertionFailure() << "valid";
    }
    if (!overlay.y.isEmpty() || !overlay.label.isEmpty() || !overlay.details.isEmpty()) {
        return ::testing::AssertionFailure() << "with a curve or texts";
    }
    const bool zero = overlay.center == 0 && overlay.width == 0 && overlay.fwhm == 0 &&
                      overlay.baseline == 0 && overlay.amplitude == 0 && overlay.exponential == 0;
    return zero ? ::testing::AssertionSuccess() : ::testing::AssertionFailure() << "with a number left in it";
}

inline ::testing::AssertionResult sameOverlay(const PeakFitOverlay& actual, const PeakFitOverlay& expected) {
    if (!expected.valid) {
        return isEmptyOverlay(actual);
    }
    if (!actual.valid) {
        return ::testing::AssertionFailure() << "not valid";
    }
    const std::pair<const char*, double PeakFitOverlay::*> numbers[] = {
        {"center", &PeakFitOverlay::center},       {"width", &PeakFitOverlay::width},
        {"fwhm", &PeakFitOverlay::fwhm},           {"baseline", &PeakFitOverlay::baseline},
        {"amplitude", &PeakFitOverlay::amplitude},
    };
    for (const auto& [name, member] : numbers) {
        if (!close(actual.*member, expected.*member)) {
            return ::testing::AssertionFailure()
                   << name << " " << actual.*member << " instead of " << expected.*member;
        }
    }
    if (actual.exponential != expected.exponential) {
        return ::testing::AssertionFailure() << "exponential " << actual.exponential;
    }
    if (actual.label != expected.label || actual.details != expected.details) {
        return ::testing::AssertionFailure()
               << actual.label.toStdString() << ": " << actual.details.join(QLatin1Char('|')).toStdString()
               << " instead of " << expected.label.toStdString() << ": "
               << expected.details.join(QLatin1Char('|')).toStdString();
    }
    if (actual.y.size() != expected.y.size()) {
        return ::testing::AssertionFailure() << actual.y.size() << " points";
    }
    for (qsizetype i = 0; i < expected.y.size(); ++i) {
        if (!close(actual.y[i], expected.y[i], expected.amplitude)) {
            return ::testing::AssertionFailure()
                   << "point " << i << " is " << actual.y[i] << " instead of " << expected.y[i];
        }
    }
    return ::testing::AssertionSuccess();
}

} // namespace qorn::testing
