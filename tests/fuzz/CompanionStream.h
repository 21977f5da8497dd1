// The small recording that the companions of the fuzz target tell of.
#pragma once

#include "StreamFileHeader.h"
#include "StreamHeaderJson.h"
#include "TagWords.h"
#include "TimeTag.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qorn::testing {

struct CompanionStream {
    std::vector<std::uint8_t> head; // magic, length and header
    std::vector<std::uint8_t> words;
};

// True times: some records close to each other, steps back, and silences of 5 s, 8 s, 100 s and 50 days.
inline std::vector<timing::TimeTag> companionTags() {
    constexpr std::int64_t kSecond = 1'000'000'000'000;
    std::vector<timing::TimeTag> tags;
    std::int64_t time = 3 * kSecond;
    for (int number = 0; number < 48; ++number) {
        switch (number % 12) {
        case 3:
            time += 5 * kSecond;
            break;
        case 5:
            time += 8 * kSecond;
            break;
        case 7:
            time += (number == 31 ? 50 * 86400 : 100) * kSecond;
            break;
        case 9:
            time -= 2 * kSecond;
            break;
        default:
            time += 1'000'003;
        }
        tags.push_back({static_cast<std::uint8_t>(number % timing::kChannels), time});
    }
    return tags;
}

inline CompanionStream companionStream() {
    timing::StreamFileHeader header;
    header.mode = timing::StreamMode::External;
    header.created_utc = "2024-05-06T07:08:09.123Z";
    const std::string json = timing::detail::stream_header_to_json(header);
    CompanionStream stream;
    stream.head.assign(timing::kStreamFileMagic.begin(), timing::kStreamFileMagic.end());
    for (unsigned shift = 0; shift < 32; shift += 8) {
        stream.head.push_back(static_cast<std::uint8_t>(json.size() >> shift));
    }
    stream.head.insert(stream.head.end(), json.begin(), json.end());
    timing::appendDecodedQorntsTags(stream.words, companionTags());
    return stream;
}

} // namespace qorn::testing
