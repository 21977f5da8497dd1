// Writes one stream file: magic, JSON header, then whatever records the owner appends.
#pragma once

#include "StreamFileHeader.h"

#include <cstdint>
#include <fstream>
#include <span>
#include <string>
#include <vector>

namespace qorn::timing {

// A plain single-threaded object; the destructor closes the file and swallows failures.
class StreamFileWriter {
public:
    StreamFileWriter() = default;
    ~StreamFileWriter();
    StreamFileWriter(const StreamFileWriter&) = delete;
    StreamFileWriter& operator=(const StreamFileWriter&) = delete;

    // Closes an open file, truncates `path` (UTF-8) and writes the header. Throws Error with status -2 when
    // the file cannot be opened or written, -1 when the header is too large.
    void open(const std::string& path, const StreamFileHeader& header);

    // Appends whole records. Throws Error: -6 when no file is open or an earlier write failed, -1 for a null
    // pointer with a size, -2 when the write fails.
    void append(std::span<const std::uint8_t> payload, std::uint64_t records);

    // Flushes and closes. Throws Error with status -2 when the last bytes could not be written.
    void close();

    bool is_open() const { return stream.is_open(); }
    std::uint64_t records_written() const { return recordsWritten; }
    std::uint64_t bytes_written() const { return bytesWritten; } // header included

private:
    std::vector<char> buffer; // declared before the stream, which uses it until its end
    std::ofstream stream;
    std::uint64_t recordsWritten = 0;
    std::uint64_t bytesWritten = 0;
};

} // namespace qorn::timing
