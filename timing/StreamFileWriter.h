// Writes one stream file: magic, JSON header, then whatever records the owner appends. While it is
// open the file is locked (flock), so that tools can tell that it is being written.
#pragma once

#include "FileDescriptor.h"
#include "StreamFileHeader.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace qorn::timing {

// A plain single-threaded object; the destructor closes the file and swallows failures. Whatever ends it, a
// full disk too, the file holds whole records.
class StreamFileWriter {
public:
    StreamFileWriter() = default;
    ~StreamFileWriter();
    StreamFileWriter(const StreamFileWriter&) = delete;
    StreamFileWriter& operator=(const StreamFileWriter&) = delete;

    // Is given the records that the system has taken, whole ones and in order, and nothing else: whatever
    // fails, it knows what is in the file.
    using RecordSink = std::function<void(std::span<const std::uint8_t>)>;
    void set_record_sink(RecordSink receiver) { sink = std::move(receiver); }

    // What becomes of a file that is there already: it is emptied, or opening is refused unless it is none
    // of a file system, such as a pipe.
    enum class Existing { Empty, Refuse };

    // Closes an open file, opens `path` (UTF-8) and writes the header. Throws Error with status -2 when the
    // file cannot be opened or written, or is locked by another writer, which keeps what is in it; -1 when
    // the header is too large.
    void open(const std::string& path, const StreamFileHeader& header, Existing existing = Existing::Empty);

    // Appends whole records; small amounts wait in a buffer. Throws Error: -6 when no file is open or an
    // earlier write failed, -1 for a null pointer with a size, -2 when the write fails.
    void append(std::span<const std::uint8_t> payload, std::uint64_t records);

    // Hands what waits in the buffer to the system. Throws Error as append() does.
    void flush();

    // Flushes and closes. Throws Error with status -2 when the last bytes could not be written.
    void close();

    // Why the system failed to open, write or close the latest file, in its words; empty when it did not.
    const std::string& failure_reason() const { return failureReason; }
    const std::string& path() const { return filePath; } // of the latest file

    // Keeps the lock of the open file beyond its closing, for as long as the result lasts.
    FileDescriptor hold_lock() const;

    bool is_open() const { return file.is_open(); }
    std::uint64_t records_written() const { return recordsWritten; }
    std::span<const std::uint8_t> head() const { return headImage; } // of the latest file: up to its records
    std::uint64_t bytes_written() const { return bytesWritten; }     // header included

    // False when the path of the open file leads to it no more: it was removed, moved or replaced. Its
    // records still go to it.
    bool is_in_place() const;

private:
    void requireOpen() const;
    bool flushBuffer();
    bool put(std::span<const std::uint8_t> bytes);
    bool write(std::span<const std::uint8_t> bytes);
    std::size_t pieceSize(std::size_t left) const;
    void dropPartOfRecord();
    void tellSink(std::span<const std::uint8_t> taken) const;

    FileDescriptor file;
    std::string filePath;
    RecordSink sink;
    std::vector<std::uint8_t> headImage;
    std::vector<std::uint8_t> buffer;
    std::size_t buffered = 0;
    bool failed = false; // a write has; nothing follows in this file
    std::string failureReason;
    std::uint64_t recordBytes = 1;
    std::uint64_t fileBytes = 0; // that the system has taken
    std::uint64_t recordsWritten = 0;
    std::uint64_t bytesWritten = 0;
};

} // namespace qorn::timing
