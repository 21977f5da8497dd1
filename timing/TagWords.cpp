#include "TagWords.h"

#include "WireWords.h"

#include <algorithm>
#include <array>
#include <limits>

namespace qorn::timing {
namespace {

constexpr std::size_t kChunkTags = 512;

// Reduces times to one period of the counter. Most times lie in the period of the one before, which saves
// the division.
class TimeReducer {
public:
    std::uint64_t reduce(std::int64_t time_ps) {
        if (time_ps < period || sincePeriod(time_ps) >= static_cast<std::uint64_t>(kCoarseWrapPs))
            [[unlikely]] {
            const std::int64_t remainder = time_ps % kCoarseWrapPs;
            const std::int64_t reduced = remainder < 0 ? remainder + kCoarseWrapPs : remainder;
            // A period that begins below the smallest time begins nowhere: the next time divides again.
            period = time_ps < std::numeric_limits<std::int64_t>::min() + reduced ? 0 : time_ps - reduced;
            return static_cast<std::uint64_t>(reduced);
        }
        return sincePeriod(time_ps);
    }

private:
    // Right for all times from `period` on, also where a signed difference would overflow.
    std::uint64_t sincePeriod(std::int64_t time_ps) const {
        return static_cast<std::uint64_t>(time_ps) - static_cast<std::uint64_t>(period);
    }

    std::int64_t period = 0; // where it begins
};

std::uint64_t tag_word(unsigned channel, std::uint64_t reduced_ps) {
    return (std::uint64_t{channel & 3} << 61) | reduced_ps;
}

} // namespace

void appendDecodedQorntsTag(std::vector<unsigned char>& out, int channel, std::int64_t timePs) {
    const std::size_t at = out.size();
    out.resize(at + kTagWordBytes);
    store_be64(out.data() + at, tag_word(static_cast<unsigned>(channel), TimeReducer().reduce(timePs)));
}

void appendDecodedQorntsTags(std::vector<unsigned char>& out, std::span<const TimeTag> tags) {
    if (const std::size_t needed = out.size() + tags.size() * kTagWordBytes; needed > out.capacity()) {
        out.reserve(std::max(needed, 2 * out.capacity()));
    }
    TimeReducer reducer;
    // By way of a chunk that stays in the cache: room made in `out` first would be written twice.
    std::array<unsigned char, kChunkTags * kTagWordBytes> chunk;
    while (!tags.empty()) {
        const std::size_t count = std::min(tags.size(), kChunkTags);
        unsigned char* word = chunk.data();
        for (const TimeTag& tag : tags.first(count)) {
            store_be64(word, tag_word(tag.channel, reducer.reduce(tag.timestamp_ps)));
            word += kTagWordBytes;
        }
        out.insert(out.end(), chunk.data(), word);
        tags = tags.subspan(count);
    }
}

} // namespace qorn::timing
