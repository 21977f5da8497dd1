// Counts the lags b - a of all pairs of two ascending lists that lie in a window, in bins around multiples of
// the bin width. Lists can be added piece by piece. A plain value of one owner; times, lags and bins in ps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qorn::timing {

class LagCounter {
public:
    LagCounter() = default;

    // 2 * half + 1 bins of `bin_ps` (at least 1) for lags up to +-`window_ps` (at least 0), both inclusive.
    // A lag belongs to its nearest bin, the outer one of two equally near ones; a pair whose bin does not
    // exist is not counted. Throws std::length_error when there are more bins than a list takes.
    LagCounter(std::int64_t window_ps, std::int64_t bin_ps, std::uint64_t half);

    // Counts each pair of `a` and `b`, both ascending, with its lag b - a - offset_ps.
    // One walk over both lists; exact for all times.
    void add(std::span<const std::int64_t> a, std::span<const std::int64_t> b, std::int64_t offset_ps);

    // In order of lag; the middle one is lag 0. One empty bin by default.
    std::span<const std::uint64_t> counts() const {
        return std::span<const std::uint64_t>(padded).subspan(1, padded.size() - 2);
    }

private:
    bool is_plain(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                  std::int64_t offset_ps) const;
    template <typename Positions>
    void add_plain(std::span<const std::int64_t> a, std::span<const std::int64_t> b, std::int64_t offset_ps,
                   Positions positions);
    void add_wide(std::span<const std::int64_t> a, std::span<const std::int64_t> b, std::int64_t offset_ps);

    std::int64_t window = 0;
    std::int64_t bin = 1;
    bool plain_bins = true; // sums of lags and bins cannot overflow
    // A bin more on either side takes the pairs whose bin does not exist.
    std::vector<std::uint64_t> padded = std::vector<std::uint64_t>(3);
};

} // namespace qorn::timing
