// Summary of a recording: what its files say of themselves, and what is in them.
#pragma once

#include "RecordingParts.h"
#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qorn::qornts {

// Counts the tags of a recording.
class TagStatistics {
public:
    void add(std::span<const timing::TimeTag> tags);

    std::uint64_t tags() const { return counts[0] + counts[1] + counts[2] + counts[3]; }
    std::uint64_t tagsOf(std::size_t channel) const { return counts[channel]; } // 0 to 3
    std::uint64_t spanPs() const; // from the earliest time to the latest; 0 without tags

private:
    std::array<std::uint64_t, timing::kChannels> counts{};
    std::int64_t earliest = 0;
    std::int64_t latest = 0;
};

// One "key: value" line for each property.
std::string describe(const RecordingParts& recording, const TagStatistics& statistics);

// Prints the summary, then warnings, and what is wrong with the files' ends. False when there was something.
// Throws std::exception when a file cannot be read at all.
bool printInfo(const std::vector<std::filesystem::path>& files);

} // namespace qorn::qornts
