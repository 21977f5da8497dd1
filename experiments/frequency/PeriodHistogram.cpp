#include "PeriodHistogram.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

namespace qorn::timetagger::gui {
namespace {

constexpr qint64 kLeastHalfBins = 2; // fewer count as one
constexpr qint64 kMostHalfBins = 5000;
constexpr double kPsPerNs = 1000.0;

qint64 halfBinsFor(qint64 rangePs, qint64 binPs) {
    const qint64 half = rangePs / binPs;
    return half < kLeastHalfBins ? 1 : std::min(half, kMostHalfBins);
}

// Counts into several tables in turn: a steady signal has most errors in one bin, and an increment would wait
// for the one before.
class Tally {
public:
    Tally(qint64 rangePs, qint64 binPs, qint64 halfBins)
        : range(static_cast<quint64>(rangePs)), perBin(1.0 / static_cast<double>(binPs)), half(halfBins) {
        for (auto& table : tables) {
            table.resize(static_cast<std::size_t>(2 * half + 1));
        }
    }

    void add(std::span<const qint64> errorsPs) {
        std::size_t index = 0;
        for (; index + kTables <= errorsPs.size(); index += kTables) {
            for (std::size_t table = 0; table < kTables; ++table) {
                addOne(tables[table], errorsPs[index + table]);
            }
        }
        for (; index < errorsPs.size(); ++index) {
            addOne(tables[0], errorsPs[index]);
        }
    }

    double count(qint64 bin) const {
        quint64 sum = 0;
        for (const auto& table : tables) {
            sum += table[static_cast<std::size_t>(bin)];
        }
        return static_cast<double>(sum);
    }

private:
    static constexpr std::size_t kTables = 4;

    void addOne(std::vector<quint32>& table, qint64 errorPs) const {
        if (static_cast<quint64>(errorPs) + range > 2 * range) {
            return;
        }
        // Whole ps are at least half a ps from an edge or on it, so a quarter keeps those on it above it,
        // however the product is rounded.
        constexpr double kOntoEdge = 0.25;
        // NOLINTNEXTLINE(bugprone-incorrect-roundings): never negative, and quicker than a call
        const auto distance =
            static_cast<qint64>((static_cast<double>(std::abs(errorPs)) + kOntoEdge) * perBin + 0.5);
        if (distance <= half) {
            ++table[static_cast<std::size_t>(errorPs < 0 ? half - distance : half + distance)];
        }
    }

    quint64 range;
    double perBin;
    qint64 half;
    std::array<std::vector<quint32>, kTables> tables;
};

} // namespace

PeriodHistogram periodHistogram(std::span<const qint64> errorsPs, qint64 rangePs, qint64 binPs) {
    const qint64 half = halfBinsFor(rangePs, binPs);
    Tally tally(rangePs, binPs, half);
    tally.add(errorsPs);
    PeriodHistogram result;
    result.centresNs.reserve(2 * half + 1);
    result.counts.reserve(2 * half + 1);
    for (qint64 bin = 0; bin <= 2 * half; ++bin) {
        result.centresNs.append(static_cast<double>((bin - half) * binPs) / kPsPerNs);
        result.counts.append(tally.count(bin));
        result.highest = std::max(result.highest, result.counts.last());
    }
    return result;
}

} // namespace qorn::timetagger::gui
