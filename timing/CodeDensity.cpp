#include "CodeDensity.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qorn::timing {
namespace {

// 3333 / sqrt(12): the deviation of a line that had one code for the whole coarse period.
constexpr double kOneCodeDeviationPs = 962.1542236045113;

// A code whose entry is known.
struct Anchor {
    std::size_t code;
    std::int64_t ps;
};

// To the nearest whole number, from 0 to `highest`; the comparison comes before the conversion, which could
// not hold every double.
std::int64_t rounded(double ps, std::int64_t highest) {
    const double shifted = ps + 0.5;
    if (!(shifted > 0.0)) {
        return 0;
    }
    return shifted >= static_cast<double>(highest) ? highest : static_cast<std::int64_t>(shifted);
}

double on_line(const Anchor& a, const Anchor& b, std::size_t code) {
    const double steps = static_cast<double>(code) - static_cast<double>(a.code);
    const double rise = static_cast<double>(b.ps) - static_cast<double>(a.ps);
    return static_cast<double>(a.ps) + steps * rise / static_cast<double>(b.code - a.code);
}

std::vector<Anchor> anchors_of(std::span<const std::uint64_t> hits, std::uint64_t total,
                               std::int64_t period_ps, std::int64_t highest) {
    std::vector<Anchor> anchors;
    std::uint64_t earlier = 0;
    for (std::size_t code = 0; code < hits.size(); ++code) {
        if (hits[code] == 0) {
            continue;
        }
        const double middle = static_cast<double>(hits[code]) * 0.5 + static_cast<double>(earlier);
        const double ps = middle * static_cast<double>(period_ps) / static_cast<double>(total);
        anchors.push_back({code, rounded(ps, highest)});
        earlier += hits[code];
    }
    return anchors;
}

} // namespace

CodeDensity::CodeDensity(std::span<const std::uint16_t> codes) : hits(FineLut::kCodes) {
    for (const std::uint16_t code : codes) {
        if (code < FineLut::kCodes) {
            ++hits[code];
        }
    }
    sum = std::accumulate(hits.begin(), hits.end(), std::uint64_t{0});
}

std::uint64_t CodeDensity::unique_codes() const {
    return static_cast<std::uint64_t>(
        std::count_if(hits.begin(), hits.end(), [](std::uint64_t count) { return count > 0; }));
}

double CodeDensity::resolution_ps() const {
    if (sum == 0) {
        return 0.0;
    }
    double cubes = 0.0;
    for (const std::uint64_t count : hits) {
        const double share = static_cast<double>(count) / static_cast<double>(sum);
        cubes += share * share * share;
    }
    return kOneCodeDeviationPs * std::sqrt(cubes);
}

FineLut CodeDensity::lut(std::int64_t period_ps) const {
    const std::int64_t highest = std::max<std::int64_t>(period_ps, 1) - 1;
    const std::vector<Anchor> anchors = anchors_of(hits, sum, period_ps, highest);
    if (anchors.size() < 2) {
        return FineLut::identity(highest + 1);
    }
    FineLut lut;
    lut.entries.reserve(FineLut::kCodes);
    std::size_t next = 0; // the first anchor at or above the code
    std::int64_t reached = 0;
    for (std::size_t code = 0; code < FineLut::kCodes; ++code) {
        while (next < anchors.size() && anchors[next].code < code) {
            ++next;
        }
        std::int64_t entry = 0;
        if (next < anchors.size() && anchors[next].code == code) {
            entry = anchors[next].ps;
        } else {
            const std::size_t end = std::clamp<std::size_t>(next, 1, anchors.size() - 1);
            entry = rounded(on_line(anchors[end - 1], anchors[end], code), highest);
        }
        reached = std::max(reached, entry); // a delay line never goes back
        lut.entries.push_back(reached);
    }
    return lut;
}

} // namespace qorn::timing
