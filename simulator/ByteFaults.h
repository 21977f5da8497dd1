// Damages the bytes of a stream as the scene asks: loses some, puts garbage between others. Owned by a
// running stream.
#pragma once

#include "ByteBuffer.h"
#include "Random.h"
#include "Scene.h"

#include <cstdint>
#include <span>
#include <vector>

namespace qorn::simulator {

class ByteFaults {
public:
    ByteFaults(const FaultsSpec& faults, std::uint64_t seed);

    bool active() const { return damages; }

    // Appends to `out` what is left of the bytes, which are the next ones of the stream.
    void pass(std::span<const std::uint8_t> bytes, ByteBuffer& out);

private:
    static std::uint64_t drawAfter(std::uint64_t position, double perByte, Random& random);

    double lostPerByte;
    double garbagePerByte;
    std::vector<std::uint64_t> lostAt; // rising
    bool damages;
    Random random;
    std::uint64_t position = 0; // in the undamaged stream
    std::size_t nextLostAt = 0;
    std::uint64_t nextLost;
    std::uint64_t nextGarbage;
};

} // namespace qorn::simulator
