// Lag histograms of pairs of inputs, counted online from tags that come one by one, and beside them the
// number of lags in two windows of each pair. Remembers the latest times of each input. Numbers only.
//
// Owned by MultiCorrelationEngine, one thread.
#pragma once

#include "MultiCorrelationSettings.h"
#include "RecentTimes.h"

#include <array>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

class PairCorrelator {
public:
    // A and B of pair 0, A and B of pair 1, and so on.
    static constexpr std::size_t kWindows = 2 * kPairs;
    using WindowCounts = std::array<quint64, kWindows>;

    PairCorrelator() { apply(MultiCorrelationSettings()); }

    // Takes pairs, bins and windows. Zeroes the histograms and forgets the times; the windows' counts stay.
    void apply(const MultiCorrelationSettings& settings);
    // Forgets all that has been counted, and the times.
    void reset();
    void forgetTimes();

    // Counts the lags of a tag of input `channel` (0 to 3) to the times that are held, then holds its own.
    void add(qint64 timePs, std::size_t channel);

    const LagBins& bins() const { return lagBins; }
    std::span<const quint64> histogram(std::size_t pair) const { return histograms[pair]; }
    const WindowCounts& windowCounts() const { return counts; }
    void clearWindowCounts() { counts = {}; }

    std::size_t deepestBuffer() const;                  // times held of the input that has most
    quint64 discardedTags() const { return discarded; } // times that went before their range was over

private:
    // One that counts with an input.
    struct Partner {
        std::size_t channel = 0;
        std::size_t pair = 0;
        bool isSecond = false; // of the pair
    };
    // The partners of an input, in ascending order.
    struct Partners {
        std::array<Partner, timing::kChannels - 1> list{};
        std::size_t size = 0;
    };

    // The partner's time minus `timePs` is the pair's lag where the partner is second, else its negative.
    template <bool kPartnerIsSecond>
    void addCorrelations(std::size_t pair, qint64 timePs, std::span<const qint64> partnerTimes);

    LagBins lagBins;
    std::array<PairLagWindows, kPairs> windows{};
    std::array<Partners, timing::kChannels> partners{};
    std::array<RecentTimes, timing::kChannels> buffers;
    std::array<std::vector<quint64>, kPairs> histograms;
    WindowCounts counts{};
    quint64 discarded = 0;
};

} // namespace qorn::timetagger::gui
