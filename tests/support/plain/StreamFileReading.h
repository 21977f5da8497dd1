// What a StreamFileReader gives for a list of parts, collected.
#pragma once

#include "StreamFileReader.h"
#include "TimeTag.h"

#include <string>
#include <vector>

namespace qorn::testing {

// Reads the open file to its end.
inline std::vector<timing::TimeTag> readOn(timing::StreamFileReader& reader) {
    std::vector<timing::TimeTag> all;
    for (auto tags = reader.read(); !tags.empty(); tags = reader.read()) {
        all.insert(all.end(), tags.begin(), tags.end());
    }
    return all;
}

inline std::vector<timing::TimeTag> readParts(timing::StreamFileReader& reader,
                                              const std::vector<std::string>& parts) {
    std::vector<timing::TimeTag> all;
    for (const std::string& part : parts) {
        reader.open(part);
        const auto tags = readOn(reader);
        all.insert(all.end(), tags.begin(), tags.end());
    }
    return all;
}

} // namespace qorn::testing
