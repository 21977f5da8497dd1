#include "RelayDecoder.h"

#include "TagWords.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace qorn::relay {

namespace {

// In every record bit 63 and bits 60 to 44 must be zero: the first byte on the wire holds bits 63 to 56.
bool areRelayRecords(std::span<const std::uint8_t> records) {
    std::uint64_t seen = 0;
    for (std::size_t at = 0; at < records.size(); at += timing::kTagWordBytes) {
        std::uint64_t word = 0;
        std::memcpy(&word, records.data() + at, sizeof word);
        seen |= word;
    }
    std::array<std::uint8_t, timing::kTagWordBytes> bits{};
    std::memcpy(bits.data(), &seen, sizeof seen);
    return (bits[0] & 0x9F) == 0 && bits[1] == 0 && (bits[2] & 0xF0) == 0;
}

} // namespace

timing::StreamFileHeader relayStreamHeader() {
    timing::StreamFileHeader header;
    header.format = timing::StreamFormat::Raw64;
    header.mode = timing::StreamMode::External;
    header.transport = timing::Transport::Usb;
    header.channel_mask = 15;
    header.raw64_tag_format = "ps";
    return header;
}

InvalidRelayRecord::InvalidRelayRecord(std::uint64_t unread)
    : std::runtime_error("relay stream contains an invalid raw64-ps record"), unreadBytes(unread) {}

RelayDecoder::RelayDecoder() : decoder(relayStreamHeader()), pending(kPieceBytes + timing::kTagWordBytes) {}

std::span<std::uint8_t> RelayDecoder::room() {
    return std::span(pending).subspan(held, kPieceBytes);
}

std::span<const timing::TimeTag> RelayDecoder::take(std::size_t count) {
    held += count;
    const std::size_t whole = held - held % timing::kTagWordBytes;
    const std::span<const std::uint8_t> records = std::span(pending).first(whole);
    if (!areRelayRecords(records))
        throw InvalidRelayRecord(held);
    const std::span<const timing::TimeTag> tags = decoder.feed(records);
    held -= whole;
    std::copy_n(pending.begin() + static_cast<std::ptrdiff_t>(whole), held, pending.begin());
    return tags;
}

} // namespace qorn::relay
