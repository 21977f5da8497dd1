#include "PackedAlignmentProbe.h"

#include <algorithm>
#include <array>
#include <vector>

namespace qorn::timing {
namespace {

constexpr std::size_t kSampleBytes = 65536;

// What the simulated decoder has found behind the last fault of one candidate.
struct Outcome {
    std::uint64_t start = 0; // index of the first record after the last fault
    std::array<bool, kChannels> synced{};
    std::array<std::uint64_t, kChannels> count{};
};

// An outcome, summed over the active channels.
struct Score {
    int synced = 0;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    std::uint64_t total = 0;
};

struct Candidate {
    PackedAlignment alignment;
    Score score;
};

Score score_of(const Outcome& outcome, const PackedFormat& format) {
    Score score;
    bool first = true;
    for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
        if (!format.is_active(channel)) {
            continue;
        }
        const std::uint64_t count = outcome.count[channel];
        score.synced += outcome.synced[channel] ? 1 : 0;
        score.minimum = first ? count : std::min(score.minimum, count);
        score.maximum = std::max(score.maximum, count);
        score.total += count;
        first = false;
    }
    return score;
}

// Bit positions of all records that would be sync starts, by the residue of the position modulo the record
// width, each list rising. Between them a candidate that has no sync yet needs no look at its records.
class SyncStarts {
public:
    SyncStarts(std::span<const std::uint8_t> bytes, const PackedFormat& format)
        : width(static_cast<std::uint64_t>(format.record_bits())), positions(width) {
        const auto ones_needed = static_cast<std::uint64_t>(format.delta_bits) + 1; // flag and payload
        std::uint64_t ones = 0;
        for (std::uint64_t bit = 0; bit < bytes.size() * 8; ++bit) {
            const bool one = ((bytes[bit / 8] >> (7 - bit % 8)) & 1) != 0;
            ones = one ? ones + 1 : 0;
            if (ones >= ones_needed && bit + 1 >= width) {
                const std::uint64_t position = bit + 1 - width;
                positions[position % width].push_back(position);
            }
        }
    }

    // Index of the first sync start among the records at `position`, `position` + width, ..., `records` of
    // them, from the record `index` on; `records` when there is none.
    std::uint64_t next(std::uint64_t position, std::uint64_t index, std::uint64_t records) const {
        const auto& list = positions[position % width];
        const auto found = std::lower_bound(list.begin(), list.end(), position + index * width);
        return found == list.end() ? records : std::min((*found - position) / width, records);
    }

private:
    std::uint64_t width;
    std::vector<std::vector<std::uint64_t>> positions;
};

class Probe {
public:
    Probe(std::span<const std::uint8_t> bytes, const PackedFormat& packed)
        : raw(bytes), format(packed), width(static_cast<std::uint64_t>(packed.record_bits())),
          active(format.active_channels()), several(active > 1),
          required(format.internal ? active : std::min(active, 2)), strict(format.internal && several),
          last_offset(std::min<std::size_t>(raw.size() - 1, several ? 64 : 16)),
          sync_starts(raw.first(std::min(raw.size(), last_offset + kSampleBytes)), format) {}

    void run();

    // Each stands once its alignment is ok.
    Candidate winner;
    Candidate rejected; // the best that failed the balance test, for the log

private:
    Outcome simulate(std::uint64_t position, std::uint64_t records) const;
    std::uint64_t followSyncs(std::uint64_t position, std::uint64_t index, std::uint64_t records,
                              Outcome& outcome) const;
    PackedRecord recordAt(std::uint64_t position, std::uint64_t index) const {
        return PackedFormat::split(load_bits(raw, position + index * width), format.delta_bits);
    }
    void consider(std::uint64_t byte_offset, std::uint64_t bit_offset, const Outcome& outcome);
    bool beats(const Score& score, const Score& best) const;

    std::span<const std::uint8_t> raw;
    const PackedFormat& format;
    std::uint64_t width;
    int active;
    bool several;
    int required;
    bool strict;
    std::size_t last_offset;
    SyncStarts sync_starts;
};

void Probe::run() {
    for (std::size_t byte_offset = 0; byte_offset <= last_offset; ++byte_offset) {
        const std::uint64_t sample_bits = std::min(raw.size() - byte_offset, kSampleBytes) * 8;
        for (std::uint64_t bit_offset = 0; bit_offset < std::min(width, sample_bits); ++bit_offset) {
            consider(byte_offset, bit_offset,
                     simulate(byte_offset * 8 + bit_offset, (sample_bits - bit_offset) / width));
        }
    }
}

// Follows the decoder's state machine over the records. While no channel is synced and no sync runs, nothing
// but a sync start or a record of an inactive channel has an effect, so the walk goes from sync start to sync
// start.
Outcome Probe::simulate(std::uint64_t position, std::uint64_t records) const {
    Outcome outcome;
    for (;;) {
        const std::uint64_t sync = sync_starts.next(position, outcome.start, records);
        if (sync == records) {
            return outcome; // unsynced, and so no candidate wherever it starts
        }
        for (std::uint64_t index = sync + 1; index > outcome.start; --index) {
            if (!format.is_active(recordAt(position, index - 1).channel)) {
                outcome.start = index;
            }
        }
        if (outcome.start == sync + 1) {
            continue;
        }
        const std::uint64_t fault = followSyncs(position, sync, records, outcome);
        if (fault == records) {
            return outcome;
        }
        outcome = Outcome{fault + 1, {}, {}};
    }
}

// Takes the records from the sync start at `index` on into the outcome; returns the index of the first that
// is a fault, or `records`.
std::uint64_t Probe::followSyncs(std::uint64_t position, std::uint64_t index, std::uint64_t records,
                                 Outcome& outcome) const {
    const std::uint64_t ones = format.all_ones();
    std::int64_t pending = -1;
    int chunks_left = 0;
    std::uint32_t chunk_channel = 0;
    for (; index < records; ++index) {
        const PackedRecord record = recordAt(position, index);
        if (!format.is_active(record.channel) ||
            (chunks_left > 0 && (record.channel != chunk_channel || record.flag))) {
            return index;
        }
        if (chunks_left > 0) {
            if (--chunks_left == 0) {
                pending = chunk_channel;
            }
        } else if (record.flag) {
            if (record.payload == ones) {
                chunks_left = format.sync_chunks();
                chunk_channel = record.channel;
            }
        } else if (pending == record.channel) {
            outcome.synced[record.channel] = true;
            ++outcome.count[record.channel];
            pending = -1;
        } else if (outcome.synced[record.channel]) {
            ++outcome.count[record.channel];
        }
    }
    return records;
}

void Probe::consider(std::uint64_t byte_offset, std::uint64_t bit_offset, const Outcome& outcome) {
    const Score score = score_of(outcome, format);
    if (score.synced == 0 || score.total == 0) {
        return;
    }
    const std::uint64_t position = outcome.start * width + bit_offset;
    const Candidate candidate{{byte_offset + position / 8, position % 8, true}, score};
    if (several && score.synced < required) {
        return;
    }
    if (strict && (score.minimum == 0 || score.minimum * 2 < score.maximum)) {
        if (!rejected.alignment.ok || score.synced > rejected.score.synced ||
            (score.synced == rejected.score.synced && score.total > rejected.score.total)) {
            rejected = candidate;
        }
        return;
    }
    if (!winner.alignment.ok || beats(score, winner.score)) {
        winner = candidate;
    }
}

bool Probe::beats(const Score& score, const Score& best) const {
    if (score.synced != best.synced) {
        return score.synced > best.synced;
    }
    if (several && score.minimum != best.minimum) {
        return score.minimum > best.minimum;
    }
    return score.total > best.total;
}

} // namespace

PackedAlignment find_packed_alignment(std::span<const std::uint8_t> raw, const PackedFormat& format,
                                      PackedDebugLog& debug) {
    if (raw.empty()) {
        return {};
    }
    Probe probe(raw, format);
    probe.run();
    if (probe.winner.alignment.ok) {
        return probe.winner.alignment;
    }
    if (probe.rejected.alignment.ok) {
        const auto& [alignment, score] = probe.rejected;
        debug.line("reject internal alignment drop_bytes=", alignment.drop_bytes,
                   " bit_offset=", alignment.bit_offset, " synced=", score.synced, "/",
                   format.active_channels(), " min=", score.minimum, " max=", score.maximum,
                   " total=", score.total);
    }
    return {};
}

} // namespace qorn::timing
