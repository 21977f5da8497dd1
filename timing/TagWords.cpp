#include "TagWords.h"

#include "WireWords.h"

namespace qorn::timing {
namespace {

std::uint64_t tag_word(unsigned channel, std::int64_t time_ps) {
    const std::int64_t remainder = time_ps % kCoarseWrapPs;
    const std::int64_t reduced = remainder < 0 ? remainder + kCoarseWrapPs : remainder;
    return (std::uint64_t{channel & 3} << 61) | static_cast<std::uint64_t>(reduced);
}

} // namespace

void appendDecodedQorntsTag(std::vector<unsigned char>& out, int channel, std::int64_t timePs) {
    const std::size_t at = out.size();
    out.resize(at + kTagWordBytes);
    store_be64(out.data() + at, tag_word(static_cast<unsigned>(channel), timePs));
}

void appendDecodedQorntsTags(std::vector<unsigned char>& out, std::span<const TimeTag> tags) {
    const std::size_t at = out.size();
    out.resize(at + tags.size() * kTagWordBytes);
    unsigned char* word = out.data() + at;
    for (const TimeTag& tag : tags) {
        store_be64(word, tag_word(tag.channel, tag.timestamp_ps));
        word += kTagWordBytes;
    }
}

} // namespace qorn::timing
