// The raw64 format: one 8-byte word per tag, with picoseconds ("ps") or with coarse and fine codes
// ("raw_cf").
#pragma once

#include "StreamEncoder.h"

namespace qorn::simulator {

class Raw64Encoder final : public StreamEncoder {
public:
    Raw64Encoder() = default;
    Raw64Encoder(const DelayLines& delayLines, std::uint8_t line) : lines(&delayLines), rawLine(line) {}

    void encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) override;
    void startMidRecord(ByteBuffer& out) override;

private:
    std::uint64_t word(const Tag& tag) const;

    const DelayLines* lines = nullptr; // null: picosecond words
    std::uint8_t rawLine = 0;
};

} // namespace qorn::simulator
