// The counting logic of one gate: singles per input and coincidences of the masked inputs. An event is
// compared with the latest event of each other input; two coincide when they are at most a window apart,
// three and four when each two of them do. Made anew for each gate.
#pragma once

#include "Pulse.h"
#include "TimeBase.h"

#include <array>
#include <cstdint>
#include <span>

namespace qorn::simulator {

struct CoincidenceCounts {
    std::array<std::uint64_t, kInputs> singles{};
    std::array<std::uint64_t, 6> pairs{};   // inputs 12, 13, 14, 23, 24, 34
    std::array<std::uint64_t, 4> triples{}; // inputs 123, 124, 134, 234
    std::uint64_t quadruple = 0;
};

class CoincidenceUnit {
public:
    CoincidenceUnit(std::uint8_t inputs, std::uint32_t windowCycles)
        : mask(inputs), windowPs(cyclesToPs(windowCycles)) {}

    // The next events, in time order with the inputs' offsets applied.
    void add(std::span<const Tag> events);

    const CoincidenceCounts& result() const { return counts; }

private:
    void add(const Tag& event);
    bool coincide(std::size_t a, std::size_t b) const;

    std::uint8_t mask;
    std::int64_t windowPs;
    CoincidenceCounts counts;
    std::array<std::int64_t, kInputs> last{};
    std::array<bool, kInputs> seen{};
};

} // namespace qorn::simulator
