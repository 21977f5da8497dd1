// A running tag stream: makes tags as far as time has come, encodes them, and holds the bytes until they are
// read. What does not fit the buffer is lost. Owned by the Instrument and guarded by its mutex.
#pragma once

#include "ByteFaults.h"
#include "OutputBuffer.h"
#include "Pacer.h"
#include "StreamEncoder.h"
#include "TagFeed.h"
#include "TruthFile.h"

#include <memory>
#include <span>

namespace qorn::simulator {

class TagStream {
public:
    struct Parts {
        TagFeed feed;
        std::unique_ptr<StreamEncoder> encoder;
        Pacer pacer;
    };

    TagStream(Parts made, const UnitSpec& unit, std::uint64_t seed);

    void apply(const InputSettings& settings, const DelayLines& lines) { parts.feed.apply(settings, lines); }

    // Goes on to where time has come, for at most a few milliseconds of work at a time; unpaced, until so
    // many bytes are held.
    void advance(Pacer::Time now, std::size_t wantedBytes);

    std::size_t heldBytes() const { return buffer.size(); }
    std::size_t take(std::span<std::uint8_t> out) { return buffer.take(out); }
    bool unpaced() const { return parts.pacer.unpaced(); }
    bool mustGoOn() const { return parts.pacer.mustGoOn(positionPs); }
    Pacer::Time nextDataAt() const { return parts.pacer.reachedAt(positionPs + kSlicePs); }
    std::uint64_t lostTags() const { return lost; }

    // When a read last returned: bytes are gathered for a little while, as USB does.
    Pacer::Time lastReturn{};

private:
    void makeSlice();
    void encode(std::span<const Tag> tags);

    Parts parts;
    OutputBuffer buffer;
    ByteFaults faults;
    TruthFile truth;
    ByteBuffer encoded;
    ByteBuffer damaged;
    std::vector<Tag> sent;
    std::int64_t positionPs = 0;
    std::uint64_t lost = 0;
};

} // namespace qorn::simulator
