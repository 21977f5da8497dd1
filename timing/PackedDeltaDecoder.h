// Decoder of the packed delta format: bit-packed records of delta_bits + 3 bits with a delta, overflow
// records and absolute-time sync sequences. Finds and keeps the record boundaries; unlocks when a record
// shows that they are wrong, and then looks for them again in the next pass.
#pragma once

#include "PackedAlignmentProbe.h"
#include "PackedDebugLog.h"
#include "PackedFormat.h"
#include "StreamBuffer.h"
#include "StreamFileHeader.h"
#include "TimeTag.h"

#include <array>
#include <cstdint>
#include <span>

namespace qorn::timing {

class PackedDeltaDecoder {
public:
    explicit PackedDeltaDecoder(const StreamFileHeader& header);

    // One pass over what is pending: locks when needed, consumes whole records, appends tags in stream order.
    void feed_packed_delta(StreamBuffer& raw, TagBuffer& out);

    // Looks for record boundaries in the first bytes of `raw`; changes nothing but the count of debug lines.
    PackedAlignment probe_packed_alignment(std::span<const std::uint8_t> raw, int delta_bits,
                                           int record_bits) const;

    bool is_locked() const { return locked; }

    // Bytes behind the first tag, of records that showed a wrong lock and of the search for the next, and of
    // tags that had no time behind it. To within a byte for each lock.
    std::uint64_t skipped_bytes() const { return skipped_bits / 8; }

private:
    // Per channel: the running absolute time, and the overflows since its last data record.
    struct Lane {
        std::int64_t prev_ps = 0;
        std::uint64_t overflow_sum = 0; // in units of 2^delta_bits quanta
        bool has_prev = false;
    };

    bool lock(StreamBuffer& raw);
    void consume_packed_records(StreamBuffer& raw, std::uint64_t count);
    void drop_packed_lock();
    void skipBits(std::uint64_t bits);

    // Decodes ordinary records from `record` on and stops at the first that is none; returns its index.
    struct OrdinaryRun;
    std::uint64_t runOrdinary(const std::uint8_t* bytes, std::uint64_t record, std::uint64_t records,
                              TimeTag*& tag);
    std::uint64_t runDefaultWidth(const std::uint8_t* bytes, std::uint64_t record, std::uint64_t records,
                                  OrdinaryRun& state, TimeTag*& tag) const;
    std::uint64_t runAnyWidth(const std::uint8_t* bytes, std::uint64_t record, std::uint64_t records,
                              OrdinaryRun& state, TimeTag*& tag) const;

    // Each decides on one record of any kind; false means that the lock is wrong.
    bool acceptRecord(const PackedRecord& record, std::uint64_t index, std::uint64_t records, TimeTag*& tag);
    bool acceptSyncChunk(const PackedRecord& record, std::uint64_t index);
    bool acceptData(const PackedRecord& record, std::uint64_t index, TimeTag*& tag);
    bool acceptFirstAfterSync(std::uint32_t channel, std::uint64_t delta, std::uint64_t index);
    bool acceptDelta(std::uint32_t channel, std::uint64_t delta, std::uint64_t index);
    void beginSync(std::uint32_t channel);
    void finishSync();
    bool isImbalanced(std::span<const TimeTag> tags, std::uint64_t records);

    PackedFormat format;
    std::uint64_t ordinary_bound_ps = 0; // see runOrdinary
    bool locked = false;
    unsigned bit_offset = 0; // 0 to 7: where the next record begins in the first pending byte
    std::array<Lane, kChannels> lanes{};
    int sync_chunks_left = 0;
    std::uint32_t sync_channel = 0;
    std::uint64_t sync_accumulator = 0;
    int sync_bits = 0;
    int pending_sync_channel = -1; // whose next data record takes pending_sync_base_ps
    std::uint64_t pending_sync_base_ps = 0;
    bool begun = false; // there was a tag
    std::uint64_t skipped_bits = 0;
    mutable PackedDebugLog debug;
};

} // namespace qorn::timing
