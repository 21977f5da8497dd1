// The delta32 format: 32-bit words with the time since the input's last tag; one sync sequence per input.
#pragma once

#include "StreamEncoder.h"

#include <array>

namespace qorn::simulator {

class Delta32Encoder final : public StreamEncoder {
public:
    explicit Delta32Encoder(const EncoderSettings& wanted) : settings(wanted) {}

    void encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) override;
    void startMidRecord(ByteBuffer& out) override;

private:
    struct Input {
        bool started = false;
        std::int64_t lastPs = 0;
        std::int64_t lastSyncPs = 0;
        std::int64_t wrapAtPs = 0; // the counter wraps next at this time
    };

    bool syncDue(const Input& input, std::int64_t timePs) const;
    static void sync(const Tag& tag, ByteBuffer& out);
    static void delta(const Tag& tag, std::uint64_t deltaPs, ByteBuffer& out);

    EncoderSettings settings;
    std::array<Input, kInputs> inputs;
};

} // namespace qorn::simulator
