// The companion files of recordings, as the commands use them.
#pragma once

#include "RecordingCompanion.h"
#include "StreamFileHeader.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace qorn::qornts {

// A stream file whose records have companions: raw64 "ps".
struct StreamFileFacts {
    std::vector<std::uint8_t> head; // magic, length and header
    timing::StreamFileHeader header;
    std::uint64_t payloadBytes = 0;

    std::uint64_t wholeRecords() const;
    std::uint64_t oddBytes() const; // behind them
};

// Throws timing::Error for a file that cannot be read or is no stream file, std::runtime_error for one of
// other records.
StreamFileFacts streamFileFacts(const std::filesystem::path& path);

// True when a program has the file open for recording now.
bool isBeingRecorded(const std::filesystem::path& path);

// Whether the companion was made for a file with this head.
bool isOfFile(const timing::RecordingCompanion& companion, const StreamFileFacts& file);

// What keeps the companion from being one of this file, as the rest of a sentence that names the companion;
// empty when nothing does. Says nothing about the records themselves.
std::string misfit(const timing::RecordingCompanion& companion, const StreamFileFacts& file);

struct CompanionSearch {
    std::optional<timing::RecordingCompanion> companion; // that fits
    std::string fault; // why not, as a sentence that names the companion; empty when there is none
};

CompanionSearch findCompanion(const std::filesystem::path& path);

// "1 record", "2 records".
std::string counted(std::uint64_t count, const std::string& what);

} // namespace qorn::qornts
