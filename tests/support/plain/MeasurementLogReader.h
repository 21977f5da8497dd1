// Reads measurement logs of both formats back, field by field, with a parser of its own: also what a process
// left behind that was killed while it wrote. All texts are UTF-8.
#pragma once

#include "StreamBuilder.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qorn::testing {

struct LogEntry {
    enum class Kind { Row, Snapshot };

    Kind kind = Kind::Row;
    std::vector<std::string> fields; // of a row; a free text is a row of one field
    std::string time;                // of a snapshot
    std::string plot;                // of a snapshot: the bytes or the lines of a plot file

    bool operator==(const LogEntry&) const = default;
};

struct ReadLog {
    std::string experiment;
    std::string started;
    std::string device;
    std::string serial;
    std::string source;
    std::string streamTransport;
    std::string settings;
    std::vector<std::string> columns;
    std::vector<LogEntry> entries;
    bool ended = false;                 // the end stands in the file
    std::optional<std::string> stopped; // the text format tells the time of the end
    std::size_t leftOver = 0;           // bytes of an entry that was cut off

    std::vector<std::vector<std::string>> rows() const;
    std::vector<LogEntry> snapshots() const;
};

// Throw std::runtime_error for a file that is no log or breaks the format in another way than by being cut
// off after its header.
ReadLog readBinaryLog(std::span<const std::uint8_t> bytes);
// Lines of three fields behind a snapshot's head belong to the plot, so the rows must have another number.
ReadLog readTextLog(std::span<const std::uint8_t> bytes);

// By the extension, "qornlog" or "csv".
ReadLog readLog(const std::string& path);

} // namespace qorn::testing
