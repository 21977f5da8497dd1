// Checks recordings against their companions.
#pragma once

#include "Companions.h"

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qorn::qornts {

// What is wrong with a recording and its companion, one sentence each; empty when both are whole and agree.
// Throws std::exception when the recording cannot be read at all.
std::vector<std::string> faultsOf(const std::filesystem::path& path);

// What contradicts the companion in the records that it tells of, up to the end of the file. The companion is
// one of this file.
std::vector<std::string> faultsOfRecords(const std::filesystem::path& path, const StreamFileFacts& file,
                                         const timing::RecordingCompanion& companion);

// Checks each file by itself: prints a line for each that is as it should be, and complains of what is not.
// False when there was something.
bool verifyRecordings(const std::vector<std::filesystem::path>& files);

} // namespace qorn::qornts
