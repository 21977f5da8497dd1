#include "RecordScan.h"

#include "Crc32.h"
#include "TagWords.h"
#include "WideInteger.h"
#include "WireWords.h"

#include <algorithm>
#include <limits>

namespace qorn::timing {
namespace {

constexpr std::uint64_t kBlockRecords = 4096; // a sum of 16 bits per channel holds them
static_assert(kBlockRecords < 65536);

bool isTime(Wide time) {
    using Limits = std::numeric_limits<std::int64_t>;
    return time >= Limits::min() && time <= Limits::max();
}

} // namespace

void RecordTimeline::expect(const RecordTime& time) {
    places.push_back({time.record, time.time_ps, 0, true});
}

void RecordTimeline::expect(const RecordSilence& silence) {
    places.push_back({silence.record, std::nullopt, silence.periods, true});
}

void RecordTimeline::expect(const RecordCheckpoint& checkpoint) {
    places.push_back({checkpoint.record, checkpoint.time_ps, 0, false});
}

void RecordTimeline::expect(const RecordingCompanion& companion) {
    auto silence = companion.silences.begin();
    for (const RecordCheckpoint& checkpoint : companion.checkpoints) {
        while (silence != companion.silences.end() && silence->record <= checkpoint.record) {
            expect(*silence++);
        }
        expect(checkpoint);
    }
    while (silence != companion.silences.end()) {
        expect(*silence++);
    }
}

std::uint64_t RecordTimeline::next_place() const {
    return places.empty() ? std::numeric_limits<std::uint64_t>::max() : places.front().record;
}

RecordTimeline::Placed RecordTimeline::at(std::uint64_t record, std::int64_t wrapped) {
    const Wide guessed = timeAxis.nearest(wrapped);
    Placed placed{static_cast<std::int64_t>(guessed), 0, false};
    for (; !places.empty() && places.front().record == record; places.pop_front()) {
        const Place& place = places.front();
        const Wide told =
            place.time_ps ? Wide{*place.time_ps} : guessed + Wide{place.periods} * kCoarseWrapPs;
        if (const Wide apart = told - guessed; isTime(told) && apart % kCoarseWrapPs == 0) {
            const auto periods = static_cast<std::int64_t>(apart / kCoarseWrapPs);
            placed = {static_cast<std::int64_t>(told), periods, placed.moved || place.moves || periods != 0};
        } else {
            ++misfitCount;
            firstMisfit = firstMisfit.value_or(record);
        }
    }
    if (placed.moved) {
        timeAxis.move_to(placed.time_ps, wrapped);
    } else {
        timeAxis.unwrap(wrapped);
    }
    return placed;
}

void RecordTimeline::pass(std::uint64_t record) {
    while (!places.empty() && places.front().record == record) {
        places.pop_front();
    }
}

void RecordScan::scan(std::span<const std::uint8_t> words, std::vector<RecordSilence>* found) {
    runningCrc = crc32_of(words, runningCrc);
    while (words.size() >= kTagWordBytes) {
        const std::uint64_t toPlace = line.next_place() - recordCount;
        if (toPlace == 0 || !first) {
            scanPlace(load_be64(words.data()), found);
            words = words.subspan(kTagWordBytes);
            continue;
        }
        const std::uint64_t run =
            std::min({std::uint64_t{words.size() / kTagWordBytes}, toPlace, kBlockRecords});
        scanRun(words.first(run * kTagWordBytes));
        words = words.subspan(run * kTagWordBytes);
    }
}

// Records whose times follow from those before them. Most runs lie in a short span of time, and then the
// ends of that span tell all that is to be known of the axis.
void RecordScan::scanRun(std::span<const std::uint8_t> words) {
    constexpr std::uint64_t kTimeAndWrap = ~kTagWordFixedBits & ~(std::uint64_t{3} << 61);
    std::uint64_t packed = 0; // counts of the channels, 16 bits each
    std::uint64_t fixed = 0;
    std::uint64_t least = kTimeAndWrap;
    std::uint64_t most = 0;
    for (std::size_t at = 0; at < words.size(); at += kTagWordBytes) {
        const std::uint64_t word = load_be64(words.data() + at);
        fixed |= word;
        packed += std::uint64_t{1} << (word >> 61 << 4 & 63);
        least = std::min(least, word & kTimeAndWrap);
        most = std::max(most, word & kTimeAndWrap);
    }
    StreamTimeAxis& axis = line.axis();
    if ((fixed & kTagWordFixedBits) != 0 || most >= static_cast<std::uint64_t>(kCoarseWrapPs) ||
        !axis.spans(static_cast<std::int64_t>(least), static_cast<std::int64_t>(most))) [[unlikely]] {
        scanOneByOne(words);
        return;
    }
    const std::uint64_t lastWord = load_be64(words.data() + words.size() - kTagWordBytes);
    last = static_cast<std::int64_t>(axis.nearest(wrapped_time(lastWord)));
    axis.unwrap(static_cast<std::int64_t>(most));
    for (std::size_t channel = 0; channel < counts.size(); ++channel) {
        counts[channel] += packed >> (16 * channel) & 0xFFFF;
    }
    recordCount += words.size() / kTagWordBytes;
}

void RecordScan::scanOneByOne(std::span<const std::uint8_t> words) {
    StreamTimeAxis axis = line.axis(); // in registers
    for (std::size_t at = 0; at < words.size(); at += kTagWordBytes) {
        const std::uint64_t word = load_be64(words.data() + at);
        if ((word & kTagWordFixedBits) != 0) {
            noteBad(recordCount++, 1);
            continue;
        }
        ++counts[word >> 61];
        last = axis.unwrap(wrapped_time(word));
        ++recordCount;
    }
    line.axis() = axis;
}

void RecordScan::scanPlace(std::uint64_t word, std::vector<RecordSilence>* found) {
    if ((word & kTagWordFixedBits) != 0) {
        line.pass(recordCount);
        noteBad(recordCount++, 1);
        return;
    }
    const RecordTimeline::Placed placed = line.at(recordCount, wrapped_time(word));
    ++counts[word >> 61];
    if (!first) {
        first = placed.time_ps;
    } else if (placed.moved && found != nullptr) {
        found->push_back({recordCount, placed.periods});
    }
    last = placed.time_ps;
    ++recordCount;
}

void RecordScan::noteBad(std::uint64_t record, std::uint64_t count) {
    badRecords += count;
    firstBad = firstBad.value_or(record);
}

} // namespace qorn::timing
