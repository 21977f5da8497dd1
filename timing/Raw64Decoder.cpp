#include "Raw64Decoder.h"

#include "WireWords.h"

#include <cctype>

namespace qorn::timing {
namespace {

constexpr std::size_t kRecordBytes = 8;

// Uncalibrated words of the internal generator.
struct CoarseFineLayout {
    static constexpr std::uint64_t kFixedBits = CoarseFineWord::kFixedBits;
    static constexpr std::uint64_t kFixedValue = CoarseFineWord::kFixedValue;
    static constexpr std::uint64_t kWrap = std::uint64_t{1} << 32;
    static constexpr std::uint64_t kHalfWrap = 0x80000000;

    const FineLut& lut;

    std::uint64_t counter(std::uint64_t word) const { return CoarseFineWord::coarse(word); }
    std::int64_t time(std::uint64_t word, std::uint64_t unwrapped) const {
        const std::size_t fine = CoarseFineWord::fine(word);
        return static_cast<std::int64_t>(unwrapped * static_cast<std::uint64_t>(kCoarsePeriodPs) -
                                         static_cast<std::uint64_t>(lut.entries[fine]));
    }
};
static_assert(FineLut::kCodes == 0x2000, "each 13-bit fine code has an entry");

// Calibrated words: 44 bits of picoseconds.
struct PicosecondLayout {
    static constexpr std::uint64_t kFixedBits = 0x9FFFF00000000000;
    static constexpr std::uint64_t kFixedValue = 0;
    static constexpr std::uint64_t kWrap = static_cast<std::uint64_t>(kCoarseWrapPs);
    static constexpr std::uint64_t kHalfWrap = static_cast<std::uint64_t>(kHalfCoarseWrapPs);
    static_assert(2 * kWrap > 0xFFFFFFFFFFF, "one subtraction is the whole modulo");

    std::uint64_t counter(std::uint64_t word) const {
        const std::uint64_t ps = word & 0xFFFFFFFFFFF;
        return ps >= kWrap ? ps - kWrap : ps;
    }
    std::int64_t time(std::uint64_t, std::uint64_t unwrapped) const {
        return static_cast<std::int64_t>(unwrapped);
    }
};

bool is_coarse_fine(std::string_view tag_format) {
    constexpr std::string_view kName = "raw_cf";
    return std::equal(tag_format.begin(), tag_format.end(), kName.begin(), kName.end(),
                      [](char a, char b) { return std::tolower(static_cast<unsigned char>(a)) == b; });
}

} // namespace

Raw64Decoder::Raw64Decoder(const StreamFileHeader& header)
    : coarseFine(is_coarse_fine(header.raw64_tag_format)), lut(FineLut::identity()) {}

void Raw64Decoder::decode(StreamBuffer& raw, TagBuffer& out) {
    if (coarseFine) {
        decodeRecords(raw, out, CoarseFineLayout{lut});
    } else {
        decodeRecords(raw, out, PicosecondLayout{});
    }
}

template <typename Layout>
void Raw64Decoder::decodeRecords(StreamBuffer& raw, TagBuffer& out, const Layout& layout) {
    const std::uint8_t* at = raw.data();
    const std::uint8_t* const end = at + raw.size();
    TimeTag* const first = out.reserve(raw.size() / kRecordBytes);
    TimeTag* tag = first;
    auto last = last_raw;
    auto epoch = wrap_epoch;
    while (end - at >= static_cast<std::ptrdiff_t>(kRecordBytes)) {
        const std::uint64_t word = load_be64(at);
        if ((word & Layout::kFixedBits) != Layout::kFixedValue) [[unlikely]] {
            ++at; // no record starts here: slide by one byte
            skipped += begun || tag != first ? 1U : 0U;
            continue;
        }
        const std::size_t channel = word >> 61;
        const std::uint64_t value = layout.counter(word);
        const std::uint64_t before = last[channel];
        if (value < before && before - value > Layout::kHalfWrap) [[unlikely]] {
            epoch[channel] += Layout::kWrap;
        }
        last[channel] = value;
        tag->channel = static_cast<std::uint8_t>(channel);
        tag->timestamp_ps = layout.time(word, value + epoch[channel]);
        ++tag;
        at += kRecordBytes;
    }
    last_raw = last;
    wrap_epoch = epoch;
    begun = begun || tag != first;
    out.commit(tag);
    raw.drop_front(static_cast<std::size_t>(at - raw.data()));
}

} // namespace qorn::timing
