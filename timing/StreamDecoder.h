// Turns the instrument's raw byte stream into time tags: finds record boundaries, rebuilds absolute time per
// channel across counter wraps, and re-aligns when the stream has gone bad.
//
// A plain single-threaded object, built anew for each stream, used by the one thread that reads it. It never
// throws for bad data.
#pragma once

#include "Delta32Decoder.h"
#include "PackedDeltaDecoder.h"
#include "Raw64Decoder.h"
#include "StreamBuffer.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"

#include <cstdint>
#include <span>
#include <variant>

namespace qorn::timing {

class StreamDecoder {
public:
    explicit StreamDecoder(StreamFileHeader header);

    // Appends the bytes to what is pending and decodes one pass. The tags, in stream order, are valid until
    // the next call. A header with an unknown format, or packed with delta_bits above 31, yields no tags and
    // keeps all bytes.
    std::span<const TimeTag> feed(std::span<const std::uint8_t> bytes);

    // Bytes received and not consumed yet; a packed record may start inside the first of them.
    std::span<const std::uint8_t> raw() const { return pending.span(); }
    // Forgets these bytes: the rest of their record will not come. The time axis stays.
    void drop_raw() { pending.drop_front(pending.size()); }

    // Bytes consumed behind the first tag that gave neither a tag nor its time: garbage, and what comes until
    // the decoder has found its way again. What it passes over ahead of the first tag is the usual start of a
    // stream.
    std::uint64_t skipped_bytes() const;

    // The decoder of the packed format, null for the other formats.
    const PackedDeltaDecoder* packed() const { return std::get_if<PackedDeltaDecoder>(&decoder); }

private:
    StreamBuffer pending;
    TagBuffer tags;
    std::variant<std::monostate, Raw64Decoder, Delta32Decoder, PackedDeltaDecoder> decoder;
};

} // namespace qorn::timing
