// Turns tags in true time into the bytes an instrument would send: its 32-bit coarse counter wraps, deltas
// are taken modulo 2^41 of the counter's quanta, absolute times come from the counter as it stands.
#pragma once

#include "StreamBuilder.h"
#include "TimeTag.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qorn::testing {

struct EncodedStream {
    Bytes bytes;
    std::vector<std::size_t> ends; // for each tag the number of bits up to the end of its record
    std::vector<bool> synced;      // for each tag whether a sync goes before it; empty without syncs
};

EncodedStream encodeRaw64Picoseconds(std::span<const timing::TimeTag> tags);

// Times must be those of the uncalibrated table, so the tags are changed to the nearest ones below.
EncodedStream encodeRaw64CoarseFine(std::span<timing::TimeTag> tags);

// Every input gets a sync before its first tag and, when sync_every is not 0, before each sync_every-th tag.
// A sync behind a wrap of the counter does not decode to the true time.
EncodedStream encodeDelta32(std::span<const timing::TimeTag> tags, std::size_t sync_every,
                            std::uint64_t seed);

struct PackedWire {
    int delta_bits = 16;
    int quantum_shift = 3; // a power of two, in ps
    std::size_t sync_every = 0;
    std::uint64_t max_overflows = 200; // a step that takes more overflow records gets a sync instead
    std::uint64_t seed = 1;
};

// The same for packed records. Times must be multiples of the quantum; behind a wrap of the counter a sync
// decodes to the true time with a quantum_shift of 3 and more.
EncodedStream encodePacked(std::span<const timing::TimeTag> tags, const PackedWire& wire);

} // namespace qorn::testing
