#include "StreamFileHeader.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace qorn::timing {

const char* format_name(StreamFormat format) {
    switch (format) {
    case StreamFormat::Delta32:
        return "delta32";
    case StreamFormat::PackedDelta:
        return "packed_delta";
    case StreamFormat::Raw64:
        break;
    }
    return "raw64";
}

const char* transport_name(Transport transport) {
    switch (transport) {
    case Transport::Usb:
        return "usb";
    case Transport::UsbAsync:
        return "usb_async";
    case Transport::Uart:
        break;
    }
    return "uart";
}

namespace detail {
namespace {

std::string current_utc() {
    const auto now = std::chrono::system_clock::now();
    const auto micros =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() % 1'000'000;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%06dZ", date, static_cast<int>(micros));
    return text;
}

void append_text(std::string& json, const char* key, std::string_view value) {
    json += '"';
    json += key;
    json += "\":\"";
    json += json_escape(value);
    json += "\",";
}

void append_number(std::string& json, const char* key, unsigned value) {
    json += '"';
    json += key;
    json += "\":";
    json += std::to_string(value);
}

} // namespace

std::string stream_header_to_json(StreamFileHeader header) {
    const bool external = header.mode != StreamMode::Internal;
    if (header.created_utc.empty()) {
        header.created_utc = current_utc();
    }
    if (header.raw64_tag_format.empty()) {
        header.raw64_tag_format = external ? "ps" : "raw_cf";
    }
    std::string json = R"({"file_type":"qorn_timing_raw_stream_capture","schema_version":1,)";
    append_text(json, "created_utc", header.created_utc);
    append_text(json, "application", header.application);
    append_text(json, "device_product", header.device_product);
    append_text(json, "device_serial", header.device_serial);
    append_text(json, "device_port", header.device_port);
    append_text(json, "stream_format", format_name(header.format));
    append_text(json, "mode", external ? "external" : "internal");
    append_text(json, "stream_transport", transport_name(header.transport));
    append_text(json, "raw64_tag_format", header.raw64_tag_format);
    append_number(json, "channel_mask", header.channel_mask & 15U);
    json += ',';
    append_number(json, "tdl_index", header.tdl_index);
    json += R"(,"packed_delta_config":{)";
    append_number(json, "delta_bits", header.delta_bits);
    json += ',';
    append_number(json, "quantum_ps", header.quantum_ps);
    json += "}}";
    return json;
}

std::string json_escape(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (const char character : text) {
        switch (character) {
        case '\t':
            escaped += "\\t";
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        case '"':
            escaped += "\\\"";
            break;
        case '\\':
            escaped += "\\\\";
            break;
        default:
            escaped += static_cast<unsigned char>(character) < 32 ? '?' : character;
        }
    }
    return escaped;
}

} // namespace detail
} // namespace qorn::timing
