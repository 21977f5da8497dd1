// The packed format: records of delta_bits + 3 bits without padding, with overflow records and sync
// sequences.
//
// Quanta of 8 ps and more repeat each input's sync; finer ones send one per input, since their absolute field
// is shorter than the coarse counter. A reader of external streams locks only on two inputs: when one input
// alone has sent anything for a while, a silent input of the mask sends a beacon, a sync with one record at
// the same time.
#pragma once

#include "StreamEncoder.h"

#include <array>

namespace qorn::simulator {

class PackedEncoder final : public StreamEncoder {
public:
    explicit PackedEncoder(const EncoderSettings& wanted);

    void encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) override;
    void startMidRecord(ByteBuffer& out) override;

private:
    struct Input {
        bool started = false;
        std::int64_t lastQuanta = 0; // unwrapped
        std::uint64_t round = 0;     // of the last sync
        std::int64_t wrapAtPs = 0;   // the counter wraps next at this time
    };

    void put(std::uint64_t record, ByteBuffer& out);
    void putRecord(std::uint8_t input, bool flag, std::uint64_t payload, ByteBuffer& out);
    void flush(ByteBuffer& out);

    // The general way, for whatever is no plain record; appends to `sent` itself.
    void encodeSlowly(const Tag& tag, ByteBuffer& out, std::vector<Tag>* sent);
    std::uint64_t overflowRecords(std::int64_t deltaQuanta) const;
    bool syncTakes(const Input& input, std::int64_t quanta, bool wrapped) const;
    bool syncWanted(const Input& input, std::int64_t quanta, bool wrapped) const;
    void startRound(const Tag& tag, ByteBuffer& out);
    void sync(const Tag& tag, ByteBuffer& out);
    void putAbsolute(std::uint8_t input, std::int64_t timePs, ByteBuffer& out);
    void delta(const Tag& tag, std::int64_t deltaQuanta, ByteBuffer& out);
    void settle(Input& input, std::int64_t timePs);
    void watch(const Tag& tag, ByteBuffer& out, std::vector<Tag>* sent);
    void beacon(std::int64_t timePs, std::uint8_t silent, ByteBuffer& out, std::vector<Tag>* sent);
    void markSent(const Tag& tag, std::int64_t quanta, std::vector<Tag>* sent) const;

    EncoderSettings settings;
    unsigned bits;
    unsigned shift; // quantum as a power of two
    std::uint64_t allOnes;
    unsigned syncChunks;
    std::int64_t excessQuanta;
    std::int64_t repeatPs; // 0: syncs are not repeated
    std::array<Input, kInputs> inputs;
    std::uint64_t records = 0; // data records so far
    std::uint64_t round = 0;   // of syncs: each input's next tag carries one
    std::uint64_t nextRoundRecord = 0;
    std::int64_t nextRoundPs = 0;

    bool watched;           // a reader needs two inputs
    bool firstWatch = true; // nothing has told a reader of a second input yet
    std::uint8_t heard = 0; // inputs with tags since the watch began
    std::int64_t watchPs = -1;

    std::uint64_t pendingBits = 0; // right-aligned
    unsigned pendingCount = 0;     // below 8 between calls
};

} // namespace qorn::simulator
