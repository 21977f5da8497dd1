#include "SlowReader.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

namespace qorn::simulator::test {

namespace {

constexpr std::int64_t kWrap = 14315125997568; // of the coarse counter, in ps
constexpr std::int64_t kShort = 10'000'000'000;
constexpr std::int64_t kField = 2199023255552; // of the absolute time, in quanta

class BitReader {
public:
    BitReader(const std::vector<std::uint8_t>& data, std::size_t first) : bytes(data), at(first) {}

    bool has(int bits) const { return at + static_cast<std::size_t>(bits) <= bytes.size() * 8; }
    std::uint64_t take(int bits) {
        std::uint64_t value = 0;
        for (int i = 0; i < bits; ++i, ++at) {
            value = value * 2 + (bytes[at / 8] >> (7 - at % 8) & 1);
        }
        return value;
    }

private:
    const std::vector<std::uint8_t>& bytes;
    std::size_t at;
};

// An input's unwrapped time as a reader follows it.
struct Clock {
    std::optional<std::int64_t> timePs;

    // `span` is the range of the absolute field in ps.
    void advance(std::int64_t deltaPs, std::int64_t span) {
        std::int64_t cover = span;
        while (cover < kWrap) {
            cover += span;
        }
        const std::int64_t real = deltaPs - (cover - kWrap);
        // where the field is shorter than the counter, a stream that begins late does not tell the counter's
        // phase
        const bool wrapped = real >= 0 && (real <= kShort || *timePs % kWrap + real >= kWrap);
        *timePs += wrapped ? real : deltaPs;
    }

    void set(std::int64_t fieldPs, std::int64_t span) {
        const std::int64_t period = std::min(span, kWrap);
        std::int64_t time = fieldPs % period;
        while (timePs && time < *timePs) {
            time += period;
        }
        timePs = time;
    }
};

std::uint64_t bigEndian(const std::vector<std::uint8_t>& bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        value = value * 256 + bytes[at + i];
    }
    return value;
}

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

} // namespace

std::vector<Tag> readPacked(const std::vector<std::uint8_t>& bytes, int deltaBits, int quantumPs,
                            std::size_t firstBit) {
    const std::uint64_t ones = (std::uint64_t{1} << deltaBits) - 1;
    const std::int64_t span = kField * quantumPs;
    std::array<Clock, 4> clocks;
    std::array<std::uint64_t, 4> overflow{};
    std::vector<Tag> tags;
    BitReader reader(bytes, firstBit);
    while (reader.has(deltaBits + 3)) {
        const auto input = static_cast<std::uint8_t>(reader.take(2));
        const bool flag = reader.take(1) != 0;
        const std::uint64_t payload = reader.take(deltaBits);
        if (flag && payload == ones) {
            std::uint64_t field = 0;
            int chunkBits = 0;
            while (chunkBits < 41 && reader.has(deltaBits + 3)) {
                require(reader.take(2) == input, "a chunk of another input");
                require(reader.take(1) == 0, "a chunk with the overflow flag");
                field |= reader.take(deltaBits) << chunkBits;
                chunkBits += deltaBits;
            }
            require(field < static_cast<std::uint64_t>(kField), "an absolute time of more than 41 bits");
            clocks[input].set(static_cast<std::int64_t>(field) * quantumPs, span);
            overflow[input] = 0;
        } else if (flag) {
            overflow[input] += payload;
        } else {
            require(clocks[input].timePs.has_value(), "a tag before the input's sync");
            const std::uint64_t quanta = (overflow[input] << deltaBits) + payload;
            clocks[input].advance(static_cast<std::int64_t>(quanta) * quantumPs, span);
            overflow[input] = 0;
            tags.push_back({*clocks[input].timePs, input});
        }
    }
    return tags;
}

std::vector<Tag> readDelta32(const std::vector<std::uint8_t>& bytes) {
    std::array<Clock, 4> clocks;
    std::int64_t overflow = 0;
    bool synced = false; // the next tag counts from the base
    std::int64_t base = 0;
    std::vector<Tag> tags;
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
        const std::uint64_t word = bigEndian(bytes, at, 4);
        const auto sub = static_cast<std::uint8_t>(word >> 29 & 3);
        const auto payload = static_cast<std::int64_t>(word & 0x1FFFFFF);
        const bool control = word >> 31 != 0;
        require((word >> 25 & 15) == (control ? 5u : 10u), "a word of neither kind");
        if (word == 0xEB5A55AA) {
            require(at + 12 <= bytes.size(), "a cut sync");
            const auto low = static_cast<std::int64_t>(bigEndian(bytes, at + 4, 4));
            const auto high = static_cast<std::int64_t>(bigEndian(bytes, at + 8, 4));
            require(low >> 25 == 0x55 && high >> 16 == 0xCA00, "a sync without its two halves");
            synced = true;
            base = (high & 0xFFFF) << 25 | (low & 0x1FFFFFF);
            at += 8;
        } else if (control) {
            require(sub == 0 && payload < 65536, "a control word that is no overflow");
            require(!synced, "an overflow between a sync and its tag");
            overflow += payload;
        } else {
            const std::int64_t delta = (overflow << 25) + payload;
            if (synced) {
                clocks[sub].set(base + delta, kField);
            } else {
                require(clocks[sub].timePs.has_value(), "a tag before the input's sync");
                clocks[sub].advance(delta, kField);
            }
            overflow = 0;
            synced = false;
            tags.push_back({*clocks[sub].timePs, sub});
        }
    }
    return tags;
}

std::vector<Tag> readRaw64Ps(const std::vector<std::uint8_t>& bytes) {
    std::array<Clock, 4> clocks;
    std::vector<Tag> tags;
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
        const std::uint64_t word = bigEndian(bytes, at, 8);
        require((word & 0x9FFFF00000000000) == 0, "a word that is no tag");
        const auto input = static_cast<std::uint8_t>(word >> 61);
        const auto time = static_cast<std::int64_t>(word & 0xFFFFFFFFFFF);
        require(time < kWrap, "a time behind the counter's wrap");
        clocks[input].set(time, kWrap);
        tags.push_back({*clocks[input].timePs, input});
    }
    return tags;
}

std::vector<RawWord> readRaw64Codes(const std::vector<std::uint8_t>& bytes) {
    std::vector<RawWord> words;
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
        const std::uint64_t word = bigEndian(bytes, at, 8);
        require(word >> 63 == 0 && (word >> 45 & 0xFFFF) == 0xA5C3, "a word without the marker");
        words.push_back({static_cast<int>(word >> 61 & 3), static_cast<std::uint32_t>(word >> 13),
                         static_cast<int>(word & 0x1FFF)});
    }
    return words;
}

} // namespace qorn::simulator::test
