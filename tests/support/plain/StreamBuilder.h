// Writes the words and records of the three wire formats of a tag stream, one by one: also wrong ones, for
// the tests decide what is sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace qorn::testing {

using Bytes = std::vector<std::uint8_t>;

// Bytes from text like "EB 5A 55 AA"; blanks are skipped.
Bytes bytesFromHex(std::string_view text);

void appendBytes(Bytes& out, std::span<const std::uint8_t> more);

// --- raw64: 8 bytes a record, most significant first -------------------------------------------------------
std::uint64_t raw64CoarseFine(int channel, std::uint64_t coarse, std::uint64_t fine);
std::uint64_t raw64Picoseconds(int channel, std::uint64_t time_ps);
void appendRaw64(Bytes& out, std::uint64_t word);
Bytes raw64Stream(std::initializer_list<std::uint64_t> words);

// --- delta32: 4 bytes a word, most significant first -------------------------------------------------------
inline constexpr std::uint32_t kDelta32Sync = 0xEB5A55AA;
std::uint32_t delta32Word(int control, int sub, int kind, std::uint32_t payload);
std::uint32_t delta32Data(int channel, std::uint32_t payload);
std::uint32_t delta32Overflow(std::uint32_t units);
std::uint32_t delta32AbsoluteLow(std::uint32_t payload);
std::uint32_t delta32AbsoluteHigh(std::uint32_t payload);
void appendDelta32(Bytes& out, std::uint32_t word);
// Sync, absolute low and absolute high of a 41-bit time.
void appendDelta32Sync(Bytes& out, std::uint64_t absolute_ps);
// As many overflow words as `units` of 2^25 ps take.
void appendDelta32Overflow(Bytes& out, std::uint64_t units);
Bytes delta32Stream(std::initializer_list<std::uint32_t> words);

// --- packed: a bit string of records of delta_bits + 3 bits ------------------------------------------------
class PackedBuilder {
public:
    explicit PackedBuilder(int delta_bits);

    int deltaBits() const { return delta_bits; }
    int recordBits() const { return delta_bits + 3; }
    std::uint64_t allOnes() const { return (std::uint64_t{1} << delta_bits) - 1; }
    int syncChunks() const;

    // Bits that are no record, most significant first; zeros in front of the 64th.
    PackedBuilder& bits(std::uint64_t value, int count);
    PackedBuilder& record(int channel, int flag, std::uint64_t payload);
    PackedBuilder& data(int channel, std::uint64_t payload) { return record(channel, 0, payload); }
    PackedBuilder& overflow(int channel, std::uint64_t payload) { return record(channel, 1, payload); }
    PackedBuilder& syncStart(int channel) { return record(channel, 1, allOnes()); }
    // Sync start and all chunks of the absolute time, in quanta. Bits above the 41st go out as far as there
    // is room in the last chunk.
    PackedBuilder& sync(int channel, std::uint64_t absolute);
    // Overflow records for the upper part of `delta` quanta and the data record; needs delta_bits above 1
    // when there is an upper part.
    PackedBuilder& delta(int channel, std::uint64_t delta);
    // The same data record `count` times.
    PackedBuilder& repeat(int channel, std::uint64_t payload, int count);

    // Number of records delta() writes.
    static std::uint64_t deltaRecords(int delta_bits, std::uint64_t delta);

    std::size_t bitCount() const { return written; }
    // What was written, the last byte filled up with `fill` bits.
    Bytes bytes(int fill = 0) const;

private:
    int delta_bits;
    Bytes buffer;
    std::size_t written = 0;
};

} // namespace qorn::testing
