// What there is of a recording that may not have been ended.
#pragma once

#include "Companions.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace qorn::qornts {

struct Remains {
    StreamFileFacts file;                           // its whole records alone, without the two that follow
    std::uint64_t zeroWords = 0;                    // behind the records
    std::uint64_t oddBytes = 0;                     // behind those: part of a record
    std::optional<timing::RecordingCompanion> last; // that can be used
    std::string broken;                             // what is wrong with one that cannot

    // That the companion tells of and the file does not have.
    std::uint64_t missingRecords() const;
    // The first record of which no companion has told; their number when all were told of.
    std::uint64_t firstUnvouched() const;
    // Whether the companion holds what a new one will not.
    bool keepsLast() const;
    bool isWhole() const;
    // In bytes, of the part of the file that is to stay.
    std::uint64_t end() const { return file.head.size() + file.payloadBytes; }
};

// Of a file that nobody writes to. Words of zeros at its end, of which the companion does not tell, are no
// records: a crash of the machine leaves them where a file had grown and the bytes were not yet on the disk.
// A single one is, as it may be a tag of time 0. Throws as streamFileFacts, and for a file that cannot be
// read.
Remains remainsOf(const std::filesystem::path& path);

} // namespace qorn::qornts
