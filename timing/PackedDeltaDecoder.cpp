#include "PackedDeltaDecoder.h"

#include <algorithm>
#include <ios>
#include <limits>

namespace qorn::timing {
namespace {

constexpr std::uint64_t kMaxPlausibleDeltaPs = 1'000'000'000'000; // internal mode accepts no longer silence
constexpr std::uint64_t kSmallBackstepPs = 1'000'000;             // largest step back that is jitter

// How long an unlocked decoder waits before it speaks, gives up on old bytes, and how many it keeps then.
constexpr std::size_t kProbeBytes = 4096;
constexpr std::size_t kHopelessBytes = 65536;

constexpr int kDefaultDeltaBits = 16;

// A lock on a wrong bit offset shows as wildly uneven channels while the generator drives all inputs equally.
constexpr std::uint64_t kImbalanceTags = 4096;
constexpr std::uint64_t kImbalanceRatio = 8;

// a - b of times of which a is not below b.
std::uint64_t distance(std::int64_t a, std::int64_t b) {
    return static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b);
}

// Steps below this need none of the wrap and plausibility rules, and a sync start, taken for an overflow,
// exceeds it behind any overflows that are below it. 0 where 64 bits do not hold such a step.
std::uint64_t ordinary_bound(const PackedFormat& format) {
    const int overflow_shift = format.delta_bits + format.quantum_shift;
    if (!format.decodable() || format.delta_bits + 1 + overflow_shift > 64) {
        return 0;
    }
    std::uint64_t bound = std::min(format.wrap_ps / 2, format.all_ones() << overflow_shift);
    if (format.excess_ps != 0) {
        bound = std::min(bound, format.excess_ps);
    }
    return format.internal ? std::min(bound, kMaxPlausibleDeltaPs) : bound;
}

} // namespace

PackedDeltaDecoder::PackedDeltaDecoder(const StreamFileHeader& header)
    : format(header), ordinary_bound_ps(ordinary_bound(format)) {}

void PackedDeltaDecoder::feed_packed_delta(StreamBuffer& raw, TagBuffer& out) {
    if (!format.decodable() || (!locked && !lock(raw))) {
        return;
    }
    const std::uint64_t total_bits = raw.size() * 8;
    const auto width = static_cast<std::uint64_t>(format.record_bits());
    if (bit_offset >= total_bits || total_bits - bit_offset < width) {
        return;
    }
    const std::uint64_t records = (total_bits - bit_offset) / width;
    TimeTag* const first = out.reserve(records + 1); // the ordinary run writes one ahead
    TimeTag* tag = first;
    for (std::uint64_t record = runOrdinary(raw.data(), 0, records, tag); record < records;
         record = runOrdinary(raw.data(), record + 1, records, tag)) {
        const std::uint64_t window = load_bits(raw.span(), bit_offset + record * width);
        if (!acceptRecord(PackedFormat::split(window, format.delta_bits), record, records, tag)) {
            out.commit(tag);
            begun = begun || tag != first;
            skipBits(width);
            consume_packed_records(raw, record + 1);
            drop_packed_lock();
            return;
        }
    }
    consume_packed_records(raw, records);
    if (isImbalanced({first, tag}, records)) {
        skipBits(records * width);
        drop_packed_lock();
        return;
    }
    out.commit(tag);
    begun = begun || tag != first;
}

PackedAlignment PackedDeltaDecoder::probe_packed_alignment(std::span<const std::uint8_t> raw, int delta_bits,
                                                           int record_bits) const {
    if (delta_bits < 1 || delta_bits > PackedFormat::kMaxDeltaBits || record_bits < 1) {
        return {};
    }
    PackedFormat probed = format;
    probed.delta_bits = delta_bits;
    return find_packed_alignment(raw, probed, debug);
}

bool PackedDeltaDecoder::lock(StreamBuffer& raw) {
    const int width = format.record_bits();
    const PackedAlignment found = probe_packed_alignment(raw.span(), format.delta_bits, width);
    if (!found.ok) {
        if (raw.size() >= kProbeBytes) {
            debug.line("no alignment bits=", format.delta_bits, " width=", width, " raw_bytes=", raw.size());
        }
        if (raw.size() > kHopelessBytes) {
            skipBits((raw.size() - kProbeBytes) * 8);
            raw.drop_front(raw.size() - kProbeBytes);
            bit_offset = 0;
        }
        return false;
    }
    skipBits(found.drop_bytes * 8);
    raw.drop_front(found.drop_bytes);
    bit_offset = static_cast<unsigned>(found.bit_offset);
    locked = true;
    debug.line("locked bits=", format.delta_bits, " drop_bytes=", found.drop_bytes,
               " bit_offset=", bit_offset, " raw_bytes=", raw.size());
    return true;
}

void PackedDeltaDecoder::consume_packed_records(StreamBuffer& raw, std::uint64_t count) {
    const std::uint64_t total = static_cast<std::uint64_t>(format.record_bits()) * count + bit_offset;
    bit_offset = total % 8;
    raw.drop_front(total / 8);
}

void PackedDeltaDecoder::skipBits(std::uint64_t bits) {
    skipped_bits += begun ? bits : 0;
}

void PackedDeltaDecoder::drop_packed_lock() {
    locked = false;
    bit_offset = 0;
    lanes = {};
    sync_chunks_left = 0;
    sync_channel = 0;
    sync_accumulator = 0;
    sync_bits = 0;
    pending_sync_channel = -1;
    pending_sync_base_ps = 0;
}

// The state that ordinary records touch, held in locals while a run of them is decoded. Overflow and data
// records take the same straight path, as a branch on the kind cannot be predicted: each moves the channel's
// sum by its payload, and a data record then takes the sum as its time.
struct PackedDeltaDecoder::OrdinaryRun {
    std::array<std::uint64_t, 2> unit_ps{}; // of a payload: of a data record, of an overflow
    std::array<std::uint64_t, kChannels>
        bound{}; // steps from here on, of a channel not ready all, are not ordinary
    std::array<std::uint64_t, kChannels> prev{}; // time of the last tag
    std::array<std::uint64_t, kChannels> sum{};  // the same plus the overflows since

    // Takes the record of `bits` + 3 bits that stands first in `window`; false, without any effect, when it
    // is not ordinary. Writes to `next`, which moves on when the record was a tag; callers keep it in a
    // register.
    [[gnu::always_inline]] bool take(std::uint64_t window, int bits, TimeTag*& next) {
        const std::uint64_t channel = window >> 62;
        const std::uint64_t is_overflow = (window >> 61) & 1;
        const std::uint64_t payload = (window >> (61 - bits)) & ((std::uint64_t{1} << bits) - 1);
        const std::uint64_t time = sum[channel] + payload * unit_ps[is_overflow];
        const std::uint64_t before = prev[channel];
        if (time - before >= bound[channel]) [[unlikely]] {
            return false;
        }
        sum[channel] = time;
        prev[channel] = is_overflow != 0 ? before : time;
        next->channel = static_cast<std::uint8_t>(channel);
        next->timestamp_ps = static_cast<std::int64_t>(time);
        next += 1 - is_overflow;
        return true;
    }
};

std::uint64_t PackedDeltaDecoder::runOrdinary(const std::uint8_t* bytes, std::uint64_t record,
                                              std::uint64_t records, TimeTag*& tag) {
    if (sync_chunks_left > 0) {
        return record;
    }
    const int overflow_shift = format.delta_bits + format.quantum_shift;
    OrdinaryRun run;
    run.unit_ps = {std::uint64_t{1} << format.quantum_shift, std::uint64_t{1} << overflow_shift};
    for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
        const Lane& lane = lanes[channel];
        const bool ready = format.is_active(channel) && lane.has_prev &&
                           static_cast<int>(channel) != pending_sync_channel &&
                           lane.overflow_sum < ordinary_bound_ps >> overflow_shift;
        run.bound[channel] = ready ? ordinary_bound_ps : 0;
        run.prev[channel] = static_cast<std::uint64_t>(lane.prev_ps);
        run.sum[channel] = run.prev[channel] + (lane.overflow_sum << overflow_shift);
    }
    record = format.delta_bits == kDefaultDeltaBits ? runDefaultWidth(bytes, record, records, run, tag)
                                                    : runAnyWidth(bytes, record, records, run, tag);
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
        if (run.bound[channel] != 0) {
            lanes[channel].prev_ps = static_cast<std::int64_t>(run.prev[channel]);
            lanes[channel].overflow_sum = (run.sum[channel] - run.prev[channel]) >> overflow_shift;
        }
    }
    return record;
}

std::uint64_t PackedDeltaDecoder::runAnyWidth(const std::uint8_t* bytes, std::uint64_t record,
                                              std::uint64_t records, OrdinaryRun& state,
                                              TimeTag*& tag) const {
    OrdinaryRun run = state;
    TimeTag* next = tag;
    const auto width = static_cast<unsigned>(format.record_bits());
    std::uint64_t position = bit_offset + record * width;
    while (record < records &&
           run.take(load_be64(bytes + position / 8) << (position % 8), format.delta_bits, next)) {
        ++record;
        position += width;
    }
    state = run;
    tag = next;
    return record;
}

// Eight records of the default width fill whole bytes, so that behind the first byte boundary all shifts are
// constants.
std::uint64_t PackedDeltaDecoder::runDefaultWidth(const std::uint8_t* bytes, std::uint64_t record,
                                                  std::uint64_t records, OrdinaryRun& state,
                                                  TimeTag*& tag) const {
    constexpr unsigned kWidth = kDefaultDeltaBits + 3;
    constexpr unsigned kGroup = 8;
    OrdinaryRun run = state;
    TimeTag* next = tag;
    while (record < records) {
        const std::uint64_t position = bit_offset + record * kWidth;
        const std::uint8_t* at = bytes + position / 8;
        if (position % 8 != 0 || records - record < kGroup) {
            if (!run.take(load_be64(at) << (position % 8), kDefaultDeltaBits, next)) {
                break;
            }
            ++record;
            continue;
        }
#pragma GCC unroll 8
        for (unsigned index = 0; index < kGroup; ++index) {
            const unsigned bit = index * kWidth;
            if (!run.take(load_be64(at + bit / 8) << (bit % 8), kDefaultDeltaBits, next)) {
                state = run;
                tag = next;
                return record + index;
            }
        }
        record += kGroup;
    }
    state = run;
    tag = next;
    return record;
}

bool PackedDeltaDecoder::acceptRecord(const PackedRecord& record, std::uint64_t index, std::uint64_t records,
                                      TimeTag*& tag) {
    if (!format.is_active(record.channel)) {
        debug.line("drop inactive ch=", record.channel, " active_mask=0x", std::hex, format.active_mask,
                   std::dec, " record=", index, " records=", records);
        return false;
    }
    if (sync_chunks_left > 0) {
        return acceptSyncChunk(record, index);
    }
    if (!record.flag) {
        return acceptData(record, index, tag);
    }
    if (record.payload == format.all_ones()) {
        beginSync(record.channel);
    } else {
        lanes[record.channel].overflow_sum += record.payload;
    }
    return true;
}

bool PackedDeltaDecoder::acceptSyncChunk(const PackedRecord& record, std::uint64_t index) {
    if (record.channel != sync_channel) {
        debug.line("drop sync channel mismatch ch=", record.channel, " expected=", sync_channel,
                   " record=", index, " chunks_left=", sync_chunks_left);
        return false;
    }
    if (record.flag) {
        debug.line("drop ovf in sync ch=", record.channel, " record=", index,
                   " chunks_left=", sync_chunks_left);
        return false;
    }
    sync_accumulator |= record.payload << sync_bits;
    sync_bits += format.delta_bits;
    if (--sync_chunks_left == 0) {
        finishSync();
    }
    return true;
}

bool PackedDeltaDecoder::acceptData(const PackedRecord& record, std::uint64_t index, TimeTag*& tag) {
    const std::uint32_t channel = record.channel;
    Lane& lane = lanes[channel];
    const std::uint64_t delta = ((lane.overflow_sum << format.delta_bits) + record.payload)
                                << format.quantum_shift;
    lane.overflow_sum = 0;
    if (pending_sync_channel == static_cast<int>(channel)) {
        if (!acceptFirstAfterSync(channel, delta, index)) {
            return false;
        }
    } else if (!lane.has_prev) {
        skipBits(static_cast<std::uint64_t>(format.record_bits()));
        return true; // before the channel's first sync a tag has no time
    } else if (!acceptDelta(channel, delta, index)) {
        return false;
    }
    tag->channel = static_cast<std::uint8_t>(channel);
    tag->timestamp_ps = lane.prev_ps;
    ++tag;
    return true;
}

bool PackedDeltaDecoder::acceptFirstAfterSync(std::uint32_t channel, std::uint64_t delta,
                                              std::uint64_t index) {
    Lane& lane = lanes[channel];
    const std::int64_t prev = lane.prev_ps;
    const auto next = static_cast<std::int64_t>(delta + pending_sync_base_ps);
    if (lane.has_prev) {
        const bool back = prev > next;
        const std::uint64_t step = back ? distance(prev, next) : distance(next, prev);
        if (back && step > kSmallBackstepPs) {
            debug.line("drop nonmonotonic sync ch=", channel, " next=", next, " prev=", prev,
                       " record=", index);
            return false;
        }
        if (step == 0 || (format.internal && (back || step > kMaxPlausibleDeltaPs))) {
            debug.line("drop implausible sync delta ch=", channel, " delta=", back ? "-" : "", step,
                       " next=", next, " prev=", prev, " record=", index);
            return false;
        }
    }
    lane.prev_ps = next;
    lane.has_prev = true;
    pending_sync_channel = -1;
    pending_sync_base_ps = 0;
    return true;
}

bool PackedDeltaDecoder::acceptDelta(std::uint32_t channel, std::uint64_t delta, std::uint64_t index) {
    std::int64_t& prev = lanes[channel].prev_ps;
    const std::uint64_t wrap = format.wrap_ps;
    if (delta > wrap / 2 && delta <= wrap && wrap - delta <= kSmallBackstepPs) {
        prev = add_wrapping(prev, delta - wrap); // a small negative number modulo the counter
        return true;
    }
    if (format.excess_ps != 0 && delta > format.excess_ps) {
        const std::uint64_t corrected = delta - format.excess_ps;
        if (corrected <= kPlausibleWrapPs) {
            prev = add_wrapping(prev, corrected);
            return true;
        }
        if (crosses_coarse_wrap(prev, corrected)) {
            delta = corrected;
        }
    }
    if (format.internal && delta > kMaxPlausibleDeltaPs) {
        debug.line("drop implausible delta ch=", channel, " delta=", delta, " prev=", prev,
                   " record=", index);
        return false;
    }
    prev = add_wrapping(prev, delta);
    return true;
}

void PackedDeltaDecoder::beginSync(std::uint32_t channel) {
    sync_channel = channel;
    sync_accumulator = 0;
    sync_bits = 0;
    sync_chunks_left = format.sync_chunks();
    lanes[channel].overflow_sum = 0;
}

// The sync's time, unwrapped to be nearest at or ahead of the channel's own, is the base of its next data
// record.
void PackedDeltaDecoder::finishSync() {
    const std::uint64_t modulus = std::min(format.wrap_ps, static_cast<std::uint64_t>(kCoarseWrapPs));
    std::uint64_t base = ((sync_accumulator & (kAbsTimeModulus - 1)) << format.quantum_shift) % modulus;
    const Lane& lane = lanes[sync_channel];
    if (lane.has_prev) {
        const auto reference = static_cast<std::uint64_t>(std::max<std::int64_t>(lane.prev_ps, 0));
        base += reference - reference % modulus;
        if (base + modulus / 2 < reference) {
            base += modulus;
        }
        if (format.wrap_ps <= static_cast<std::uint64_t>(kCoarseWrapPs) && base > reference) {
            const std::uint64_t ahead = base - reference;
            if (format.excess_ps != 0 && ahead > format.excess_ps) {
                const std::uint64_t corrected = ahead - format.excess_ps;
                if (corrected <= kPlausibleWrapPs ||
                    crosses_coarse_wrap(static_cast<std::int64_t>(reference), corrected)) {
                    base = reference + corrected;
                }
            }
        }
    }
    pending_sync_channel = static_cast<int>(sync_channel);
    pending_sync_base_ps = base;
    sync_accumulator = 0;
    sync_bits = 0;
}

bool PackedDeltaDecoder::isImbalanced(std::span<const TimeTag> tags, std::uint64_t records) {
    if (!format.internal || format.active_channels() < 2 || tags.size() < kImbalanceTags) {
        return false;
    }
    std::array<std::uint64_t, kChannels> counts{};
    for (const TimeTag& tag : tags) {
        ++counts[tag.channel];
    }
    std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t most = 0;
    for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
        if (format.is_active(channel)) {
            least = std::min(least, counts[channel]);
            most = std::max(most, counts[channel]);
        }
    }
    if (least != 0 && least * kImbalanceRatio >= most) {
        return false;
    }
    debug.line("drop internal imbalanced lock min=", least, " max=", most, " total=", tags.size(),
               " records=", records);
    return true;
}

} // namespace qorn::timing
