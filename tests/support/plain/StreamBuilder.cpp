#include "StreamBuilder.h"

#include <algorithm>
#include <stdexcept>

namespace qorn::testing {
namespace {

template <typename Word>
void appendBigEndian(Bytes& out, Word word) {
    for (int shift = static_cast<int>(sizeof(Word)) * 8 - 8; shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>(word >> shift));
}

int hexDigit(char digit) {
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    if (digit >= 'A' && digit <= 'F')
        return digit - 'A' + 10;
    throw std::invalid_argument("bytesFromHex: not a digit");
}

} // namespace

Bytes bytesFromHex(std::string_view text) {
    Bytes out;
    int high = -1;
    for (const char digit : text) {
        if (digit == ' ')
            continue;
        const int value = hexDigit(digit);
        if (high < 0) {
            high = value;
            continue;
        }
        out.push_back(static_cast<std::uint8_t>(high * 16 + value));
        high = -1;
    }
    if (high >= 0)
        throw std::invalid_argument("bytesFromHex: half a byte");
    return out;
}

void appendBytes(Bytes& out, std::span<const std::uint8_t> more) {
    out.insert(out.end(), more.begin(), more.end());
}

std::uint64_t raw64CoarseFine(int channel, std::uint64_t coarse, std::uint64_t fine) {
    return static_cast<std::uint64_t>(channel) << 61 | std::uint64_t{0xA5C3} << 45 | coarse << 13 | fine;
}

std::uint64_t raw64Picoseconds(int channel, std::uint64_t time_ps) {
    return static_cast<std::uint64_t>(channel) << 61 | time_ps;
}

void appendRaw64(Bytes& out, std::uint64_t word) {
    appendBigEndian(out, word);
}

Bytes raw64Stream(std::initializer_list<std::uint64_t> words) {
    Bytes out;
    for (const std::uint64_t word : words)
        appendRaw64(out, word);
    return out;
}

std::uint32_t delta32Word(int control, int sub, int kind, std::uint32_t payload) {
    return static_cast<std::uint32_t>(control) << 31 | static_cast<std::uint32_t>(sub) << 29 |
           static_cast<std::uint32_t>(kind) << 25 | payload;
}

std::uint32_t delta32Data(int channel, std::uint32_t payload) {
    return delta32Word(0, channel, 10, payload);
}

std::uint32_t delta32Overflow(std::uint32_t units) {
    return delta32Word(1, 0, 5, units);
}

std::uint32_t delta32AbsoluteLow(std::uint32_t payload) {
    return delta32Word(1, 1, 5, payload);
}

std::uint32_t delta32AbsoluteHigh(std::uint32_t payload) {
    return delta32Word(1, 2, 5, payload);
}

void appendDelta32(Bytes& out, std::uint32_t word) {
    appendBigEndian(out, word);
}

void appendDelta32Sync(Bytes& out, std::uint64_t absolute_ps) {
    appendDelta32(out, kDelta32Sync);
    appendDelta32(out, delta32AbsoluteLow(static_cast<std::uint32_t>(absolute_ps & 0x1FFFFFF)));
    appendDelta32(out, delta32AbsoluteHigh(static_cast<std::uint32_t>(absolute_ps >> 25 & 0xFFFF)));
}

void appendDelta32Overflow(Bytes& out, std::uint64_t units) {
    while (units > 0) {
        const std::uint64_t step = std::min<std::uint64_t>(units, 65535);
        appendDelta32(out, delta32Overflow(static_cast<std::uint32_t>(step)));
        units -= step;
    }
}

Bytes delta32Stream(std::initializer_list<std::uint32_t> words) {
    Bytes out;
    for (const std::uint32_t word : words)
        appendDelta32(out, word);
    return out;
}

PackedBuilder::PackedBuilder(int delta_bits_) : delta_bits(delta_bits_) {}

int PackedBuilder::syncChunks() const {
    return (41 + delta_bits - 1) / delta_bits;
}

PackedBuilder& PackedBuilder::bits(std::uint64_t value, int count) {
    for (int bit = count - 1; bit >= 0; --bit) {
        if (written % 8 == 0)
            buffer.push_back(0);
        if (bit < 64 && (value >> bit & 1) != 0)
            buffer.back() = static_cast<std::uint8_t>(buffer.back() | 0x80 >> (written % 8));
        ++written;
    }
    return *this;
}

PackedBuilder& PackedBuilder::record(int channel, int flag, std::uint64_t payload) {
    bits(static_cast<std::uint64_t>(channel), 2);
    bits(static_cast<std::uint64_t>(flag), 1);
    return bits(payload, delta_bits);
}

PackedBuilder& PackedBuilder::sync(int channel, std::uint64_t absolute) {
    syncStart(channel);
    for (int chunk = 0; chunk < syncChunks(); ++chunk)
        data(channel, absolute >> (chunk * delta_bits) & allOnes());
    return *this;
}

PackedBuilder& PackedBuilder::delta(int channel, std::uint64_t delta) {
    std::uint64_t upper = delta >> delta_bits;
    if (upper > 0 && delta_bits == 1)
        throw std::invalid_argument("PackedBuilder: one bit has no room for an overflow");
    while (upper > 0) {
        const std::uint64_t step = std::min(upper, allOnes() - 1);
        overflow(channel, step);
        upper -= step;
    }
    return data(channel, delta & allOnes());
}

PackedBuilder& PackedBuilder::repeat(int channel, std::uint64_t payload, int count) {
    for (int i = 0; i < count; ++i)
        data(channel, payload);
    return *this;
}

std::uint64_t PackedBuilder::deltaRecords(int delta_bits, std::uint64_t delta) {
    const std::uint64_t upper = delta >> delta_bits;
    const std::uint64_t most = (std::uint64_t{1} << delta_bits) - 2;
    return upper == 0 ? 1 : 1 + (upper + most - 1) / std::max<std::uint64_t>(most, 1);
}

Bytes PackedBuilder::bytes(int fill) const {
    Bytes out = buffer;
    if (fill != 0 && written % 8 != 0)
        out.back() = static_cast<std::uint8_t>(out.back() | 0xFF >> (written % 8));
    return out;
}

} // namespace qorn::testing
