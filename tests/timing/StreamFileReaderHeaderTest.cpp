// Headers of stream files that were written by somebody else, by accident, or to do harm.
#include "StreamFileReader.h"

#include "Error.h"
#include "LargeJson.h"
#include "ProcessorTime.h"
#include "StreamFileReading.h"
#include "StreamFiles.h"
#include "TagGenerator.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>

namespace qorn::timing {
namespace {

using testing::Bytes;
using testing::HeaderText;
using testing::TemporaryFolder;

Bytes oneTag() {
    return testing::raw64Stream({testing::raw64Picoseconds(2, 5)});
}

class FileHead : public ::testing::Test {
protected:
    // A file of its own each time: to write over one is slow on some file systems.
    void write(const Bytes& bytes) {
        std::filesystem::remove(path);
        testing::writeBytes(path, bytes);
    }

    std::optional<Error> errorOfOpening(const Bytes& bytes) {
        write(bytes);
        try {
            StreamFileReader reader;
            reader.open(path);
        } catch (const Error& error) {
            return error;
        }
        return std::nullopt;
    }

    void expectRefused(const Bytes& bytes, const std::string& what) {
        const auto error = errorOfOpening(bytes);
        ASSERT_TRUE(error.has_value()) << what;
        const std::string text = error->what();
        EXPECT_EQ(error->status(), -1) << what << ": " << text;
        EXPECT_TRUE(text.starts_with("StreamFileReader: ")) << what << ": " << text;
        EXPECT_NE(text.find(path), std::string::npos) << what << ": " << text;
        EXPECT_LT(text.size(), path.size() + 300) << what << ": " << text;
        for (const char byte : text) {
            EXPECT_GE(static_cast<unsigned char>(byte), 32) << "one line: " << what << ": " << text;
        }
    }
    void expectJsonRefused(const std::string& json) {
        Bytes bytes = testing::streamFileHead(json);
        testing::appendBytes(bytes, oneTag());
        expectRefused(bytes, json.substr(0, 400));
    }
    void expectAccepted(const std::string& json) {
        testing::writeStreamFile(path, json, oneTag());
        StreamFileReader reader;
        ASSERT_NO_THROW(reader.open(path)) << json;
        EXPECT_EQ(testing::readOn(reader), (std::vector<TimeTag>{{2, 5}})) << json;
    }

    TemporaryFolder folder;
    std::string path = folder.file("run.qornts");
};

TEST_F(FileHead, TheMagicIsCheckedToItsLastByte) {
    Bytes good = testing::streamFileHead(HeaderText().json());
    testing::appendBytes(good, oneTag());
    EXPECT_FALSE(errorOfOpening(good).has_value());
    for (std::size_t index = 0; index < 8; ++index) {
        Bytes bytes = good;
        bytes[index] ^= 0x20;
        expectRefused(bytes, "magic byte " + std::to_string(index));
    }
    Bytes otherLineEnd = good;
    otherLineEnd[7] = '\r';
    otherLineEnd.insert(otherLineEnd.begin() + 8, '\n');
    expectRefused(otherLineEnd, "sent as text");
}

TEST_F(FileHead, FilesOfOtherKindsAreRefused) {
    for (const std::string& content : {std::string("channel,time_ps\n1,123\n"), HeaderText().json(),
                                       std::string("\x7F"
                                                   "ELF\x02\x01"),
                                       std::string(100, '\0'), std::string("\n"), std::string("QORNTS1")}) {
        expectRefused(Bytes(content.begin(), content.end()), content);
    }
}

TEST_F(FileHead, TheLengthMustBeThatOfTheJson) {
    const std::string json = HeaderText().json();
    const Bytes good = testing::streamFileHead(json);
    for (const std::uint32_t length :
         {std::uint32_t{0}, std::uint32_t{1}, static_cast<std::uint32_t>(json.size() - 1),
          static_cast<std::uint32_t>(json.size() + 1), static_cast<std::uint32_t>(json.size() + 9),
          std::uint32_t{0x7FFFFFFF}, std::uint32_t{0x80000000}, std::uint32_t{0xFFFFFFFF},
          std::uint32_t{0xFFFFFFF4}}) {
        Bytes bytes(good.begin(), good.begin() + 8);
        testing::appendLittle32(bytes, length);
        bytes.insert(bytes.end(), json.begin(), json.end());
        testing::appendBytes(bytes, oneTag());
        expectRefused(bytes, "length " + std::to_string(length));
    }
}

TEST_F(FileHead, AForgedLengthOfAHugeFileIsNotAllocated) {
    // 4 GiB of zeros on the disk's paper only: a header of that size is no header.
    Bytes bytes = testing::streamFileHead(HeaderText().json());
    for (std::size_t index = 8; index < 12; ++index) {
        bytes[index] = 0xFF;
    }
    testing::writeBytes(path, bytes);
    std::filesystem::resize_file(path, std::uintmax_t{5} << 30);
    StreamFileReader reader;
    try {
        reader.open(path);
        FAIL() << "opened";
    } catch (const Error& error) {
        EXPECT_EQ(error.status(), -1) << error.what();
    }
}

TEST_F(FileHead, WhatIsNoJsonObjectIsRefused) {
    const std::string good = HeaderText().json();
    std::vector<std::string> texts{"",
                                   " ",
                                   "null",
                                   "true",
                                   "12",
                                   "\"text\"",
                                   "[]",
                                   "[" + good + "]",
                                   "{}",
                                   "{",
                                   good + "}",
                                   good + good,
                                   good + "x",
                                   "x" + good,
                                   good + ",",
                                   "," + good,
                                   std::string("\xEF\xBB\xBF") + good + "\xEF",
                                   "{'file_type':1}"};
    for (std::size_t size = 1; size < good.size(); ++size) {
        texts.push_back(good.substr(0, size));
    }
    texts.push_back(std::string(200'000, '['));
    texts.push_back(std::string(200'000, '{'));
    std::string deep;
    for (int level = 0; level < 100'000; ++level) {
        deep += "{\"a\":";
    }
    texts.push_back(deep);
    for (const std::string& text : texts) {
        expectJsonRefused(text);
    }
}

TEST_F(FileHead, DeepNestingWhereItDoesNotMatterDoesNoHarm) {
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    testing::writeStreamFile(path, HeaderText().set("later", deep).json(), oneTag());
    StreamFileReader reader;
    try {
        reader.open(path);
        EXPECT_EQ(testing::readOn(reader), (std::vector<TimeTag>{{2, 5}}));
    } catch (const Error& error) { // a limit is as good
        EXPECT_EQ(error.status(), -1);
    }
}

TEST_F(FileHead, AMegabyteOfValuesIsRefusedAtOnceWithThePlace) {
    constexpr std::size_t kBytes = 1'040'000;
    constexpr double kMostSeconds = 5; // it takes some milliseconds
    for (const std::string& values :
         {testing::jsonListOf("{}", kBytes), testing::jsonListOf("[0]", kBytes),
          testing::jsonListOf("0", kBytes), testing::jsonListOf(R"({"a":{"b":{"c":{}}}})", kBytes),
          testing::jsonObjectOfKeys(kBytes)}) {
        Bytes bytes = testing::streamFileHead(HeaderText().set("later", values).json());
        testing::appendBytes(bytes, oneTag());
        std::optional<Error> error;
        EXPECT_LT(testing::threadSecondsOf([&] { error = errorOfOpening(bytes); }), kMostSeconds);
        ASSERT_TRUE(error.has_value()) << values.substr(0, 40);
        EXPECT_TRUE(std::string(error->what())
                        .starts_with("StreamFileReader: " + path +
                                     ": the header holds more than 4096 values, near byte "))
            << error->what();
    }
    const std::string unkept = "[[" + testing::jsonListOf("{}", kBytes) + "]]";
    EXPECT_LT(testing::threadSecondsOf([&] { expectAccepted(HeaderText().set("later", unkept).json()); }),
              kMostSeconds);
}

TEST_F(FileHead, SyntaxErrorsAreRefused) {
    const auto withValue = [](const std::string& value) {
        return HeaderText().set("application", value).json();
    };
    for (const std::string& value : {std::string("\"open"),
                                     std::string(R"("a\")"),
                                     std::string(R"("a\x")"),
                                     std::string(R"("\u12")"),
                                     std::string(R"("\u12G4")"),
                                     std::string(R"("\ud800")"),
                                     std::string(R"("\udc00\ud800")"),
                                     std::string("\"a\nb\""),
                                     std::string("\"\x01\""),
                                     std::string("\"\xFF\xFE\""),
                                     std::string("\"\xC3\""),
                                     std::string(""),
                                     std::string("text"),
                                     std::string("'text'"),
                                     std::string("01"),
                                     std::string("1."),
                                     std::string("+1"),
                                     std::string(".5"),
                                     std::string("1e"),
                                     std::string("NaN"),
                                     std::string("[1,]"),
                                     std::string("{\"a\":1,}"),
                                     std::string("{\"a\"}")}) {
        expectJsonRefused(withValue(value));
    }
}

TEST_F(FileHead, WhatIsNeededToReadTheStreamMustBeThere) {
    for (const char* key : {"file_type", "schema_version", "stream_format", "mode", "stream_transport",
                            "raw64_tag_format", "channel_mask", "packed_delta_config"}) {
        expectJsonRefused(HeaderText().remove(key).json());
    }
    expectJsonRefused(HeaderText().set("packed_delta_config", "{}").json());
    expectJsonRefused(HeaderText().set("packed_delta_config", R"({"delta_bits":16})").json());
    expectJsonRefused(HeaderText().set("packed_delta_config", R"({"quantum_ps":8})").json());
}

TEST_F(FileHead, EveryMemberHasItsType) {
    const std::vector<std::string> values{"null", "true", "1", "-1", "\"text\"", "[]", "{}", "[1]"};
    const std::vector<std::string> numbers{"schema_version", "channel_mask", "tdl_index"};
    for (const std::string& key : HeaderText().keys()) {
        const bool number = std::find(numbers.begin(), numbers.end(), key) != numbers.end();
        for (const std::string& value : values) {
            const bool right = key == "packed_delta_config" ? false
                               : number                     ? value == "1"
                                                            : value == "\"text\"";
            if (!right) {
                expectJsonRefused(HeaderText().set(key, value).json());
            }
        }
    }
}

TEST_F(FileHead, NumbersMustBeWholeAndInRange) {
    for (const char* value : {"-1", "256", "1.5", "1e3", "99999999999999999999", "1e400", "-0.5", "\"15\""}) {
        expectJsonRefused(HeaderText().set("channel_mask", value).json());
        expectJsonRefused(HeaderText().set("tdl_index", value).json());
        expectJsonRefused(
            HeaderText()
                .set("packed_delta_config", std::string(R"({"delta_bits":)") + value + R"(,"quantum_ps":8})")
                .json());
    }
    for (const char* value : {"-1", "65536", "0.5", "99999999999999999999", "\"8\""}) {
        expectJsonRefused(
            HeaderText()
                .set("packed_delta_config", std::string(R"({"delta_bits":16,"quantum_ps":)") + value + "}")
                .json());
    }
}

TEST_F(FileHead, UnknownKindsAreRefused) {
    for (const char* kind : {"", "qorn_timing", "QORN_TIMING_RAW_STREAM_CAPTURE", "other"}) {
        expectJsonRefused(HeaderText().setText("file_type", kind).json());
    }
    for (const char* version : {"0", "2", "-1", "1.5", "4294967297"}) {
        expectJsonRefused(HeaderText().set("schema_version", version).json());
    }
    for (const char* format : {"", "raw32", "RAW64", "delta", "raw64 "}) {
        expectJsonRefused(HeaderText().setText("stream_format", format).json());
    }
    for (const char* mode : {"", "External", "both"}) {
        expectJsonRefused(HeaderText().setText("mode", mode).json());
    }
    for (const char* transport : {"", "USB", "serial"}) {
        expectJsonRefused(HeaderText().setText("stream_transport", transport).json());
    }
}

TEST_F(FileHead, OtherSpellingsOfTheSameAreAccepted) {
    const std::string good = HeaderText().json();
    expectAccepted(good);
    expectAccepted(" \t\r\n" + good + "\n\n");
    std::string spaced;
    for (const char byte : good) { // no text of it holds any of these
        spaced += byte;
        if (byte == '{' || byte == '}' || byte == ',') {
            spaced += "\n  ";
        }
    }
    expectAccepted(spaced);
    expectAccepted("{\"later\":{\"a\":[1,2.5e-3,null,true,{\"b\":\"\\u00e4\"}]}," + good.substr(1));
    expectAccepted(HeaderText().set("application", R"("\u0051\u006F\/\b\f")").json());
    expectAccepted(HeaderText().setText("device_serial", "").json());
    HeaderText moved;
    moved.remove("file_type").setText("file_type", "qorn_timing_raw_stream_capture");
    expectAccepted(moved.json());
    expectAccepted(HeaderText().set("channel_mask", "0").json()); // stands for all four
}

TEST_F(FileHead, EscapedTextsComeBack) {
    testing::writeStreamFile(
        path, HeaderText().set("application", R"("a\"b\\c\/d\t\n\r\u0041\u00e4\u20ac\ud83d\ude00")").json(),
        oneTag());
    StreamFileReader reader;
    reader.open(path);
    EXPECT_EQ(reader.header().application, "a\"b\\c/d\t\n\rAä€😀");
}

TEST_F(FileHead, AnyDamageIsRefusedOrRead) {
    const Bytes good = [] {
        Bytes bytes = testing::streamFileHead(HeaderText().json());
        testing::appendBytes(bytes, oneTag());
        return bytes;
    }();
    testing::RandomSource random(5);
    int refused = 0;
    for (int round = 0; round < 4000; ++round) {
        Bytes bytes = good;
        for (int change = random.between(1, 3); change > 0; --change) {
            const std::size_t at = random.below(bytes.size());
            switch (random.between(0, 2)) {
            case 0:
                bytes[at] = static_cast<std::uint8_t>(random.bits());
                break;
            case 1:
                bytes.erase(bytes.begin() + static_cast<std::ptrdiff_t>(at));
                break;
            default:
                bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                             static_cast<std::uint8_t>(random.bits()));
            }
        }
        write(bytes);
        StreamFileReader reader;
        try {
            reader.open(path);
            EXPECT_LE(testing::readOn(reader).size(), 1U + good.size() / 8);
        } catch (const Error& error) {
            EXPECT_EQ(error.status(), -1) << error.what();
            EXPECT_TRUE(std::string(error.what()).starts_with("StreamFileReader: ")) << error.what();
            ++refused;
        }
    }
    EXPECT_GT(refused, 2000);
    EXPECT_LT(refused, 4000);
}

} // namespace
} // namespace qorn::timing
