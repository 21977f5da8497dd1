// The four inputs: discriminators with thresholds, dead time, and the timing of what passes. Owned by a
// running measurement, which gives it the settings; keeps per input when it last fired.
#pragma once

#include "DelayLines.h"
#include "Pulse.h"
#include "Random.h"

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace qorn::simulator {

// What the user sets for the inputs.
struct InputSettings {
    std::array<double, kInputs> thresholdsV{};
    std::array<std::int64_t, kInputs> deadTimesPs{};
    std::array<std::uint8_t, kInputs> tdlMasks{7, 7, 7, 7};
};

// The voltage of a threshold code: offset binary, 32768 is 0 V and 32767 is 4 V.
double thresholdVolts(std::uint16_t dacCode);

// How a stage times what it accepts.
enum class Timing {
    None,       // as the pulse came: for counting
    Calibrated, // by the active delay lines and the firmware's tables
    SingleLine, // by one delay line, uncorrected: for raw codes
};

class InputStage {
public:
    // `offsetPs` turns scene time into counter time; `line` serves SingleLine alone.
    InputStage(Timing how, std::int64_t offset, double lineJitterPs, std::uint8_t line, std::uint64_t seed);

    void apply(const InputSettings& wanted, const DelayLines& lines);

    // Appends what the inputs of the mask accept. Times of one input never step back.
    void process(std::span<const Pulse> pulses, std::uint8_t mask, std::vector<Tag>& out);

private:
    static constexpr std::size_t kJitterSteps = 1024;
    struct Input {
        float thresholdV = 0;
        std::int64_t deadPs = 0;
        std::int64_t lastAcceptedPs = 0;
        bool hasAccepted = false;
        std::int64_t lastTagPs = 0;
        std::int64_t lineOffsetPs = 0;
        std::array<std::int16_t, kJitterSteps> jitterPs{};
        PhaseTable timingErrorPs{};
    };

    std::int64_t measure(Input& input, std::int64_t timePs);

    Timing timing;
    std::int64_t offsetPs;
    double jitterOfOneLinePs;
    std::uint8_t rawLine;
    std::unique_ptr<std::array<Input, kInputs>> inputs; // large tables: not on anybody's stack
    std::array<Random, kInputs> randoms;
};

} // namespace qorn::simulator
