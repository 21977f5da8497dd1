// Description of a tag stream: what a decoder needs to know, and what a stream file says of itself.
#pragma once

#include "Transport.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace qorn::timing {

enum class StreamFormat : std::int32_t { Raw64 = 0, Delta32 = 1, PackedDelta = 2 };
enum class StreamMode : std::int32_t { Internal = 0, External = 1 }; // any other value counts as external

struct StreamFileHeader {
    StreamFormat format = StreamFormat::Raw64;
    StreamMode mode = StreamMode::Internal;
    Transport transport = Transport::Uart;
    std::uint8_t channel_mask = 0; // bit n is input n; 0 means all four
    std::uint8_t tdl_index = 0;
    std::uint8_t delta_bits = 0;  // packed delta, 1 to 31; 0 means 16
    std::uint16_t quantum_ps = 0; // packed delta; 0 means 8
    std::string raw64_tag_format; // "ps" or "raw_cf"
    std::string created_utc;
    std::string application;
    std::string device_product;
    std::string device_serial;
    std::string device_port;
};

inline constexpr std::string_view kStreamFileMagic = "QORNTS1\n";

// As they stand in a header: "raw64", "delta32", "packed_delta"; "uart", "usb", "usb_async". Anything unknown
// has the first name.
const char* format_name(StreamFormat format);
const char* transport_name(Transport transport);

namespace detail {

// The header as one line of JSON without spaces. An empty created_utc becomes the current UTC time, an empty
// raw64_tag_format the one that the mode implies.
std::string stream_header_to_json(StreamFileHeader header);

// Escapes tab, line feed, carriage return, quote and backslash; other bytes below 32 become "?", bytes from
// 128 up pass unchanged.
std::string json_escape(std::string_view text);

} // namespace detail
} // namespace qorn::timing
