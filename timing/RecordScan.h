// Reads the words of a recording's records in order: their CRC, how many of which channel, and their absolute
// times, which it is told where the words alone do not tell. A plain single-threaded object.
#pragma once

#include "RecordTimes.h"
#include "RecordingCompanion.h"
#include "StreamTimeAxis.h"

#include <array>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <utility>

namespace qorn::timing {

// The absolute time of records, in their order: the axis of their words, put right at known places.
class RecordTimeline {
public:
    // Places that put it right, in ascending order and ahead of what was read. A time that does not agree
    // with its record's word, or does not fit 64 bits, is a misfit and changes nothing.
    void expect(const RecordTime& time);              // where the words alone go wrong
    void expect(const RecordSilence& silence);        // such a place, as a companion tells of it
    void expect(const RecordCheckpoint& checkpoint);  // where they are right, when all silences are known
    void expect(const RecordingCompanion& companion); // its checkpoints and silences

    // What is expected still does not count any more.
    void forget_places() { places.clear(); }
    bool has_places() const { return !places.empty(); }

    // Up to this record the axis alone gives the times; at this one it is to be at().
    std::uint64_t next_place() const;

    StreamTimeAxis& axis() { return timeAxis; }
    const StreamTimeAxis& axis() const { return timeAxis; }

    struct Placed {
        std::int64_t time_ps = 0;
        std::int64_t periods = 0; // that went by unseen
        bool moved = false;       // the axis goes on from here, whatever came before
    };
    // The time of the record `record` whose word has the time `wrapped`; next_place() is not before it.
    Placed at(std::uint64_t record, std::int64_t wrapped);

    // In the place of at(), for a word that has no time.
    void pass(std::uint64_t record);

    std::uint64_t misfits() const { return misfitCount; }
    std::optional<std::uint64_t> first_misfit() const { return firstMisfit; }

private:
    struct Place {
        std::uint64_t record = 0;
        std::optional<std::int64_t> time_ps; // else `periods` tells it
        std::int64_t periods = 0;
        bool moves = false; // also without periods
    };

    StreamTimeAxis timeAxis;
    std::deque<Place> places;
    std::uint64_t misfitCount = 0;
    std::optional<std::uint64_t> firstMisfit;
};

class RecordScan {
public:
    RecordTimeline& timeline() { return line; }
    const RecordTimeline& timeline() const { return line; }

    // Whole records. Silences that are found at expected times are appended to `found`.
    void scan(std::span<const std::uint8_t> words, std::vector<RecordSilence>* found = nullptr);

    std::uint64_t records() const { return recordCount; }
    const std::array<std::uint64_t, kChannels>& tags_of_channel() const { return counts; }
    std::optional<std::int64_t> first_time() const { return first; }
    std::optional<std::int64_t> last_time() const { return last; }
    // Words that are no tags, which have neither channel nor time here; and the first of them.
    std::uint64_t bad_records() const { return badRecords; }
    std::optional<std::uint64_t> first_bad_record() const { return firstBad; }

    // Of the words since the last take_crc(), which begins anew.
    std::uint32_t crc() const { return runningCrc; }
    std::uint32_t take_crc() { return std::exchange(runningCrc, 0); }

private:
    void scanRun(std::span<const std::uint8_t> words);
    void scanOneByOne(std::span<const std::uint8_t> words);
    void scanPlace(std::uint64_t word, std::vector<RecordSilence>* found);
    void noteBad(std::uint64_t record, std::uint64_t count);

    RecordTimeline line;
    std::uint64_t recordCount = 0;
    std::array<std::uint64_t, kChannels> counts{};
    std::optional<std::int64_t> first;
    std::optional<std::int64_t> last;
    std::uint64_t badRecords = 0;
    std::optional<std::uint64_t> firstBad;
    std::uint32_t runningCrc = 0;
};

} // namespace qorn::timing
