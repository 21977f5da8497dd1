// Lags between two lists of times in ps: their histogram, and estimates of the typical lag. The sign is
// always b minus a: a positive lag means that b comes later. Free functions without state, for any thread.
// The lists may be in any order; only one that is not ascending is copied and sorted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qorn::timing {

struct XcorrHistogram {
    std::vector<std::int64_t> lags_ps; // centre of each bin, ascending; 0 in the middle
    std::vector<std::uint64_t> counts; // pairs in each bin
};

// The histogram of the lags b - a - offset_ps of all pairs, both ends of +-window_ps inclusive, in an odd
// number of bins. A lag belongs to its nearest bin, the outer one of two equally near ones. The lags of the
// result are relative to offset_ps. One empty bin when window_ps or bin_ps is below 1. Throws
// std::length_error when there are more bins than a list takes.
XcorrHistogram xcorr_histogram(std::span<const std::int64_t> a, std::span<const std::int64_t> b,
                               std::int64_t window_ps, std::int64_t bin_ps, std::int64_t offset_ps);

// The median lag from a to the nearest b, over at most max_samples of a spread evenly over the whole list.
// Lags beyond +-max_abs_ps do not count. Nothing when no lag is left.
std::optional<std::int64_t> estimate_xcorr_offset_ps(std::span<const std::int64_t> a,
                                                     std::span<const std::int64_t> b,
                                                     std::optional<std::int64_t> max_abs_ps,
                                                     std::size_t max_samples);

// The median lag between the phases of two periodic pulse trains; the period is the median distance of a.
// Phases are compared without a wrap at the period, and lags beyond +-max_abs_ps do not count.
// Nothing when a list has fewer than min_samples times, there is no period or no lag is left.
std::optional<std::int64_t> estimate_periodic_phase_offset_ps(std::span<const std::int64_t> a,
                                                              std::span<const std::int64_t> b,
                                                              std::int64_t max_abs_ps,
                                                              std::size_t min_samples);

} // namespace qorn::timing
