// Checks recordings against their companions.
#pragma once

#include "Companions.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qorn::qornts {

struct Verification {
    std::vector<std::string> faults;       // one sentence each; empty when both files are whole and agree
    std::vector<std::string> reservations; // see Companions.h
};

// What is wrong with a recording and its companion. A recording that goes on meanwhile has no other fault
// than that. Throws std::exception when the recording cannot be read at all.
Verification verificationOf(const std::filesystem::path& path);

// What contradicts the companion in the records that it tells of, up to the end of the file. The companion is
// one of this file.
std::vector<std::string> faultsOfRecords(const std::filesystem::path& path, const StreamFileFacts& file,
                                         const timing::RecordingCompanion& companion);

// Checks each file by itself: prints a line for each that is as it should be, and complains of what is not.
// False when there was something.
bool verifyRecordings(const std::vector<std::filesystem::path>& files);

} // namespace qorn::qornts
