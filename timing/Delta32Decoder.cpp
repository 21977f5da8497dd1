#include "Delta32Decoder.h"

#include "WireWords.h"
#include "WrapArithmetic.h"

#include <algorithm>

namespace qorn::timing {
namespace {

constexpr std::size_t kWordBytes = 4;
constexpr std::array<std::uint8_t, kWordBytes> kSyncBytes{0xEB, 0x5A, 0x55, 0xAA};
constexpr std::uint32_t kSyncWord = 0xEB5A55AA;
constexpr int kPayloadBits = 25;
constexpr std::uint32_t kPayloadMask = (1U << kPayloadBits) - 1;

// Bit 31 control flag, 30..29 sub, 28..25 kind (10 data, 5 control), 24..0 payload. Overflow and absolute
// high have payloads of 16 bits.
constexpr bool is_data(std::uint32_t word) {
    return (word & 0x9E000000) == 0x14000000;
}
constexpr bool is_overflow(std::uint32_t word) {
    return (word & 0xFFFF0000) == 0x8A000000;
}
constexpr bool is_absolute_low(std::uint32_t word) {
    return (word & 0xFE000000) == 0xAA000000;
}
constexpr bool is_absolute_high(std::uint32_t word) {
    return (word & 0xFFFF0000) == 0xCA000000;
}
// A control word of sub 3 that is no sync has no effect anywhere.
constexpr bool is_ignored(std::uint32_t word) {
    return (word & 0xFE000000) == 0xEA000000 && word != kSyncWord;
}

// Takes back what the hardware adds to a step over a counter wrap, when the step shows that it did.
std::uint64_t without_wrap_excess(std::uint64_t step, std::int64_t from) {
    if (step > kWrapExcessPs) {
        const std::uint64_t corrected = step - kWrapExcessPs;
        if (corrected <= kPlausibleWrapPs || crosses_coarse_wrap(from, corrected)) {
            return corrected;
        }
    }
    return step;
}

// The absolute time whose low 41 bits are `base`, nearest at or ahead of the channel's last time.
std::uint64_t absolute_near(std::uint64_t base, std::int64_t last) {
    const auto reference = static_cast<std::uint64_t>(std::max<std::int64_t>(last, 0));
    std::uint64_t candidate = (reference & ~(kAbsTimeModulus - 1)) | base;
    if (candidate + kAbsTimeModulus / 2 < reference) {
        candidate += kAbsTimeModulus;
    }
    if (candidate > reference) {
        candidate =
            reference + without_wrap_excess(candidate - reference, static_cast<std::int64_t>(reference));
    }
    return candidate;
}

} // namespace

void Delta32Decoder::decode(StreamBuffer& raw, TagBuffer& out) {
    std::size_t begin = 0; // behind the last sync that gave alignment in this pass
    std::size_t index = 0;
    for (;;) {
        if (!aligned) {
            const std::size_t unread = std::max(index, settled);
            const auto behindSync = align(raw.span(), index);
            if (!behindSync) {
                const std::size_t gone = raw.size() - std::min(raw.size() - begin, kWordBytes - 1);
                passOver(unread, gone);
                settled = std::max(unread, gone) - gone;
                raw.drop_front(gone);
                return;
            }
            passOver(unread, *behindSync - kWordBytes);
            settled = 0;
            begin = *behindSync;
            index = begin;
        }
        const std::uint8_t* at = raw.data() + index;
        const std::uint8_t* const end = raw.data() + raw.size();
        TimeTag* tag = out.reserve((raw.size() - index) / kWordBytes);
        while (aligned && end - at >= static_cast<std::ptrdiff_t>(kWordBytes)) {
            const std::uint32_t word = load_be32(at);
            at += kWordBytes;
            const std::size_t channel = (word >> 29) & 3;
            const std::uint64_t delta = (overflow_count << kPayloadBits) + (word & kPayloadMask);
            if (is_data(word) && phase == Phase::Normal && !abs_valid && seen[channel] &&
                delta <= kWrapExcessPs) [[likely]] {
                overflow_count = 0;
                last_ps[channel] = add_wrapping(last_ps[channel], delta);
                emitTag(channel, tag);
            } else if (!acceptWord(word, tag)) {
                loseAlignment();
                passOver(0, kWordBytes);
            }
        }
        out.commit(tag);
        index = static_cast<std::size_t>(at - raw.data());
        if (aligned) {
            raw.drop_front(index);
            return;
        }
    }
}

std::optional<std::size_t> Delta32Decoder::align(std::span<const std::uint8_t> bytes, std::size_t index) {
    const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(index, bytes.size()));
    const auto found = std::search(from, bytes.end(), kSyncBytes.begin(), kSyncBytes.end());
    if (found == bytes.end()) {
        return std::nullopt;
    }
    aligned = true;
    beginSync();
    return static_cast<std::size_t>(found - bytes.begin()) + kWordBytes;
}

bool Delta32Decoder::acceptWord(std::uint32_t word, TimeTag*& tag) {
    if (word == kSyncWord) {
        beginSync();
        return true;
    }
    if (is_ignored(word)) {
        return true;
    }
    switch (phase) {
    case Phase::AbsoluteLow:
        return acceptAbsoluteLow(word);
    case Phase::AbsoluteHigh:
        return acceptAbsoluteHigh(word);
    case Phase::Normal:
        break;
    }
    if (is_overflow(word) && !abs_valid) {
        overflow_count += word & 0xFFFF;
        return true;
    }
    return is_data(word) && acceptData(word, tag);
}

bool Delta32Decoder::acceptAbsoluteLow(std::uint32_t word) {
    if (!is_absolute_low(word)) {
        return false;
    }
    abs_low = word & kPayloadMask;
    phase = Phase::AbsoluteHigh;
    return true;
}

bool Delta32Decoder::acceptAbsoluteHigh(std::uint32_t word) {
    if (!is_absolute_high(word)) {
        return false;
    }
    abs_base = (std::uint64_t{word & 0xFFFF} << kPayloadBits) | abs_low;
    abs_valid = true;
    phase = Phase::Normal;
    overflow_count = 0;
    return true;
}

bool Delta32Decoder::acceptData(std::uint32_t word, TimeTag*& tag) {
    const std::size_t channel = (word >> 29) & 3;
    const std::uint64_t delta = (overflow_count << kPayloadBits) + (word & kPayloadMask);
    overflow_count = 0;
    std::int64_t& last = last_ps[channel];
    if (!abs_valid) {
        if (seen[channel]) {
            last = add_wrapping(last, without_wrap_excess(delta, last));
            emitTag(channel, tag);
        }
        return true; // without any absolute time yet the word is dropped
    }
    if (!seen[channel]) {
        last = static_cast<std::int64_t>((abs_base & (kAbsTimeModulus - 1)) + delta);
        seen[channel] = true;
    } else {
        const std::uint64_t base = absolute_near(abs_base & (kAbsTimeModulus - 1), last);
        const auto time = static_cast<std::int64_t>(base + delta);
        if (time <= last) {
            return false;
        }
        last = time;
    }
    abs_base = 0;
    abs_valid = false;
    emitTag(channel, tag);
    return true;
}

void Delta32Decoder::beginSync() {
    phase = Phase::AbsoluteLow;
    abs_low = 0;
    abs_base = 0;
    abs_valid = false;
    overflow_count = 0;
}

void Delta32Decoder::loseAlignment() {
    beginSync();
    aligned = false;
    phase = Phase::Normal;
}

void Delta32Decoder::passOver(std::size_t from, std::size_t to) {
    if (to > from && std::find(seen.begin(), seen.end(), true) != seen.end()) {
        skipped += to - from;
    }
}

void Delta32Decoder::emitTag(std::size_t channel, TimeTag*& tag) {
    tag->channel = static_cast<std::uint8_t>(channel);
    tag->timestamp_ps = last_ps[channel];
    ++tag;
}

} // namespace qorn::timing
