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

// True when a program has the file open for recording now, or recovers it. False for what is no such file.
bool isBeingRecorded(const std::filesystem::path& path);

// Keeps others from recording or recovering the file that is open at `descriptor`, until that is closed.
// Throws std::runtime_error when somebody does so, or when the system cannot tell.
void lockForRecovery(int descriptor, const std::filesystem::path& path);

// Whether the companion was made for a file with this head.
bool isOfFile(const timing::RecordingCompanion& companion, const StreamFileFacts& file);

// What a companion that fits does not tell, or tells of losses: parts of a sentence.
std::vector<std::string> reservations(const timing::RecordingCompanion& companion);

// Those of them that let records or their times be doubted.
std::vector<std::string> doubts(const timing::RecordingCompanion& companion);

// What keeps the companion from being one of this file, as the rest of a sentence that names the companion;
// empty when nothing does. Says nothing about the records themselves.
std::string misfit(const timing::RecordingCompanion& companion, const StreamFileFacts& file);

struct CompanionSearch {
    std::optional<timing::RecordingCompanion> companion; // that fits
    std::string fault; // why not, as a sentence that names the companion; empty when there is none
};

CompanionSearch findCompanion(const std::filesystem::path& path);

// "1 record", "2 records"; for words that take an s.
std::string counted(std::uint64_t count, const std::string& what);

} // namespace qorn::qornts
