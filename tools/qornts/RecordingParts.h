// The files of one recording, read as one stream of tags.
#pragma once

#include "RecordingCompanion.h"
#include "StreamFileReader.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace qorn::qornts {

class RecordingParts {
public:
    // Checks that all files are parts of one recording, and takes their companions. Throws timing::Error.
    explicit RecordingParts(std::vector<std::filesystem::path> files);

    // The next tags in stream order, times in ps, valid until the next call; empty behind the last part.
    // Throws timing::Error; a later call goes on behind the failure.
    std::span<const timing::TimeTag> read();

    const std::vector<std::filesystem::path>& paths() const { return files; }
    const timing::StreamFileHeader& header() const { return first; } // of the first part
    std::uint64_t payloadBytes() const { return total; }             // of all parts
    std::uint64_t bytesRead() const { return before + reader.bytes_read(); }

    // Of the parts, in order, when each has one that fits: then times are absolute. Else none.
    const std::vector<timing::RecordingCompanion>& companions() const { return partCompanions; }

    // What is to be said of the tags that were read: one sentence each.
    std::vector<std::string> warnings() const;

private:
    void findCompanions();
    void warnOfSameFiles();
    void warnOfTimes(); // by the companions
    void endPart();

    std::vector<std::filesystem::path> files;
    timing::StreamFileHeader first;
    std::vector<timing::RecordingCompanion> partCompanions;
    std::vector<std::string> partWarnings;
    std::uint64_t total = 0;
    timing::StreamFileReader reader;
    std::size_t opened = 0;
    bool partEnded = true;
    std::uint64_t before = 0; // bytes of the parts before the open one
};

} // namespace qorn::qornts
