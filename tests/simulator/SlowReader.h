// Slow readers of the three wire formats for whole, undamaged streams: every bit is looked at by itself,
// every rule is written down plainly. What the encoders write is compared with them. A record that makes no
// sense is thrown as std::runtime_error.
#pragma once

#include "Pulse.h"

#include <cstdint>
#include <vector>

namespace qorn::simulator::test {

std::vector<Tag> readPacked(const std::vector<std::uint8_t>& bytes, int deltaBits, int quantumPs,
                            std::size_t firstBit = 0);
std::vector<Tag> readDelta32(const std::vector<std::uint8_t>& bytes);
std::vector<Tag> readRaw64Ps(const std::vector<std::uint8_t>& bytes);

struct RawWord {
    int input = 0;
    std::uint32_t coarse = 0;
    int fine = 0;
};
std::vector<RawWord> readRaw64Codes(const std::vector<std::uint8_t>& bytes);

} // namespace qorn::simulator::test
