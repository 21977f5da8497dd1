#include "MeasurementLogReader.h"

#include "TemporaryFolder.h"

#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace qorn::testing {
namespace {

// Thrown within this file where the bytes end too early.
struct CutOff {};

[[noreturn]] void malformed(const std::string& what) {
    throw std::runtime_error("MeasurementLogReader: " + what);
}

// --- binary ------------------------------------------------------------------------------------------------

constexpr std::uint32_t kNull = 0xFFFFFFFF;

void appendUtf8(std::string& out, std::uint32_t point) {
    if (point < 0x80) {
        out += static_cast<char>(point);
        return;
    }
    const int more = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
    const std::uint32_t lead = more == 1 ? 0xC0 : more == 2 ? 0xE0 : 0xF0;
    out += static_cast<char>(lead | point >> (6 * more));
    for (int left = more - 1; left >= 0; --left) {
        out += static_cast<char>(0x80 | (point >> (6 * left) & 0x3F));
    }
}

class ByteParser {
public:
    explicit ByteParser(std::span<const std::uint8_t> all) : bytes(all) {}

    std::size_t position() const { return at; }
    std::size_t left() const { return bytes.size() - at; }
    void rewind(std::size_t position) { at = position; }

    std::span<const std::uint8_t> take(std::size_t count) {
        if (count > left()) {
            throw CutOff{};
        }
        at += count;
        return bytes.subspan(at - count, count);
    }

    std::uint32_t number() {
        const auto four = take(4);
        return std::uint32_t{four[0]} | std::uint32_t{four[1]} << 8 | std::uint32_t{four[2]} << 16 |
               std::uint32_t{four[3]} << 24;
    }

    std::string byteArray() {
        const std::uint32_t size = number();
        const auto raw = take(size == kNull ? 0 : size);
        return {raw.begin(), raw.end()};
    }

    std::string text() {
        const std::uint32_t size = number();
        if (size != kNull && size % 2 != 0) {
            malformed("a text of " + std::to_string(size) + " bytes");
        }
        const auto raw = take(size == kNull ? 0 : size);
        std::string out;
        for (std::size_t i = 0; i < raw.size(); i += 2) {
            std::uint32_t unit = unitAt(raw, i);
            if (unit >= 0xD800 && unit < 0xDC00 && i + 2 < raw.size()) {
                i += 2;
                unit = 0x10000 + ((unit - 0xD800) << 10) + (unitAt(raw, i) - 0xDC00);
            }
            appendUtf8(out, unit);
        }
        return out;
    }

    std::vector<std::string> texts() {
        const std::uint32_t count = number();
        std::vector<std::string> out;
        for (std::uint32_t i = 0; i < count; ++i) {
            out.push_back(text());
        }
        return out;
    }

private:
    static std::uint32_t unitAt(std::span<const std::uint8_t> raw, std::size_t at) {
        return std::uint32_t{raw[at]} | std::uint32_t{raw[at + 1]} << 8;
    }

    std::span<const std::uint8_t> bytes;
    std::size_t at = 0;
};

void readBinaryHeader(ByteParser& in, ReadLog& log) {
    const auto magic = in.take(7);
    if (std::string(magic.begin(), magic.end()) != "QORNLOG") {
        malformed("not the magic of a log");
    }
    if (const std::uint32_t version = in.number(); version != 1) {
        malformed("version " + std::to_string(version));
    }
    log.experiment = in.text();
    log.started = in.text();
    log.device = in.text();
    log.serial = in.text();
    log.source = in.text();
    log.streamTransport = in.text();
    log.settings = in.byteArray();
    log.columns = in.texts();
}

LogEntry readRecord(ByteParser& in, std::int32_t tag) {
    LogEntry entry;
    if (tag == -1) {
        entry.kind = LogEntry::Kind::Snapshot;
        entry.time = in.text();
        entry.plot = in.byteArray();
        return entry;
    }
    if (tag < 0) {
        malformed("the tag " + std::to_string(tag));
    }
    entry.fields = in.texts();
    if (entry.fields.size() != static_cast<std::size_t>(tag)) {
        malformed("the tag " + std::to_string(tag) + " ahead of " + std::to_string(entry.fields.size()) +
                  " fields");
    }
    return entry;
}

// --- text --------------------------------------------------------------------------------------------------

// The rest of the line, without its end.
std::string takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) {
        throw CutOff{};
    }
    std::string line(text.substr(0, end));
    text.remove_prefix(end + 1);
    return line;
}

// One row; a quoted field can hold line ends.
std::vector<std::string> takeRow(std::string_view& text) {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (quoted && c == '"' && at + 1 < text.size() && text[at + 1] == '"') {
            fields.back() += '"';
            ++at;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && c == ',') {
            fields.emplace_back();
        } else if (!quoted && c == '\n') {
            text.remove_prefix(at + 1);
            return fields;
        } else {
            fields.back() += c;
        }
    }
    throw CutOff{};
}

std::string takeHeading(std::string_view& text, std::string_view key) {
    const std::string line = takeLine(text);
    if (!line.starts_with(key)) {
        malformed("\"" + line + "\" instead of a line \"" + std::string(key) + "\"");
    }
    return line.substr(key.size());
}

void readTextHeader(std::string_view& text, ReadLog& log) {
    if (takeLine(text) != "# QORN Timing measurement log") {
        malformed("not the first line of a log");
    }
    log.experiment = takeHeading(text, "# Experiment: ");
    log.started = takeHeading(text, "# Started: ");
    log.device = takeHeading(text, "# Device: ");
    log.serial = takeHeading(text, "# Serial: ");
    log.source = takeHeading(text, "# Source: ");
    log.streamTransport = takeHeading(text, "# Stream transport: ");
    log.settings = takeHeading(text, "# Settings JSON: ");
    log.columns = takeRow(text);
    if (log.columns == std::vector<std::string>{""}) {
        log.columns.clear();
    }
}

// The plot's head and points: lines of three fields.
std::string takePlot(std::string_view& text) {
    if (text.empty()) {
        return {};
    }
    std::string plot;
    while (!text.empty() && !text.starts_with("# ")) {
        std::string_view rest = text;
        try {
            if (takeRow(rest).size() != 3) {
                break;
            }
        } catch (const CutOff&) {
            break;
        }
        plot += text.substr(0, text.size() - rest.size());
        text = rest;
    }
    if (!plot.starts_with("series,x,y\n")) {
        malformed("a snapshot without the head of a plot");
    }
    return plot;
}

LogEntry readTextEntry(std::string_view& text, ReadLog& log) {
    static constexpr std::string_view kSnapshot = "# Plot snapshot: ";
    static constexpr std::string_view kStopped = "# Stopped: ";
    LogEntry entry;
    if (text.starts_with(kSnapshot)) {
        entry.kind = LogEntry::Kind::Snapshot;
        entry.time = takeHeading(text, kSnapshot);
        entry.plot = takePlot(text);
    } else if (text.starts_with(kStopped)) {
        log.stopped = takeHeading(text, kStopped);
        log.ended = true;
    } else if (text.starts_with("# ")) {
        entry.fields = {takeLine(text)};
    } else {
        entry.fields = takeRow(text);
    }
    return entry;
}

} // namespace

std::vector<std::vector<std::string>> ReadLog::rows() const {
    std::vector<std::vector<std::string>> out;
    for (const LogEntry& entry : entries) {
        if (entry.kind == LogEntry::Kind::Row) {
            out.push_back(entry.fields);
        }
    }
    return out;
}

std::vector<LogEntry> ReadLog::snapshots() const {
    std::vector<LogEntry> out;
    for (const LogEntry& entry : entries) {
        if (entry.kind == LogEntry::Kind::Snapshot) {
            out.push_back(entry);
        }
    }
    return out;
}

ReadLog readBinaryLog(std::span<const std::uint8_t> bytes) {
    ReadLog log;
    ByteParser in(bytes);
    try {
        readBinaryHeader(in, log);
    } catch (const CutOff&) {
        malformed("the header is cut off");
    }
    while (in.left() > 0) {
        const std::size_t begin = in.position();
        try {
            const auto tag = static_cast<std::int32_t>(in.number());
            if (tag == 0 && in.left() == 0) {
                log.ended = true;
                break;
            }
            log.entries.push_back(readRecord(in, tag));
        } catch (const CutOff&) {
            in.rewind(begin);
            log.leftOver = in.left();
            break;
        }
    }
    return log;
}

ReadLog readTextLog(std::span<const std::uint8_t> bytes) {
    ReadLog log;
    const std::string all(bytes.begin(), bytes.end());
    std::string_view text = all;
    try {
        readTextHeader(text, log);
    } catch (const CutOff&) {
        malformed("the header is cut off");
    }
    while (!text.empty()) {
        if (log.ended) {
            malformed("something stands behind the end");
        }
        const std::size_t left = text.size();
        try {
            LogEntry entry = readTextEntry(text, log);
            if (!log.ended) {
                log.entries.push_back(std::move(entry));
            }
        } catch (const CutOff&) {
            log.leftOver = left;
            break;
        }
    }
    return log;
}

ReadLog readLog(const std::string& path) {
    if (!std::filesystem::exists(path)) {
        malformed("no file " + path);
    }
    const Bytes bytes = readBytes(path);
    return std::filesystem::path(path).extension() == ".qornlog" ? readBinaryLog(bytes) : readTextLog(bytes);
}

} // namespace qorn::testing
