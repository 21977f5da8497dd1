// Any bytes as a stream file, and as the next part of a good one: refused with a text that names the file and
// without effect, or read to its end with every byte accounted for.
#include "Error.h"
#include "FileDescriptor.h"
#include "FuzzTarget.h"
#include "StreamDecoder.h"
#include "StreamFileReader.h"
#include "StreamHeaderJson.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/mman.h>

namespace {

using namespace qorn::timing;
using qorn::testing::require;
using Bytes = std::span<const std::uint8_t>;

// A regular file without a folder.
class MemoryFile {
public:
    explicit MemoryFile(Bytes content) : file(::memfd_create("stream", MFD_CLOEXEC)) {
        require(file.is_open() && file.write(content) == content.size(), "there is a file");
    }
    std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(file.get()); }

private:
    FileDescriptor file;
};

struct Reading {
    std::vector<TimeTag> tags;
    bool cutOff = false;
};

void checkRefusal(const Error& error, const MemoryFile& file) {
    require(error.status() == TT_FAILED, "a file that can be read is refused for what it holds");
    require(std::string(error.what()).starts_with("StreamFileReader: " + file.path().string() + ": "),
            "a refusal names the file");
}

// Reads the open file to its end.
Reading readAll(StreamFileReader& reader, const MemoryFile& file) {
    Reading reading;
    for (;;) {
        try {
            const auto tags = reader.read();
            if (tags.empty()) {
                break;
            }
            reading.tags.insert(reading.tags.end(), tags.begin(), tags.end());
        } catch (const Error& error) {
            checkRefusal(error, file);
            require(!reading.cutOff, "a cut record is told once");
            reading.cutOff = true;
        }
    }
    require(reader.bytes_read() == reader.payload_bytes(), "all of the payload is read");
    for (const TimeTag& tag : reading.tags) {
        require(tag.channel < kChannels, "a tag is of one of four inputs");
    }
    return reading;
}

void checkHeader(const StreamFileHeader& header) {
    if (header.created_utc.empty()) {
        return; // an empty one is written as the time of now
    }
    const std::string json = detail::stream_header_to_json(header);
    const StreamFileHeader again = detail::stream_header_from_json(json);
    require(detail::stream_header_to_json(again) == json, "a header that was read is written as it was");
}

void checkTags(const StreamFileReader& reader, const Reading& reading, Bytes payload) {
    const StreamFileHeader& header = reader.header();
    if (header.format == StreamFormat::Raw64 && header.raw64_tag_format == "ps") {
        const std::uint64_t taken = reading.tags.size() * 8 + reader.skipped_bytes();
        require(taken <= payload.size() && payload.size() - taken < 8, "a byte is of a tag or is skipped");
        require((payload.size() != taken) == reading.cutOff, "a record that is cut off is told");
        return;
    }
    StreamDecoder decoder(header);
    const auto tags = decoder.feed(payload);
    require(std::ranges::equal(tags, reading.tags), "the tags are those of the stream");
}

// The file as the part behind one whose stream is known.
void checkAsNextPart(const MemoryFile& file, Bytes content) {
    StreamFileHeader header;
    header.mode = StreamMode::External;
    header.created_utc = "2024-05-06T07:08:09.123Z";
    const std::string json = detail::stream_header_to_json(header);
    std::vector<std::uint8_t> first(kStreamFileMagic.begin(), kStreamFileMagic.end());
    for (unsigned shift = 0; shift < 32; shift += 8) {
        first.push_back(static_cast<std::uint8_t>(json.size() >> shift));
    }
    first.insert(first.end(), json.begin(), json.end());
    first.insert(first.end(), {0x20, 0, 0, 0, 0, 0, 0, 5});
    const MemoryFile earlier(first);
    StreamFileReader reader;
    reader.open(earlier.path());
    try {
        reader.open(file.path());
    } catch (const Error& error) {
        checkRefusal(error, file);
        const Reading reading = readAll(reader, earlier);
        require(reading.tags.size() == 1 && reading.tags.front() == TimeTag{1, 5} && !reading.cutOff,
                "a refusal leaves the reader alone");
        return;
    }
    const Reading reading = readAll(reader, file);
    require(reading.tags.size() * 8 <= content.size(), "a part has no more tags than its bytes hold");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const Bytes content(bytes, size);
    const MemoryFile file(content);
    StreamFileReader reader;
    try {
        reader.open(file.path());
        require(reader.payload_bytes() <= size, "the payload is a part of the file");
        const Bytes payload = content.last(static_cast<std::size_t>(reader.payload_bytes()));
        checkHeader(reader.header());
        checkTags(reader, readAll(reader, file), payload);
    } catch (const Error& error) {
        checkRefusal(error, file);
        require(reader.read().empty() && reader.payload_bytes() == 0, "a refusal leaves the reader alone");
    }
    checkAsNextPart(file, content);
    return 0;
}
