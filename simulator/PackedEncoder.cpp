#include "PackedEncoder.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace qorn::simulator {

namespace {

constexpr unsigned kAbsoluteBits = 41;
constexpr std::uint8_t kAllInputs = (1 << kInputs) - 1;
constexpr unsigned kFewestMarkerBits = 4;
constexpr std::uint16_t kFirstRepeatedQuantumPs = 8;

// Overflow records are sent while they stay below this; at a counter wrap and behind long gaps there are
// many.
constexpr std::uint64_t kMostOverflowRecords = 4096;
// The same for quanta whose syncs would mislead a reader behind a counter wrap.
constexpr std::uint64_t kMostFineOverflowRecords = std::uint64_t{1} << 17;
// A sync tells a time within half a counter wrap: what comes after a longer gap is told by its difference.
constexpr std::int64_t kLongestSyncGapPs = 5 * kPsPerSecond;

// An input that is alone is given this long at the start before a silent one sends a beacon.
constexpr std::int64_t kFirstBeaconPs = 50 * kPsPerMillisecond;
constexpr std::uint64_t kFirstBeaconRecords = 12288;

} // namespace

PackedEncoder::PackedEncoder(const EncoderSettings& wanted)
    : settings(wanted), bits(wanted.deltaBits),
      shift(static_cast<unsigned>(std::countr_zero(wanted.quantumPs))),
      allOnes((std::uint64_t{1} << bits) - 1), syncChunks((kAbsoluteBits - 1 + bits) / bits),
      excessQuanta(wrapExcessPs(kAbsoluteFieldSpan << shift) >> shift),
      repeatPs(wanted.quantumPs >= kFirstRepeatedQuantumPs ? wanted.syncPs : wanted.fineSyncPs),
      watched(!wanted.internal && std::popcount(wanted.mask) > 1) {}

void PackedEncoder::flush(ByteBuffer& out) {
    const unsigned whole = pendingCount / 8;
    if (whole > 0) {
        out.putUnchecked(pendingBits << (64 - pendingCount), whole);
        pendingCount %= 8;
    }
}

void PackedEncoder::put(std::uint64_t record, ByteBuffer& out) {
    if (pendingCount + bits + 3 > 64) {
        flush(out);
    }
    pendingBits = pendingBits << (bits + 3) | record;
    pendingCount += bits + 3;
}

void PackedEncoder::putRecord(std::uint8_t input, bool flag, std::uint64_t payload, ByteBuffer& out) {
    out.reserveMore(16);
    put((std::uint64_t{input} << 1 | (flag ? 1u : 0u)) << bits | payload, out);
}

void PackedEncoder::encode(std::span<const Tag> tags, ByteBuffer& out, std::vector<Tag>* sent) {
    const std::size_t perTag = (bits + 3 + 7) / 8;
    out.reserveMore(tags.size() * perTag + 16);
    for (std::size_t i = 0; i < tags.size(); ++i) {
        const Tag& tag = tags[i];
        Input& input = inputs[tag.input];
        const std::int64_t quanta = tag.timePs >> shift;
        const auto delta = static_cast<std::uint64_t>(quanta - input.lastQuanta);
        const bool syncDue =
            repeatPs > 0 && (input.round != round || records >= nextRoundRecord || tag.timePs >= nextRoundPs);
        if (!input.started || syncDue || delta > allOnes || tag.timePs >= input.wrapAtPs ||
            (repeatPs == 0 && watched && firstWatch)) {
            encodeSlowly(tag, out, sent);
            out.reserveMore((tags.size() - i) * perTag + 16);
            continue;
        }
        put(std::uint64_t{tag.input} << (bits + 1) | delta, out);
        input.lastQuanta = quanta;
        heard = static_cast<std::uint8_t>(heard | 1u << tag.input);
        ++records;
        if (sent != nullptr) {
            markSent(tag, quanta, sent);
        }
    }
    flush(out);
}

void PackedEncoder::encodeSlowly(const Tag& tag, ByteBuffer& out, std::vector<Tag>* sent) {
    Input& input = inputs[tag.input];
    const std::int64_t quanta = tag.timePs >> shift;
    const bool wrapped = input.started && tag.timePs >= input.wrapAtPs;
    const std::int64_t difference = quanta - input.lastQuanta + (wrapped ? excessQuanta : 0);
    const bool roundDue = repeatPs > 0 && (records >= nextRoundRecord || tag.timePs >= nextRoundPs);
    if (roundDue && syncTakes(input, quanta, wrapped)) { // the marker's sync holds until that of the tag
        startRound(tag, out);
    }
    const bool synced = syncWanted(input, quanta, wrapped);
    if (synced) {
        sync(tag, out);
        delta(tag, 0, out);
    } else {
        delta(tag, difference, out);
    }
    settle(input, tag.timePs);
    heard = static_cast<std::uint8_t>(heard | 1u << tag.input);
    markSent(tag, quanta, sent);
    if (watched && (synced || firstWatch)) {
        watch(tag, out, sent);
    }
}

std::uint64_t PackedEncoder::overflowRecords(std::int64_t deltaQuanta) const {
    const std::uint64_t overflow = static_cast<std::uint64_t>(deltaQuanta) >> bits;
    if (overflow == 0) {
        return 0;
    }
    // a payload of all ones would be a sync, so that one bit leaves nothing to count with
    return bits == 1 ? std::numeric_limits<std::uint64_t>::max() : (overflow + allOnes - 2) / (allOnes - 1);
}

// Whether a reader can take a sync with the input's next tag.
bool PackedEncoder::syncTakes(const Input& input, std::int64_t quanta, bool wrapped) const {
    if (!input.started) {
        return true;
    }
    const std::int64_t gapQuanta = quanta - input.lastQuanta;
    if (gapQuanta == 0) {
        return false; // a reader takes a sync that does not move on for a fault
    }
    return gapQuanta << shift <= kLongestSyncGapPs ||
           overflowRecords(gapQuanta + (wrapped ? excessQuanta : 0)) > kMostOverflowRecords;
}

bool PackedEncoder::syncWanted(const Input& input, std::int64_t quanta, bool wrapped) const {
    if (!input.started) {
        return true;
    }
    if (quanta == input.lastQuanta) {
        return false;
    }
    const std::uint64_t overflow = overflowRecords(quanta - input.lastQuanta + (wrapped ? excessQuanta : 0));
    if (repeatPs == 0) {
        return overflow > kMostFineOverflowRecords;
    }
    return syncTakes(input, quanta, wrapped) && (overflow > kMostOverflowRecords || input.round != round ||
                                                 (!wrapped && overflow > syncChunks + 1));
}

void PackedEncoder::startRound(const Tag& tag, ByteBuffer& out) {
    const bool first = nextRoundRecord == 0;
    ++round;
    nextRoundRecord = records + settings.syncRecords;
    nextRoundPs = tag.timePs + repeatPs;
    if (!first && settings.marker && settings.mask == kAllInputs && bits >= kFewestMarkerBits) {
        constexpr std::uint8_t kLastInput = kInputs - 1; // whose channel bits are ones
        putRecord(kLastInput, true, allOnes >> 1, out);
        putRecord(kLastInput, true, allOnes - 1, out);
        putAbsolute(kLastInput, tag.timePs, out);
    }
}

void PackedEncoder::sync(const Tag& tag, ByteBuffer& out) {
    putAbsolute(tag.input, tag.timePs, out);
    inputs[tag.input].round = round;
}

void PackedEncoder::putAbsolute(std::uint8_t input, std::int64_t timePs, ByteBuffer& out) {
    putRecord(input, true, allOnes, out);
    const auto counter = static_cast<std::uint64_t>(timePs % kCounterWrapPs) >> shift;
    std::uint64_t field = counter % static_cast<std::uint64_t>(kAbsoluteFieldSpan);
    for (unsigned i = 0; i < syncChunks; ++i) {
        putRecord(input, false, field & allOnes, out);
        field >>= bits;
    }
}

void PackedEncoder::delta(const Tag& tag, std::int64_t deltaQuanta, ByteBuffer& out) {
    const auto whole = static_cast<std::uint64_t>(deltaQuanta);
    for (std::uint64_t overflow = whole >> bits; overflow > 0;) {
        const std::uint64_t part = std::min(overflow, allOnes - 1);
        putRecord(tag.input, true, part, out);
        overflow -= part;
    }
    putRecord(tag.input, false, whole & allOnes, out);
}

void PackedEncoder::watch(const Tag& tag, ByteBuffer& out, std::vector<Tag>* sent) {
    if (watchPs < 0) {
        watchPs = tag.timePs;
        return;
    }
    const bool alone = std::popcount(heard) == 1;
    const std::int64_t watchedPs = tag.timePs - watchPs;
    const bool longEnough = firstWatch ? watchedPs >= kFirstBeaconPs || records >= kFirstBeaconRecords
                                       : watchedPs >= settings.beaconPs;
    if (alone && !longEnough) {
        return;
    }
    if (alone) {
        beacon(tag.timePs, static_cast<std::uint8_t>(settings.mask & ~heard), out, sent);
    }
    firstWatch = false;
    watchPs = tag.timePs;
    heard = 0;
}

void PackedEncoder::beacon(std::int64_t timePs, std::uint8_t silent, ByteBuffer& out,
                           std::vector<Tag>* sent) {
    if (silent == 0) {
        return;
    }
    const Tag sign{timePs, static_cast<std::uint8_t>(std::countr_zero(silent))};
    Input& input = inputs[sign.input];
    const std::int64_t quanta = sign.timePs >> shift;
    if (input.started && quanta <= input.lastQuanta) {
        return;
    }
    sync(sign, out);
    delta(sign, 0, out);
    settle(input, sign.timePs);
    markSent(sign, quanta, sent);
}

// The input has sent a record of that time.
void PackedEncoder::settle(Input& input, std::int64_t timePs) {
    if (!input.started || timePs >= input.wrapAtPs) {
        input.wrapAtPs = (timePs / kCounterWrapPs + 1) * kCounterWrapPs;
    }
    input.started = true;
    input.lastQuanta = timePs >> shift;
    ++records;
}

void PackedEncoder::markSent(const Tag& tag, std::int64_t quanta, std::vector<Tag>* sent) const {
    if (sent != nullptr) {
        sent->push_back({quanta << shift, tag.input});
    }
}

void PackedEncoder::startMidRecord(ByteBuffer& out) {
    const unsigned half = (bits + 3) / 2;
    out.reserveMore(16);
    pendingBits = 0x2C9A6B5D & ((std::uint64_t{1} << half) - 1);
    pendingCount = half;
    flush(out);
}

} // namespace qorn::simulator
