// Reads the tags of one recorded stream from its files, part after part, with constant memory. Nothing in a
// file is trusted. A plain single-threaded object, built anew for each stream.
#pragma once

#include "FileDescriptor.h"
#include "RecordScan.h"
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

    // For the file that was just opened, of raw64 "ps" records: its tags get the times that its companion
    // tells of, which go over silences of any length. From a place on where the file does not agree with
    // them, or has bytes that are no records, it is left aside.
    void use_times(const RecordingCompanion& companion);

    // True when the times of the open file could not be those of its companion up to what was read.
    bool times_misfit() const { return misfit; }

    // The next tags in stream order, times in ps, valid until the next call; empty at the end of the file.
    // Throws Error: -2 when reading fails; -1, once, when whole records were given and the last one is cut
    // off.
    std::span<const TimeTag> read();

    // Of the open file.
    const StreamFileHeader& header() const { return fileHeader; }
    bool has_tag_words() const { return !decoder; }              // raw64 "ps"
    std::uint64_t head_bytes() const { return headBytes; }       // ahead of the payload
    std::uint64_t payload_bytes() const { return payloadBytes; } // as found at open()
    std::uint64_t bytes_read() const { return bytesRead; }       // of the payload

    // Of all parts so far. Gaps: see StreamTimeAxis. Skipped bytes are no records; counted for raw64 "ps".
    std::uint64_t doubtful_gaps() const { return timeline.axis().doubtful_gaps(); }
    std::uint64_t skipped_bytes() const { return skippedBytes; }

private:
    std::span<const std::uint8_t> readBlock();
    std::span<const TimeTag> decode(std::span<const std::uint8_t> bytes);
    std::span<const TimeTag> decodePicoseconds(std::span<const std::uint8_t> bytes);
    std::size_t decodeRun(std::span<const std::uint8_t> bytes, TimeTag*& tag);
    std::size_t decodePlace(std::span<const std::uint8_t> bytes, TimeTag*& tag);
    void leaveTimes();
    bool endsInsideRecord() const;
    std::string inFile(const std::string& what) const;

    // Of the open file.
    FileDescriptor file;
    std::filesystem::path filePath;
    StreamFileHeader fileHeader;
    std::uint64_t headBytes = 0;
    std::uint64_t payloadBytes = 0;
    std::uint64_t bytesRead = 0;
    bool endReported = true;
    std::size_t held = 0; // bytes at the front of the block that wait for the rest of their record

    std::uint64_t fileRecords = 0; // given so far
    bool misfit = false;

    // Of the stream.
    RecordTimeline timeline;              // for raw64 "ps"
    std::optional<StreamDecoder> decoder; // for all others
    std::uint64_t skippedBytes = 0;
    std::vector<std::uint8_t> block;
    TagBuffer tags;
};

} // namespace qorn::timing
