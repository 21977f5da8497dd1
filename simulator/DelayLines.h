// The tapped delay lines behind the inputs: three per input, whose taps differ in width in a way that is
// fixed for a unit. Turns a phase inside a coarse tick into a fine code, and tells how far off a corrected
// time is with the tables that the firmware holds. Owned by the Instrument; not thread-safe.
#pragma once

#include "TimeBase.h"

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace qorn::simulator {

// A phase is how far a pulse lies ahead of the tick that stamps it: 0 to kTickPs - 1, what is to be
// subtracted.
using PhaseTable = std::array<std::int16_t, kTickPs>;

class DelayLines {
public:
    explicit DelayLines(std::string_view serial);

    // What a line's longer way to the first tap adds to every time, in ps; 0 for line 0.
    std::int64_t offsetPs(int input, int line) const { return lines[index(input, line)].offsetPs; }
    std::uint16_t fineCode(int input, int line, std::int64_t phasePs) const {
        return lines[index(input, line)].codeOfPhase[static_cast<std::size_t>(phasePs)];
    }

    // The widths of a line's taps in ps, by code: together a tick. What a perfect calibration would find.
    std::vector<std::int64_t> tapWidthsPs(int input, int line) const;

    // Replaces the firmware's table of a line; codes behind its end keep the default.
    void upload(int input, int line, std::span<const std::int64_t> table);

    // By phase, how much too much the firmware subtracts with the lines of the mask active, in ps.
    PhaseTable timingError(int input, std::uint8_t mask) const;

private:
    struct Line {
        std::int64_t offsetPs = 0;
        std::vector<std::uint16_t> codeOfPhase;
        std::vector<std::int64_t> table; // of the firmware, by code
    };
    static std::size_t index(int input, int line) {
        return static_cast<std::size_t>(input) * kDelayLines + static_cast<std::size_t>(line);
    }

    std::array<Line, std::size_t{kInputs} * kDelayLines> lines;
};

// The lines of a mask that count: its low three bits, or line 0 when none is set.
std::uint8_t activeLines(std::uint8_t mask);

// How many codes a firmware table holds.
inline constexpr std::size_t kFineCodes = 8192;

} // namespace qorn::simulator
