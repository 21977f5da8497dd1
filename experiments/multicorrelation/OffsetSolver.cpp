#include "OffsetSolver.h"

#include <algorithm>
#include <cmath>

namespace qorn::timetagger::gui {
namespace {

constexpr double kPsPerNs = 1000.0;
constexpr double kRidge = 1e-9;        // added to the diagonal, so that loose ends do not fail
constexpr double kLeastPivot = 1e-12;  // below it the equations settle nothing
constexpr double kLeastFactor = 1e-18; // below it a row stays as it is
constexpr std::size_t kMostUnknowns = timing::kChannels - 1;

// Normal equations: a row per unknown, its last element the right side.
struct NormalEquations {
    std::array<std::array<double, kMostUnknowns + 1>, kMostUnknowns> rows{};
    std::size_t unknowns = 0;
};

// The inputs of the equations, ascending.
std::vector<int> usedChannels(std::span<const OffsetEquation> equations) {
    std::vector<int> used;
    for (int channel = 0; channel < timing::kChannels; ++channel) {
        if (std::any_of(equations.begin(), equations.end(), [channel](const OffsetEquation& equation) {
                return equation.channels.first == channel || equation.channels.second == channel;
            })) {
            used.push_back(channel);
        }
    }
    return used;
}

// The unknowns are all inputs but the first of `used`.
NormalEquations normalEquations(std::span<const OffsetEquation> equations, std::span<const int> used) {
    NormalEquations normal;
    normal.unknowns = used.size() - 1;
    for (const OffsetEquation& equation : equations) {
        std::array<double, kMostUnknowns> row{};
        for (std::size_t i = 0; i < normal.unknowns; ++i) {
            row[i] = used[i + 1] == equation.channels.second  ? 1.0
                     : used[i + 1] == equation.channels.first ? -1.0
                                                              : 0.0;
        }
        const double weight = std::max(equation.weight, 1.0);
        for (std::size_t i = 0; i < normal.unknowns; ++i) {
            for (std::size_t j = 0; j < normal.unknowns; ++j) {
                normal.rows[i][j] += weight * row[i] * row[j];
            }
            normal.rows[i][normal.unknowns] += weight * row[i] * equation.differencePs;
        }
    }
    for (std::size_t i = 0; i < normal.unknowns; ++i) {
        normal.rows[i][i] += kRidge;
    }
    return normal;
}

// Gauss-Jordan elimination with partial pivoting. Leaves the solution in the right sides; false when a pivot
// is too small.
bool solve(NormalEquations& normal) {
    const std::size_t size = normal.unknowns;
    auto& rows = normal.rows;
    for (std::size_t column = 0; column < size; ++column) {
        std::size_t best = column;
        for (std::size_t row = column + 1; row < size; ++row) {
            if (std::abs(rows[row][column]) > std::abs(rows[best][column])) {
                best = row;
            }
        }
        std::swap(rows[column], rows[best]);
        const double pivot = rows[column][column];
        if (std::abs(pivot) < kLeastPivot) {
            return false;
        }
        for (double& value : rows[column]) {
            value /= pivot;
        }
        for (std::size_t row = 0; row < size; ++row) {
            const double factor = rows[row][column];
            if (row == column || std::abs(factor) < kLeastFactor) {
                continue;
            }
            for (std::size_t i = 0; i <= size; ++i) {
                rows[row][i] -= factor * rows[column][i];
            }
        }
    }
    return true;
}

} // namespace

std::optional<OffsetEquation> peakEquation(PairChannels channels, std::span<const quint64> histogram,
                                           const LagBins& bins) {
    const auto peak = std::max_element(histogram.begin(), histogram.end());
    if (peak == histogram.end() || *peak == 0) {
        return std::nullopt;
    }
    const qint64 lagPs = (peak - histogram.begin()) * bins.binPs - bins.rangePs;
    return OffsetEquation{channels, -static_cast<double>(lagPs), static_cast<double>(*peak)};
}

std::optional<std::array<double, timing::kChannels>>
estimateOffsetCorrections(std::span<const OffsetEquation> equations) {
    const std::vector<int> used = usedChannels(equations);
    if (used.size() < 2) {
        return std::nullopt;
    }
    NormalEquations normal = normalEquations(equations, used);
    if (!solve(normal)) {
        return std::nullopt;
    }
    std::array<double, timing::kChannels> corrections{};
    for (std::size_t i = 0; i < normal.unknowns; ++i) {
        corrections[static_cast<std::size_t>(used[i + 1])] = normal.rows[i][normal.unknowns] / kPsPerNs;
    }
    return corrections;
}

} // namespace qorn::timetagger::gui
