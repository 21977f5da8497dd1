#include "LagCounter.h"

#include "WideInteger.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <stdexcept>

namespace qorn::timing {
namespace {

// Offsets and bins up to here can be added to times up to there without a thought to overflow.
constexpr std::int64_t kPlainReach = std::int64_t{1} << 59;
constexpr std::int64_t kPlainTime = std::numeric_limits<std::int64_t>::max() - 4 * kPlainReach;

bool is_plain_list(std::span<const std::int64_t> times) {
    return times.front() >= -kPlainTime && times.back() <= kPlainTime;
}

std::uint64_t rounded_up_quotient(UnsignedWide numerator, std::uint64_t denominator) {
    return static_cast<std::uint64_t>((numerator + denominator - 1) / denominator);
}

// Positions of lags among the bins, where sums of times and bins do not overflow: those of one zero after the
// other. For any such bins; exact.
class PlainPositions {
public:
    PlainPositions(std::int64_t bin, std::size_t bins)
        : middle(bin / 2 + static_cast<std::int64_t>(bins / 2) * bin), tie(bin % 2 == 0 ? 1 : 0),
          shift(static_cast<int>(std::bit_width(static_cast<std::uint64_t>(bin))) - 1),
          factor(rounded_up_quotient(UnsignedWide{1} << (63 + shift), static_cast<std::uint64_t>(bin))) {}

    void set_zero(std::int64_t time) { zero = time; }

    std::size_t operator()(std::int64_t time) const {
        const std::int64_t lag = time - zero;
        // Half a bin rounds; where that makes a tie, a negative lag is one less, so that it too goes
        // outwards.
        const auto numerator = static_cast<std::uint64_t>(middle + lag - ((lag >> 63) & tie));
        // A division by the bin: exact for numerators below 2^62.
        return static_cast<std::uint64_t>((UnsignedWide{numerator + numerator} * factor) >> 64) >> shift;
    }

private:
    std::int64_t middle;
    std::int64_t tie;
    int shift; // 2^shift <= bin
    std::uint64_t factor;
    std::int64_t zero = 0;
};

// The same, quicker, for bins and windows of ordinary size. A lag is multiplied with a little
// more than kOne / bin, which takes ties outwards on both sides, and what the factor is too large by does not
// suffice to reach another bin. Products wrap, their sums do not.
class QuickPositions {
public:
    static bool serve(std::int64_t window, std::int64_t bin, std::size_t bins) {
        return bins <= std::size_t{1} << (64 - kShift) && 2 * Wide{window} * bin < Wide{kOne};
    }

    QuickPositions(std::int64_t bin, std::size_t bins)
        : factor(kOne / static_cast<std::uint64_t>(bin) + 1), middle(bins / 2 * kOne + kOne / 2) {}

    void set_zero(std::int64_t time) { shifted = middle - static_cast<std::uint64_t>(time) * factor; }

    std::size_t operator()(std::int64_t time) const {
        return (static_cast<std::uint64_t>(time) * factor + shifted) >> kShift;
    }

private:
    static constexpr int kShift = 48;
    static constexpr std::uint64_t kOne = std::uint64_t{1} << kShift;

    std::uint64_t factor;
    std::uint64_t middle;
    std::uint64_t shifted = 0;
};

std::size_t first_not_below(std::span<const std::int64_t> times, std::int64_t time) {
    return static_cast<std::size_t>(std::lower_bound(times.begin(), times.end(), time) - times.begin());
}

} // namespace

LagCounter::LagCounter(std::int64_t window_ps, std::int64_t bin_ps, std::uint64_t half)
    : window(window_ps), bin(bin_ps) {
    if (half > (padded.max_size() - 3) / 2) {
        throw std::length_error("LagCounter: too many bins");
    }
    padded.assign(static_cast<std::size_t>(2 * half + 3), 0);
    // Lags beyond the bins need not be looked at, and whatever is left has a place.
    const Wide reach = (Wide{half} + 1) * bin;
    window = static_cast<std::int64_t>(std::min<Wide>(window, reach));
    plain_bins = reach <= kPlainReach;
}

template <typename Positions>
void LagCounter::add_plain(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                           std::int64_t offset_ps, Positions positions) {
    std::uint64_t* const bins = padded.data();
    const std::int64_t* const times = b.data();
    const std::size_t end = b.size();
    const std::int64_t reach = window;
    a = a.subspan(first_not_below(a, b.front() - offset_ps - reach));
    if (a.empty()) {
        return;
    }
    std::size_t first = first_not_below(b, a.front() + offset_ps - reach);
    for (const std::int64_t time : a) {
        const std::int64_t zero = time + offset_ps;
        if (first + 2 < end) {
            // How many have become too early cannot be predicted, but it is mostly not more than two.
            first += times[first] < zero - reach ? 1 : 0;
            first += times[first] < zero - reach ? 1 : 0;
        }
        while (first < end && times[first] < zero - reach) {
            ++first;
        }
        if (first == end) {
            return;
        }
        positions.set_zero(zero);
        for (std::size_t next = first; next < end && times[next] <= zero + reach; ++next) {
            ++bins[positions(times[next])];
        }
    }
}

void LagCounter::add(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                     std::int64_t offset_ps) {
    if (a.empty() || b.empty()) {
        return;
    }
    if (!is_plain(a, b, offset_ps)) {
        add_wide(a, b, offset_ps);
    } else if (QuickPositions::serve(window, bin, padded.size())) {
        add_plain(a, b, offset_ps, QuickPositions(bin, padded.size()));
    } else {
        add_plain(a, b, offset_ps, PlainPositions(bin, padded.size()));
    }
    // What fell outside.
    padded.front() = 0;
    padded.back() = 0;
}

bool LagCounter::is_plain(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                          std::int64_t offset_ps) const {
    return plain_bins && is_plain_list(a) && is_plain_list(b) && offset_ps >= -kPlainReach &&
           offset_ps <= kPlainReach;
}

// The same with numbers that hold every sum of times.
void LagCounter::add_wide(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                          std::int64_t offset_ps) {
    const auto half = static_cast<Wide>(padded.size() / 2);
    std::size_t first = 0;
    for (const std::int64_t time : a) {
        const Wide zero = Wide{time} + offset_ps;
        while (first < b.size() && b[first] < zero - window) {
            ++first;
        }
        for (std::size_t next = first; next < b.size() && b[next] <= zero + window; ++next) {
            const Wide lag = b[next] - zero;
            const Wide bins = ((lag < 0 ? -lag : lag) + bin / 2) / bin;
            const Wide position = half + (lag < 0 ? -bins : bins);
            if (position >= 0 && position < static_cast<Wide>(padded.size())) {
                ++padded[static_cast<std::size_t>(position)];
            }
        }
    }
}

} // namespace qorn::timing
