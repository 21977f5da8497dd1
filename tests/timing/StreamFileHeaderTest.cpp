#include "StreamFileHeader.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace qorn::timing {
namespace {

StreamFileHeader sampleHeader() {
    StreamFileHeader header;
    header.format = StreamFormat::PackedDelta;
    header.mode = StreamMode::External;
    header.transport = Transport::UsbAsync;
    header.channel_mask = 5;
    header.tdl_index = 2;
    header.delta_bits = 19;
    header.quantum_ps = 4000;
    header.raw64_tag_format = "ps";
    header.created_utc = "2024-05-06T07:08:09.123Z";
    header.application = "Qorn Timing 0.3.0";
    header.device_product = "Scripted";
    header.device_serial = "SN0001";
    header.device_port = "ftdi://SN0001";
    return header;
}

bool contains(const std::string& json, const std::string& part) {
    return json.find(part) != std::string::npos;
}

TEST(StreamFileHeader, IsOneLineInThisOrder) {
    EXPECT_EQ(detail::stream_header_to_json(sampleHeader()),
              R"({"file_type":"qorn_timing_raw_stream_capture","schema_version":1,)"
              R"("created_utc":"2024-05-06T07:08:09.123Z","application":"Qorn Timing 0.3.0",)"
              R"("device_product":"Scripted","device_serial":"SN0001","device_port":"ftdi://SN0001",)"
              R"("stream_format":"packed_delta","mode":"external","stream_transport":"usb_async",)"
              R"("raw64_tag_format":"ps","channel_mask":5,"tdl_index":2,)"
              R"("packed_delta_config":{"delta_bits":19,"quantum_ps":4000}})");
}

TEST(StreamFileHeader, EmptyTextsStayEmpty) {
    StreamFileHeader header;
    header.created_utc = "x";
    EXPECT_EQ(detail::stream_header_to_json(header),
              R"({"file_type":"qorn_timing_raw_stream_capture","schema_version":1,"created_utc":"x",)"
              R"("application":"","device_product":"","device_serial":"","device_port":"",)"
              R"("stream_format":"raw64","mode":"internal","stream_transport":"uart",)"
              R"("raw64_tag_format":"raw_cf","channel_mask":0,"tdl_index":0,)"
              R"("packed_delta_config":{"delta_bits":0,"quantum_ps":0}})");
}

TEST(StreamFileHeader, FormatsHaveNamesAndAnythingElseIsRaw64) {
    for (const auto& [number, name] :
         {std::pair(0, "raw64"), std::pair(1, "delta32"), std::pair(2, "packed_delta"), std::pair(3, "raw64"),
          std::pair(-1, "raw64")}) {
        StreamFileHeader header = sampleHeader();
        header.format = static_cast<StreamFormat>(number);
        EXPECT_TRUE(contains(detail::stream_header_to_json(header),
                             std::string(R"("stream_format":")") + name + R"(",)"))
            << number;
    }
}

TEST(StreamFileHeader, EveryModeButZeroIsExternal) {
    for (const auto& [number, name] : {std::pair(0, "internal"), std::pair(1, "external"),
                                       std::pair(2, "external"), std::pair(-1, "external")}) {
        StreamFileHeader header = sampleHeader();
        header.mode = static_cast<StreamMode>(number);
        EXPECT_TRUE(
            contains(detail::stream_header_to_json(header), std::string(R"("mode":")") + name + R"(",)"))
            << number;
    }
}

TEST(StreamFileHeader, TransportsHaveNamesAndAnythingElseIsUart) {
    for (const auto& [number, name] : {std::pair(0, "uart"), std::pair(1, "usb"), std::pair(2, "usb_async"),
                                       std::pair(3, "uart"), std::pair(-1, "uart")}) {
        StreamFileHeader header = sampleHeader();
        header.transport = static_cast<Transport>(number);
        EXPECT_TRUE(contains(detail::stream_header_to_json(header),
                             std::string(R"("stream_transport":")") + name + R"(",)"))
            << number;
    }
}

TEST(StreamFileHeader, TheTagFormatFollowsTheModeUnlessGiven) {
    struct Row {
        StreamMode mode;
        const char* given;
        const char* written;
    };
    for (const Row& row :
         {Row{StreamMode::External, "", "ps"}, Row{StreamMode::Internal, "", "raw_cf"},
          Row{StreamMode::External, "raw_cf", "raw_cf"}, Row{StreamMode::Internal, "ps", "ps"},
          Row{static_cast<StreamMode>(7), "", "ps"}}) {
        StreamFileHeader header = sampleHeader();
        header.mode = row.mode;
        header.raw64_tag_format = row.given;
        EXPECT_TRUE(contains(detail::stream_header_to_json(header),
                             std::string(R"("raw64_tag_format":")") + row.written + R"(",)"));
    }
}

TEST(StreamFileHeader, TheChannelMaskIsCutToFourBitsAndNumbersAreDecimal) {
    StreamFileHeader header = sampleHeader();
    header.channel_mask = 0xFF;
    header.tdl_index = 255;
    header.delta_bits = 31;
    header.quantum_ps = 65535;
    const std::string json = detail::stream_header_to_json(header);
    EXPECT_TRUE(contains(json, R"("channel_mask":15,"tdl_index":255,)"));
    EXPECT_TRUE(contains(json, R"({"delta_bits":31,"quantum_ps":65535}})"));
    header.channel_mask = 0xF2;
    EXPECT_TRUE(contains(detail::stream_header_to_json(header), R"("channel_mask":2,)"));
}

TEST(StreamFileHeader, AnEmptyCreationTimeBecomesNowWithMicroseconds) {
    StreamFileHeader header = sampleHeader();
    header.created_utc.clear();
    const auto before = std::chrono::system_clock::now();
    const std::string json = detail::stream_header_to_json(header);
    const auto after = std::chrono::system_clock::now();
    constexpr std::string_view kKey = "\"created_utc\":\"";
    const std::string created = json.substr(json.find(kKey) + kKey.size(), 27);
    std::tm fields{};
    int microseconds = 0;
    char end = 0;
    ASSERT_EQ(std::sscanf(created.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%6d%c", &fields.tm_year, &fields.tm_mon,
                          &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec, &microseconds,
                          &end),
              8)
        << created;
    EXPECT_EQ(end, 'Z');
    EXPECT_EQ(created.find('.'), 19U); // every field at its full width
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    const auto written =
        std::chrono::system_clock::from_time_t(timegm(&fields)) + std::chrono::microseconds(microseconds);
    EXPECT_GE(written, std::chrono::floor<std::chrono::microseconds>(before));
    EXPECT_LE(written, after);
}

TEST(StreamFileHeader, TextsAreEscaped) {
    StreamFileHeader header = sampleHeader();
    header.application = "a\"b";
    header.device_product = "c\\d";
    header.device_serial = std::string("S\x01") + "N";
    header.device_port = "e\nf";
    header.created_utc = "g\th";
    header.raw64_tag_format = "i\rj";
    const std::string json = detail::stream_header_to_json(header);
    for (const char* part :
         {R"("application":"a\"b")", R"("device_product":"c\\d")", R"("device_serial":"S?N")",
          R"("device_port":"e\nf")", R"("created_utc":"g\th")", R"("raw64_tag_format":"i\rj")"}) {
        EXPECT_TRUE(contains(json, part)) << part;
    }
}

TEST(JsonEscape, TreatsEachByteAlone) {
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        std::string expected = text;
        if (byte == '\t') {
            expected = "\\t";
        } else if (byte == '\n') {
            expected = "\\n";
        } else if (byte == '\r') {
            expected = "\\r";
        } else if (byte == '"') {
            expected = "\\\"";
        } else if (byte == '\\') {
            expected = "\\\\";
        } else if (byte < 32) {
            expected = "?";
        }
        EXPECT_EQ(detail::json_escape("a" + text + "b"), "a" + expected + "b") << byte;
    }
    EXPECT_EQ(detail::json_escape(""), "");
    EXPECT_EQ(detail::json_escape("Größe µ"), "Größe µ");
    EXPECT_EQ(detail::json_escape(std::string_view("a\0b", 3)), "a?b");
}

} // namespace
} // namespace qorn::timing
