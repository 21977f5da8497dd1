#include "ReferencePackedDecoder.h"

#include <algorithm>
#include <sstream>

namespace qorn::testing {
namespace {

using timing::PackedAlignment;
using timing::TimeTag;

constexpr std::uint64_t kCoarseWrap = 14315125997568;
constexpr std::uint64_t kPlausibleWrap = 10000000000;
constexpr std::uint64_t kMaxPlausibleDelta = 1000000000000;
constexpr std::uint64_t kSmallBackstep = 1000000;
constexpr std::uint64_t kSampleBytes = 65536;

template <typename... Parts>
std::string text(const Parts&... parts) {
    std::ostringstream out;
    (out << ... << parts);
    return out.str();
}

std::uint64_t notNegative(std::int64_t time) {
    return time > 0 ? static_cast<std::uint64_t>(time) : 0;
}

} // namespace

ReferencePackedDecoder::ReferencePackedDecoder(const timing::StreamFileHeader& header)
    : b(header.delta_bits == 0 ? 16 : header.delta_bits), w(b + 3), quantum_shift(0),
      mask((header.channel_mask & 15) == 0 ? 15 : header.channel_mask & 15),
      internal(static_cast<int>(header.mode) == 0) {
    for (int quantum = header.quantum_ps == 0 ? 8 : header.quantum_ps; quantum % 2 == 0; quantum /= 2)
        ++quantum_shift;
}

std::uint64_t ReferencePackedDecoder::wrap() const {
    return std::uint64_t{1} << (41 + std::clamp(quantum_shift, 0, 22));
}

std::uint64_t ReferencePackedDecoder::excess() const {
    std::uint64_t multiple = wrap();
    while (multiple < kCoarseWrap)
        multiple += wrap();
    return multiple - kCoarseWrap;
}

ReferencePackedDecoder::Record ReferencePackedDecoder::readRecord(const Bytes& raw, std::uint64_t bit) const {
    const auto read = [&raw, &bit](int count) {
        std::uint64_t value = 0;
        for (; count > 0; --count, ++bit)
            value = value * 2 + (raw[bit / 8] >> (7 - bit % 8) & 1u);
        return value;
    };
    Record record;
    record.channel = static_cast<int>(read(2));
    record.flag = static_cast<int>(read(1));
    record.payload = read(b);
    return record;
}

std::vector<TimeTag> ReferencePackedDecoder::pass(Bytes& raw) {
    if (b > 31 || (!locked && !lock(raw)))
        return {};
    const std::uint64_t bits = raw.size() * 8;
    if (bit_offset >= bits || bits - bit_offset < static_cast<std::uint64_t>(w))
        return {};
    Pass pass;
    pass.records = (bits - bit_offset) / static_cast<std::uint64_t>(w);
    for (std::uint64_t r = 0; r < pass.records; ++r) {
        const Record record = readRecord(raw, bit_offset + r * static_cast<std::uint64_t>(w));
        if (!take(record, r, pass)) {
            consume(raw, r + 1);
            dropLock();
            return pass.tags;
        }
    }
    consume(raw, pass.records);
    if (isImbalanced(pass)) {
        dropLock();
        return {};
    }
    return pass.tags;
}

bool ReferencePackedDecoder::lock(Bytes& raw) {
    const PackedAlignment found = probe(raw, b, w);
    if (found.ok) {
        raw.erase(raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(found.drop_bytes));
        locked = true;
        bit_offset = found.bit_offset;
        log.push_back(text("locked bits=", b, " drop_bytes=", found.drop_bytes, " bit_offset=", bit_offset,
                           " raw_bytes=", raw.size()));
        return true;
    }
    if (raw.size() >= 4096)
        log.push_back(text("no alignment bits=", b, " width=", w, " raw_bytes=", raw.size()));
    if (raw.size() > 65536) {
        raw.erase(raw.begin(), raw.end() - 4096);
        bit_offset = 0;
    }
    return false;
}

// False when the lock must be dropped.
bool ReferencePackedDecoder::take(const Record& record, std::uint64_t index, Pass& pass) {
    const int c = record.channel;
    Channel& channel = state.channels[static_cast<std::size_t>(c)];
    const std::uint64_t all_ones = (std::uint64_t{1} << b) - 1;
    if (!isActive(c)) {
        log.push_back(text("drop inactive ch=", c, " active_mask=0x", std::hex, mask, std::dec,
                           " record=", index, " records=", pass.records));
        return false;
    }
    if (state.sync_chunks_left >= 1)
        return takeChunk(record, index);
    if (record.flag == 1 && record.payload == all_ones) {
        state.sync_channel = c;
        state.sync_accumulator = 0;
        state.sync_bits = 0;
        state.sync_chunks_left = (b + 40) / b;
        channel.overflow_sum = 0;
        return true;
    }
    if (record.flag == 1) {
        channel.overflow_sum += record.payload;
        return true;
    }
    const std::uint64_t quanta = (channel.overflow_sum << b) + record.payload;
    const std::uint64_t delta = quanta << quantum_shift;
    channel.overflow_sum = 0;
    if (state.pending_sync_channel == c)
        return takeSyncedData(record, delta, index, pass);
    return !channel.has_prev || takeData(record, delta, index, pass);
}

bool ReferencePackedDecoder::takeChunk(const Record& record, std::uint64_t index) {
    if (record.channel != state.sync_channel) {
        log.push_back(text("drop sync channel mismatch ch=", record.channel, " expected=", state.sync_channel,
                           " record=", index, " chunks_left=", state.sync_chunks_left));
        return false;
    }
    if (record.flag == 1) {
        log.push_back(text("drop ovf in sync ch=", record.channel, " record=", index,
                           " chunks_left=", state.sync_chunks_left));
        return false;
    }
    state.sync_accumulator |= record.payload << state.sync_bits;
    state.sync_bits += b;
    if (--state.sync_chunks_left == 0)
        finishSync(record.channel);
    return true;
}

void ReferencePackedDecoder::finishSync(int c) {
    const Channel& channel = state.channels[static_cast<std::size_t>(c)];
    const std::uint64_t modulus = std::min(wrap(), kCoarseWrap);
    std::uint64_t s = ((state.sync_accumulator & 0x1FFFFFFFFFF) << quantum_shift) % modulus;
    if (channel.has_prev || channel.has_emitted) {
        const std::uint64_t p = notNegative(channel.has_prev ? channel.prev_ps : channel.emitted_ps);
        s += p - p % modulus;
        if (s + modulus / 2 < p)
            s += modulus;
        if (wrap() <= kCoarseWrap && s > p && excess() != 0 && s - p > excess()) {
            const std::uint64_t e = s - p - excess();
            if (e <= kPlausibleWrap || p % kCoarseWrap + e >= kCoarseWrap)
                s = p + e;
        }
    }
    state.pending_sync_channel = c;
    state.pending_sync_base_ps = s;
    state.sync_accumulator = 0;
    state.sync_bits = 0;
}

bool ReferencePackedDecoder::takeSyncedData(const Record& record, std::uint64_t delta, std::uint64_t index,
                                            Pass& pass) {
    Channel& channel = state.channels[static_cast<std::size_t>(record.channel)];
    const std::int64_t prev = channel.prev_ps;
    const std::int64_t next = static_cast<std::int64_t>(delta + state.pending_sync_base_ps);
    const std::uint64_t step = static_cast<std::uint64_t>(next) - static_cast<std::uint64_t>(prev);
    const std::string place = text(" next=", next, " prev=", prev, " record=", index);
    if (channel.has_prev && prev >= next) {
        if (std::uint64_t{0} - step > kSmallBackstep) {
            log.push_back(text("drop nonmonotonic sync ch=", record.channel, place));
            return false;
        }
        if (prev == next || internal) {
            log.push_back(text("drop implausible sync delta ch=", record.channel,
                               " delta=", static_cast<std::int64_t>(step), place));
            return false;
        }
    } else if (channel.has_prev && internal && step > kMaxPlausibleDelta) {
        log.push_back(text("drop implausible sync delta ch=", record.channel, " delta=", step, place));
        return false;
    }
    channel.prev_ps = next;
    channel.has_prev = true;
    state.pending_sync_channel = -1;
    state.pending_sync_base_ps = 0;
    emit(record.channel, pass);
    return true;
}

bool ReferencePackedDecoder::takeData(const Record& record, std::uint64_t delta, std::uint64_t index,
                                      Pass& pass) {
    Channel& channel = state.channels[static_cast<std::size_t>(record.channel)];
    const auto advance = [&channel](std::uint64_t step) {
        channel.prev_ps = static_cast<std::int64_t>(static_cast<std::uint64_t>(channel.prev_ps) + step);
    };
    if (delta > wrap() / 2 && delta <= wrap() && wrap() - delta <= kSmallBackstep) {
        advance(delta - wrap());
        emit(record.channel, pass);
        return true;
    }
    if (excess() != 0 && delta > excess()) {
        const std::uint64_t e = delta - excess();
        if (e <= kPlausibleWrap) {
            advance(e);
            emit(record.channel, pass);
            return true;
        }
        // The sum, where it is beyond 64 bits too.
        if (e >= kCoarseWrap - notNegative(channel.prev_ps) % kCoarseWrap)
            delta = e;
    }
    if (internal && delta > kMaxPlausibleDelta) {
        log.push_back(text("drop implausible delta ch=", record.channel, " delta=", delta,
                           " prev=", channel.prev_ps, " record=", index));
        return false;
    }
    advance(delta);
    emit(record.channel, pass);
    return true;
}

void ReferencePackedDecoder::emit(int c, Pass& pass) {
    const auto at = static_cast<std::size_t>(c);
    Channel& channel = state.channels[at];
    ++pass.counts[at];
    channel.emitted_ps = channel.prev_ps;
    channel.has_emitted = true;
    pass.tags.push_back({static_cast<std::uint8_t>(c), channel.prev_ps});
}

bool ReferencePackedDecoder::isImbalanced(const Pass& pass) {
    std::uint64_t active = 0;
    std::uint64_t total = 0;
    std::uint64_t least = UINT64_MAX;
    std::uint64_t most = 0;
    for (int c = 0; c < 4; ++c) {
        if (!isActive(c))
            continue;
        const std::uint64_t count = pass.counts[static_cast<std::size_t>(c)];
        ++active;
        total += count;
        least = std::min(least, count);
        most = std::max(most, count);
    }
    if (!internal || active < 2 || total < 4096 || (least != 0 && least * 8 >= most))
        return false;
    log.push_back(text("drop internal imbalanced lock min=", least, " max=", most, " total=", total,
                       " records=", pass.records));
    return true;
}

void ReferencePackedDecoder::consume(Bytes& raw, std::uint64_t count) {
    const std::uint64_t total = static_cast<std::uint64_t>(w) * count + bit_offset;
    bit_offset = total % 8;
    raw.erase(raw.begin(), raw.begin() + static_cast<std::ptrdiff_t>(total / 8));
}

void ReferencePackedDecoder::dropLock() {
    locked = false;
    bit_offset = 0;
    state = State{};
}

PackedAlignment ReferencePackedDecoder::probe(const Bytes& raw, int bits, int width) {
    if (raw.empty() || bits < 1 || width < 1)
        return {};
    const int active = static_cast<int>(isActive(0)) + isActive(1) + isActive(2) + isActive(3);
    const int required = internal ? active : std::min(active, 2);
    const bool strict = internal && active > 1;
    const std::uint64_t limit = std::min<std::uint64_t>(raw.size() - 1, active < 2 ? 16 : 64);

    // Channel, flag and whether the payload is all ones, of the record at each bit.
    std::vector<std::uint8_t> heads;
    for (std::uint64_t bit = 0; bit + static_cast<std::uint64_t>(width) <= raw.size() * 8; ++bit) {
        if (bit >= (kSampleBytes + limit) * 8)
            break;
        const Record record = readRecord(raw, bit);
        const bool all_ones = record.payload == (std::uint64_t{1} << bits) - 1;
        heads.push_back(static_cast<std::uint8_t>(record.channel * 4 + record.flag * 2 + (all_ones ? 1 : 0)));
    }

    Candidate best;
    Candidate rejected;
    for (std::uint64_t byte = 0; byte <= limit; ++byte) {
        const std::uint64_t sample_bits = std::min(raw.size() - byte, kSampleBytes) * 8;
        for (std::uint64_t bit = 0;
             bit < std::min<std::uint64_t>(static_cast<std::uint64_t>(width), sample_bits); ++bit) {
            const Candidate found = simulate(heads, byte * 8 + bit, sample_bits - bit, bits, width);
            if (found.total == 0)
                continue;
            if (active < 2) {
                if (best.synced == 0 || found.synced > best.synced ||
                    (found.synced == best.synced && found.total > best.total))
                    best = found;
                continue;
            }
            if (found.synced < required)
                continue;
            if (strict && (found.min == 0 || found.min * 2 < found.max)) {
                if (found.synced > rejected.synced ||
                    (found.synced == rejected.synced && found.total > rejected.total))
                    rejected = found;
                continue;
            }
            if (found.synced > best.synced || (found.synced == best.synced && found.min > best.min) ||
                (found.synced == best.synced && found.min == best.min && found.total > best.total))
                best = found;
        }
    }
    if (best.synced == 0 && strict && rejected.synced > 0)
        log.push_back(text("reject internal alignment drop_bytes=", rejected.alignment.drop_bytes,
                           " bit_offset=", rejected.alignment.bit_offset, " synced=", rejected.synced, "/",
                           active, " min=", rejected.min, " max=", rejected.max, " total=", rejected.total));
    return best.alignment;
}

ReferencePackedDecoder::Candidate ReferencePackedDecoder::simulate(const std::vector<std::uint8_t>& heads,
                                                                   std::uint64_t first, std::uint64_t bits,
                                                                   int payload_bits, int width) const {
    const std::uint64_t step = static_cast<std::uint64_t>(width);
    std::uint64_t start = 0;
    std::array<bool, 4> synced{};
    std::array<std::uint64_t, 4> count{};
    int pending = -1;
    int chunks_left = 0;
    int chunk_channel = 0;
    for (std::uint64_t r = 0; r < bits / step; ++r) {
        const std::uint8_t head = heads[first + r * step];
        const int channel = head / 4;
        const bool flag = (head & 2) != 0;
        const bool all_ones = (head & 1) != 0;
        const auto at = static_cast<std::size_t>(channel);
        const bool in_sync = chunks_left >= 1;
        if (!isActive(channel) || (in_sync && (channel != chunk_channel || flag))) {
            start = r + 1;
            synced = {};
            count = {};
            pending = -1;
            chunks_left = 0;
        } else if (in_sync) {
            if (--chunks_left == 0)
                pending = chunk_channel;
        } else if (flag && all_ones) {
            chunks_left = (payload_bits + 40) / payload_bits;
            chunk_channel = channel;
        } else if (!flag && channel == pending) {
            synced[at] = true;
            ++count[at];
            pending = -1;
        } else if (!flag && synced[at]) {
            ++count[at];
        }
    }

    Candidate found;
    found.min = UINT64_MAX;
    for (int c = 0; c < 4; ++c) {
        const auto at = static_cast<std::size_t>(c);
        found.synced += synced[at] ? 1 : 0;
        found.total += count[at];
        if (!isActive(c))
            continue;
        found.min = std::min(found.min, count[at]);
        found.max = std::max(found.max, count[at]);
    }
    const std::uint64_t position = start * step + first % 8;
    found.alignment = {first / 8 + position / 8, position % 8, true};
    return found;
}

} // namespace qorn::testing
