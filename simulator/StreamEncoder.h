// Puts tags into one of the instrument's wire formats. Owned by a running stream; called by whoever reads it.
#pragma once

#include "ByteBuffer.h"
#include "DelayLines.h"
#include "Pulse.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace qorn::simulator {

enum class StreamFormat { Raw64 = 0, Delta32 = 1, Packed = 2 };

struct EncoderSettings {
    StreamFormat format = StreamFormat::Packed;
    bool internal = false;            // the generator feeds the inputs
    std::uint8_t mask = 15;           // inputs in the stream, not 0
    std::uint8_t deltaBits = 16;      // 1 to 31
    std::uint16_t quantumPs = 8;      // a power of two
    std::int64_t syncPs = 0;          // time between an input's syncs, where they are repeated
    std::int64_t fineSyncPs = 0;      // the same where they are not by themselves; 0: never again
    std::uint32_t syncRecords = 4096; // of all inputs between two rounds of syncs
    bool marker = true;               // packed: a reader at a wrong bit position finds out at each round
    std::int64_t beaconPs = 0;        // how long a lone input stays lone before a silent one gives a sign
};

class StreamEncoder {
public:
    virtual ~StreamEncoder() = default;

    // Appends the records of the tags, whose inputs are in the mask and whose times per input never step
    // back. With `sent`, appends to it each tag that is in the records, with the time that the records tell.
    virtual void encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) = 0;

    // Puts the end of an older record in front of the stream; to be called before anything is encoded.
    virtual void startMidRecord(ByteBuffer& out) = 0;
};

// The second one makes the uncalibrated words of a raw64 stream; `lines` outlives the encoder.
std::unique_ptr<StreamEncoder> makeEncoder(const EncoderSettings& settings);
std::unique_ptr<StreamEncoder> makeRawCodeEncoder(const DelayLines& lines, std::uint8_t rawLine);

} // namespace qorn::simulator
