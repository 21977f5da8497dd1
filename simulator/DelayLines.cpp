#include "DelayLines.h"

#include "Random.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>

namespace qorn::simulator {

namespace {

constexpr std::size_t kTaps = 180;
constexpr double kTapSpread = 0.45; // of a tap's width, as a fraction of it
constexpr std::array<std::int64_t, kDelayLines> kLineOffsetsPs{0, 1110, 2230};

std::vector<double> tapWidths(Random& random) {
    std::vector<double> widths(kTaps);
    for (double& width : widths) {
        width = std::max(0.1, 1 + kTapSpread * random.gaussian());
    }
    const double sum = std::accumulate(widths.begin(), widths.end(), 0.0);
    for (double& width : widths) {
        width *= kTickPs / sum;
    }
    return widths;
}

std::vector<std::uint16_t> codesByPhase(const std::vector<double>& widths) {
    std::vector<std::uint16_t> codes(kTickPs);
    std::uint16_t code = 0;
    double end = widths[0];
    for (std::size_t phase = 0; phase < codes.size(); ++phase) {
        while (static_cast<double>(phase) + 0.5 > end && code + 1u < widths.size()) {
            ++code;
            end += widths[code];
        }
        codes[phase] = code;
    }
    return codes;
}

// What the firmware assumes of a line before a calibration: taps of 18.5 ps.
std::int64_t nominalDelay(std::size_t code) {
    return std::min<std::int64_t>((37 * static_cast<std::int64_t>(code) + 1) / 2, kTickPs - 1);
}

} // namespace

DelayLines::DelayLines(std::string_view serial) {
    for (int input = 0; input < kInputs; ++input) {
        for (int line = 0; line < kDelayLines; ++line) {
            Random random(Random::derive(Random::derive(0x7D1, serial), index(input, line)));
            Line& made = lines[index(input, line)];
            made.codeOfPhase = codesByPhase(tapWidths(random));
            if (line > 0) {
                made.offsetPs = kLineOffsetsPs[static_cast<std::size_t>(line)] +
                                static_cast<std::int64_t>(random.uniform() * 200);
            }
            made.table.resize(kFineCodes);
            for (std::size_t code = 0; code < kFineCodes; ++code) {
                made.table[code] = nominalDelay(code);
            }
        }
    }
}

std::vector<std::int64_t> DelayLines::tapWidthsPs(int input, int line) const {
    std::vector<std::int64_t> widths(kTaps);
    for (const std::uint16_t code : lines[index(input, line)].codeOfPhase) {
        ++widths[code];
    }
    return widths;
}

void DelayLines::upload(int input, int line, std::span<const std::int64_t> table) {
    std::copy_n(table.begin(), std::min(table.size(), kFineCodes), lines[index(input, line)].table.begin());
}

PhaseTable DelayLines::timingError(int input, std::uint8_t mask) const {
    const std::uint8_t active = activeLines(mask);
    PhaseTable error{};
    for (std::int64_t phase = 0; phase < kTickPs; ++phase) {
        std::int64_t sum = 0;
        for (int number = 0; number < kDelayLines; ++number) {
            if ((active >> number & 1) == 0) {
                continue;
            }
            const Line& line = lines[index(input, number)];
            // a later edge lies less far ahead of the next tick
            const std::int64_t ownPhase = ((phase - line.offsetPs) % kTickPs + kTickPs) % kTickPs;
            sum += line.table[line.codeOfPhase[static_cast<std::size_t>(ownPhase)]] - ownPhase;
        }
        const double mean = static_cast<double>(sum) / std::popcount(active);
        error[static_cast<std::size_t>(phase)] = static_cast<std::int16_t>(std::lround(mean));
    }
    return error;
}

std::uint8_t activeLines(std::uint8_t mask) {
    const auto lines = static_cast<std::uint8_t>(mask & ((1 << kDelayLines) - 1));
    return lines == 0 ? std::uint8_t{1} : lines;
}

} // namespace qorn::simulator
