// Reads the tags of one recorded stream from its files, part after part, with constant memory. Nothing in a
// file is trusted. A plain single-threaded object, built anew for each stream.
#pragma once

#include "FileDescriptor.h"
#include "StreamBuffer.h"
#include "StreamDecoder.h"
#include "StreamFileHeader.h"
#include "StreamTimeAxis.h"
#include "TimeTag.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qorn::timing {

// The times of raw64 "ps" records are unwrapped against the latest time of the whole stream, so a channel
// that was silent for longer than the counter's period comes back right as long as others were not. Other
// formats go through StreamDecoder.
//
// Errors have a text that begins with "StreamFileReader: " and names the path.
class StreamFileReader {
public:
    StreamFileReader();
    StreamFileReader(const StreamFileReader&) = delete;
    StreamFileReader& operator=(const StreamFileReader&) = delete;

    // Opens the first file of the stream, or its next part, which continues the time axis and must have the
    // format, mode, packed configuration and serial of the parts before. Throws Error with status -2 when the
    // file cannot be read, -1 when it is no stream file, has a broken header or is no such part; the reader
    // is then as before.
    void open(const std::filesystem::path& path);

    // The next tags in stream order, times in ps, valid until the next call; empty at the end of the file.
    // Throws Error: -2 when reading fails; -1, once, when whole records were given and the last one is cut
    // off.
    std::span<const TimeTag> read();

    // Of the open file.
    const StreamFileHeader& header() const { return fileHeader; }
    std::uint64_t payload_bytes() const { return payloadBytes; } // as found at open()
    std::uint64_t bytes_read() const { return bytesRead; }       // of the payload

    // Of all parts so far. Gaps: see StreamTimeAxis. Skipped bytes are no records; counted for raw64 "ps".
    std::uint64_t doubtful_gaps() const { return axis.doubtful_gaps(); }
    std::uint64_t skipped_bytes() const { return skippedBytes; }

private:
    std::span<const std::uint8_t> readBlock();
    std::span<const TimeTag> decode(std::span<const std::uint8_t> bytes);
    std::span<const TimeTag> decodePicoseconds(std::span<const std::uint8_t> bytes);
    bool endsInsideRecord() const;
    std::string inFile(const std::string& what) const;

    // Of the open file.
    FileDescriptor file;
    std::filesystem::path filePath;
    StreamFileHeader fileHeader;
    std::uint64_t payloadBytes = 0;
    std::uint64_t bytesRead = 0;
    bool endReported = true;
    std::size_t held = 0; // bytes at the front of the block that wait for the rest of their record

    // Of the stream.
    StreamTimeAxis axis;                  // for raw64 "ps"
    std::optional<StreamDecoder> decoder; // for all others
    std::uint64_t skippedBytes = 0;
    std::vector<std::uint8_t> block;
    TagBuffer tags;
};

} // namespace qorn::timing
