#include "BenchStreams.h"

#include "Driver.h"
#include "TagWords.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <random>

namespace qorn::bench {
namespace {

using timing::kChannels;
using timing::TimeTag;

constexpr double kTagsPerPs = 16e6 / 1e12;

// Tags in order of time.
class PoissonTraffic {
public:
    TimeTag next() {
        time += interval(random);
        return {static_cast<std::uint8_t>(channel(random)), static_cast<std::int64_t>(time)};
    }

private:
    std::mt19937_64 random{20240611};
    std::exponential_distribution<double> interval{kTagsPerPs};
    std::uniform_int_distribution<int> channel{0, kChannels - 1};
    double time = 0.0;
};

class BitWriter {
public:
    void put(std::uint64_t value, int bits) {
        for (int bit = bits - 1; bit >= 0; --bit) {
            current = static_cast<std::uint8_t>(current << 1 | ((value >> bit) & 1));
            if (++filled == 8) {
                bytes.push_back(current);
                filled = 0;
            }
        }
    }

    std::vector<std::uint8_t> bytes;

private:
    std::uint8_t current = 0;
    int filled = 0;
};

// Records of 16 delta bits in quanta of 8 ps.
class PackedWriter {
public:
    void put(const TimeTag& tag) {
        const std::uint64_t channel = tag.channel;
        const std::uint64_t quanta = static_cast<std::uint64_t>(tag.timestamp_ps) / 8;
        if (records[channel]++ % 4096 == 0) {
            record(channel, true, 0xFFFF);
            const std::uint64_t base = quanta - 1; // the data record behind it carries the rest
            for (int chunk = 0; chunk < 3; ++chunk) {
                record(channel, false, (base >> (16 * chunk)) & (chunk == 2 ? 0x1FF : 0xFFFF));
            }
            record(channel, false, 1);
        } else {
            std::uint64_t delta = quanta - last[channel];
            for (; delta > 0xFFFF; delta -= std::min<std::uint64_t>(delta >> 16, 0xFFFE) << 16) {
                record(channel, true, std::min<std::uint64_t>(delta >> 16, 0xFFFE));
            }
            record(channel, false, delta);
        }
        last[channel] = quanta;
    }

    BitWriter bits;

private:
    void record(std::uint64_t channel, bool flag, std::uint64_t payload) {
        bits.put(channel << 17 | std::uint64_t{flag} << 16 | payload, 19);
    }

    std::array<std::uint64_t, kChannels> last{};
    std::array<std::uint64_t, kChannels> records{};
};

void put_word(std::vector<std::uint8_t>& bytes, std::uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
}

// The same piece each time: its times step back at its end, which raw64 takes as it comes.
std::vector<std::uint8_t>& endless_words() {
    static std::vector<std::uint8_t> words;
    return words;
}

tt_status read_endless(tt_device*, void* buffer, std::size_t capacity, std::size_t* count, int) {
    const std::vector<std::uint8_t>& words = endless_words();
    *count = std::min(capacity, words.size());
    std::memcpy(buffer, words.data(), *count);
    return TT_OK;
}

timing::DriverTable endless_table() {
    timing::DriverTable table;
    table.tt_last_error = [](const tt_device*) { return ""; };
    table.tt_status_string = [](tt_status) { return "status"; };
    table.tt_close = [](tt_device*) {};
    table.tt_set_reference_clock = [](tt_device*, int, int, tt_reference_clock_status*) { return TT_OK; };
    table.tt_set_stream_interface = [](tt_device*, int, int) { return TT_OK; };
    table.tt_set_stream_channel_mask = [](tt_device*, std::uint8_t) { return TT_OK; };
    table.tt_disable_calibration_source = [](tt_device*) { return TT_OK; };
    table.tt_start_stream_mode = [](tt_device*, int, std::uint8_t) { return TT_OK; };
    table.tt_stop_stream_mode = [](tt_device*, int) { return TT_OK; };
    table.tt_read_stream_bytes = read_endless;
    return table;
}

const timing::DriverTable* previous_driver = nullptr;

} // namespace

std::vector<std::uint8_t> packed_stream(std::size_t bytes) {
    PoissonTraffic traffic;
    PackedWriter writer;
    while (writer.bits.bytes.size() < bytes) {
        writer.put(traffic.next());
    }
    return std::move(writer.bits.bytes);
}

std::vector<std::uint8_t> delta32_stream(std::size_t bytes) {
    PoissonTraffic traffic;
    std::vector<std::uint8_t> stream;
    std::array<std::int64_t, kChannels> last{};
    std::array<bool, kChannels> seen{};
    while (stream.size() < bytes) {
        const TimeTag tag = traffic.next();
        std::int64_t delta = tag.timestamp_ps - last[tag.channel];
        if (!seen[tag.channel]) {
            put_word(stream, 0xEB5A55AA);
            put_word(stream, 0xAA000000);
            put_word(stream, 0xCA000000);
        } else if (delta >= 1 << 25) {
            put_word(stream, 0x8A000000 | static_cast<std::uint32_t>(delta >> 25));
            delta &= (1 << 25) - 1;
        }
        put_word(stream, std::uint32_t{tag.channel} << 29 | 0x14000000 | static_cast<std::uint32_t>(delta));
        seen[tag.channel] = true;
        last[tag.channel] = tag.timestamp_ps;
    }
    return stream;
}

std::vector<std::uint8_t> raw64_stream(std::size_t bytes) {
    PoissonTraffic traffic;
    std::vector<unsigned char> stream;
    while (stream.size() < bytes) {
        const TimeTag tag = traffic.next();
        timing::appendDecodedQorntsTag(stream, tag.channel, tag.timestamp_ps);
    }
    return stream;
}

timing::StreamFileHeader stream_header(timing::StreamFormat format) {
    timing::StreamFileHeader header;
    header.format = format;
    header.mode = timing::StreamMode::External;
    header.transport = timing::Transport::Usb;
    header.channel_mask = 15;
    header.delta_bits = 16;
    header.quantum_ps = 8;
    header.raw64_tag_format = "ps";
    return header;
}

EndlessDriver::EndlessDriver() {
    static const timing::DriverTable kTable = endless_table();
    endless_words() = raw64_stream(1048576);
    previous_driver = timing::exchange_driver(&kTable);
}

EndlessDriver::~EndlessDriver() {
    timing::exchange_driver(previous_driver);
}

tt_device* EndlessDriver::handle() const {
    static int instrument;
    return reinterpret_cast<tt_device*>(&instrument);
}

} // namespace qorn::bench
