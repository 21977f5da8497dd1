// Pulses through the inputs, slice by slice: what the encoder of a stream gets. Owned by the stream.
#pragma once

#include "InputStage.h"
#include "PulseGenerator.h"

#include <array>
#include <span>
#include <vector>

namespace qorn::simulator {

class TagFeed {
public:
    // The generator outlives the feed.
    TagFeed(PulseGenerator& pulses, InputStage inputs, std::uint8_t channelMask)
        : generator(pulses), stage(std::move(inputs)), mask(channelMask) {}

    // A round that is repeated is prepared anew.
    void apply(const InputSettings& settings, const DelayLines& lines);

    // The tags of the next slice; valid until the next call.
    std::span<const Tag> nextSlice();

private:
    void replaySlice();
    void joinEnds();

    PulseGenerator& generator;
    InputStage stage;
    std::uint8_t mask;
    std::array<std::int64_t, kInputs> deadTimesPs{};
    std::vector<Tag> tags;
    // Where the pulses repeat, the tags of one round, so that the inputs need not work on each.
    std::vector<std::vector<Tag>> prepared;
    std::size_t replayed = 0; // slices since the round was complete
};

} // namespace qorn::simulator
