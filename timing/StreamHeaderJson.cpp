#include "StreamHeaderJson.h"

#include "BoundedJson.h"

#include <array>
#include <cctype>
#include <cstdint>
#include <string>
#include <utility>

namespace qorn::timing::detail {
namespace {

using Json = nlohmann::json;

constexpr unsigned kMostPackedBits = 31;

[[noreturn]] void fail(std::string_view key, std::string_view what) {
    throw HeaderFault("the header's \"" + std::string(key) + "\" " + std::string(what));
}

const Json& member(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) {
        fail(key, "is missing");
    }
    return *found;
}

std::string text(const Json& object, const char* key) {
    const Json& value = member(object, key);
    if (!value.is_string()) {
        fail(key, "is no text");
    }
    return value.get<std::string>();
}

unsigned number(const Json& object, const char* key, unsigned most) {
    const Json& value = member(object, key);
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
        fail(key, "is no number from 0 to " + std::to_string(most));
    }
    return value.get<unsigned>();
}

template <typename Value, std::size_t count>
Value choice(const Json& object, const char* key,
             const std::array<std::pair<std::string_view, Value>, count>& values) {
    const std::string name = text(object, key);
    for (const auto& [known, value] : values) {
        if (name == known) {
            return value;
        }
    }
    fail(key, "is unknown");
}

std::string tagFormat(const Json& object) {
    constexpr const char* kKey = "raw64_tag_format";
    std::string name = text(object, kKey);
    for (char& character : name) {
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    }
    if (name != "ps" && name != "raw_cf") {
        fail(kKey, "is unknown");
    }
    return name;
}

Json parsed(std::string_view json) {
    // Headers of ours hold 16 values; the others are for keys of later versions.
    constexpr JsonBounds kBounds{.kept_depth = 2, .most_values = 4096};
    try {
        return parse_bounded_object(json, kBounds);
    } catch (const JsonFault& fault) {
        throw HeaderFault(std::string("the header ") + fault.what());
    }
}

} // namespace

StreamFileHeader stream_header_from_json(std::string_view json) {
    using namespace std::literals;
    const Json root = parsed(json);
    if (text(root, "file_type") != "qorn_timing_raw_stream_capture") {
        fail("file_type", "is unknown");
    }
    if (number(root, "schema_version", 0xFFFFFFFF) != 1) {
        fail("schema_version", "is not 1");
    }
    StreamFileHeader header;
    header.created_utc = text(root, "created_utc");
    header.application = text(root, "application");
    header.device_product = text(root, "device_product");
    header.device_serial = text(root, "device_serial");
    header.device_port = text(root, "device_port");
    header.format = choice<StreamFormat, 3>(root, "stream_format",
                                            {{{"raw64"sv, StreamFormat::Raw64},
                                              {"delta32"sv, StreamFormat::Delta32},
                                              {"packed_delta"sv, StreamFormat::PackedDelta}}});
    header.mode = choice<StreamMode, 2>(
        root, "mode", {{{"internal"sv, StreamMode::Internal}, {"external"sv, StreamMode::External}}});
    header.transport = choice<Transport, 3>(
        root, "stream_transport",
        {{{"uart"sv, Transport::Uart}, {"usb"sv, Transport::Usb}, {"usb_async"sv, Transport::UsbAsync}}});
    header.raw64_tag_format = tagFormat(root);
    header.channel_mask = static_cast<std::uint8_t>(number(root, "channel_mask", 15));
    header.tdl_index = static_cast<std::uint8_t>(number(root, "tdl_index", 255));
    const Json& packed = member(root, "packed_delta_config");
    if (!packed.is_object()) {
        fail("packed_delta_config", "is no object");
    }
    const unsigned mostBits = header.format == StreamFormat::PackedDelta ? kMostPackedBits : 255;
    header.delta_bits = static_cast<std::uint8_t>(number(packed, "delta_bits", mostBits));
    header.quantum_ps = static_cast<std::uint16_t>(number(packed, "quantum_ps", 65535));
    return header;
}

} // namespace qorn::timing::detail
