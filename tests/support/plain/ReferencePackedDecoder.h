// The packed format of the slow reference decoder.
#pragma once

#include "ReferenceDecoder.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace qorn::testing {

class ReferencePackedDecoder : public ReferenceFormat {
public:
    explicit ReferencePackedDecoder(const timing::StreamFileHeader& header);

    std::vector<timing::TimeTag> pass(Bytes& raw) override;
    timing::PackedAlignment probe(const Bytes& raw, int b, int w);

    bool locked = false;
    std::vector<std::string> log;

private:
    struct Record {
        int channel = 0;
        int flag = 0;
        std::uint64_t payload = 0;
    };

    struct Channel {
        std::int64_t prev_ps = 0;
        bool has_prev = false;
        std::uint64_t overflow_sum = 0;
        std::int64_t emitted_ps = 0;
        bool has_emitted = false;
    };

    // All that is forgotten when the lock is dropped.
    struct State {
        std::array<Channel, 4> channels;
        int sync_chunks_left = 0;
        int sync_channel = 0;
        std::uint64_t sync_accumulator = 0;
        int sync_bits = 0;
        int pending_sync_channel = -1;
        std::uint64_t pending_sync_base_ps = 0;
    };

    struct Pass {
        std::vector<timing::TimeTag> tags;
        std::array<std::uint64_t, 4> counts{};
        std::uint64_t records = 0;
    };

    struct Candidate {
        int synced = 0;
        std::uint64_t min = 0;
        std::uint64_t max = 0;
        std::uint64_t total = 0;
        timing::PackedAlignment alignment;
    };

    bool isActive(int channel) const { return (mask >> channel & 1) != 0; }
    std::uint64_t wrap() const;
    std::uint64_t excess() const;
    Record readRecord(const Bytes& raw, std::uint64_t bit) const;

    bool lock(Bytes& raw);
    bool take(const Record& record, std::uint64_t index, Pass& pass);
    bool takeChunk(const Record& record, std::uint64_t index);
    bool takeSyncedData(const Record& record, std::uint64_t delta, std::uint64_t index, Pass& pass);
    bool takeData(const Record& record, std::uint64_t delta, std::uint64_t index, Pass& pass);
    void finishSync(int channel);
    void emit(int channel, Pass& pass);
    bool isImbalanced(const Pass& pass);
    void consume(Bytes& raw, std::uint64_t count);
    void dropLock();
    Candidate simulate(const std::vector<std::uint8_t>& heads, std::uint64_t first, std::uint64_t bits, int b,
                       int w) const;

    int b;
    int w;
    int quantum_shift;
    int mask;
    bool internal;
    std::uint64_t bit_offset = 0;
    State state;
};

} // namespace qorn::testing
