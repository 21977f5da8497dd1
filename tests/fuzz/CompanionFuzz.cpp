// Any text as a companion: refused with a text, or read to what is written as it was, and used for the times
// of a small recording as the format says. The text's own CRC is made right first, so that the parser sees
// it.
#include "CompanionStream.h"
#include "Crc32.h"
#include "Error.h"
#include "FileDescriptor.h"
#include "FuzzTarget.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "StreamFileReader.h"
#include "WideInteger.h"
#include "WireWords.h"

#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mman.h>

namespace {

using namespace qorn::timing;
using qorn::testing::companionStream;
using qorn::testing::CompanionStream;
using qorn::testing::require;

std::optional<RecordingCompanion> parsed(std::string_view text) {
    try {
        return companion_from_json(text);
    } catch (const CompanionFault& fault) {
        require(fault.what()[0] != '\0', "a refusal says why");
        return std::nullopt;
    }
}

// The text with the right CRC behind all that stands ahead of its last one, or as it is without any.
std::string sealed(std::string_view text) {
    constexpr std::string_view kKey = ",\n\"crc32\":\"";
    const std::size_t end = text.rfind(kKey);
    if (end == std::string_view::npos) {
        return std::string(text);
    }
    const std::string_view front = text.substr(0, end);
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08x",
                  crc32_of({reinterpret_cast<const std::uint8_t*>(front.data()), front.size()}));
    return std::string(front) + std::string(kKey) + digits + "\"}\n";
}

// The times of the recording's records with a companion, found step by step from the format's description.
class SlowTimes {
public:
    SlowTimes(const RecordingCompanion& told, std::span<const std::uint8_t> words) : companion(told) {
        for (std::size_t at = 0; at < words.size(); at += kTagWordBytes) {
            add(at / kTagWordBytes, wrapped_time(load_be64(words.data() + at)));
        }
    }
    // Empty when a time is none of 64 bits.
    std::optional<std::vector<std::int64_t>> times() const {
        return fits ? std::optional(all) : std::nullopt;
    }
    bool misfit() const { return left; }

private:
    void add(std::uint64_t record, std::int64_t word) {
        Wide time = word;
        if (record > 0) {
            while (latest - time > kHalfCoarseWrapPs) {
                time += skip(latest - time);
            }
            while (time - latest > kHalfCoarseWrapPs) {
                time -= skip(time - latest);
            }
        }
        bool moved = record == 0;
        const Wide near = time;
        for (const RecordSilence& silence : companion.silences) {
            if (silence.record == record && !left) {
                time = near + Wide{silence.periods} * kCoarseWrapPs;
                moved = true;
            }
        }
        if (!isTime(time) && isTime(near)) {
            time = near;
            left = true;
            moved = record == 0; // what does not fit changes nothing
        }
        for (const RecordCheckpoint& checkpoint : companion.checkpoints) {
            if (checkpoint.record == record && !left) {
                left = (checkpoint.time_ps - near) % kCoarseWrapPs != 0;
                moved = moved || (!left && checkpoint.time_ps != near);
                time = left ? time : Wide{checkpoint.time_ps};
            }
        }
        fits = fits && isTime(time);
        latest = moved || time > latest ? time : latest;
        all.push_back(static_cast<std::int64_t>(time));
    }
    // Whole periods that are surely among so many ps.
    static Wide skip(Wide ps) {
        const Wide periods = ps / kCoarseWrapPs;
        return (periods < 1 ? 1 : periods) * kCoarseWrapPs;
    }
    static bool isTime(Wide time) {
        using Limits = std::numeric_limits<std::int64_t>;
        return time >= Limits::min() && time <= Limits::max();
    }

    const RecordingCompanion& companion;
    std::vector<std::int64_t> all;
    Wide latest = 0;
    bool fits = true;
    bool left = false; // the companion does not agree with the records
};

// The recording as a regular file without a folder.
std::filesystem::path recordingPath(const CompanionStream& stream) {
    static const FileDescriptor file(::memfd_create("recording", MFD_CLOEXEC));
    static const bool written =
        file.write(stream.head) == stream.head.size() && file.write(stream.words) == stream.words.size();
    require(written, "there is a file");
    return "/proc/self/fd/" + std::to_string(file.get());
}

// Returns whether times stay within 64 bits.
bool checkReading(const RecordingCompanion& companion, const CompanionStream& stream) {
    StreamFileReader reader;
    reader.open(recordingPath(stream));
    reader.use_times(companion);
    std::vector<TimeTag> tags;
    for (auto more = reader.read(); !more.empty(); more = reader.read()) {
        tags.insert(tags.end(), more.begin(), more.end());
    }
    require(tags.size() * kTagWordBytes == stream.words.size(), "each record is a tag");
    const SlowTimes slow(companion, stream.words);
    const auto times = slow.times();
    for (std::size_t index = 0; index < tags.size(); ++index) {
        const std::uint64_t word = load_be64(stream.words.data() + index * kTagWordBytes);
        require(tags[index].channel == word >> 61, "a tag has its record's channel");
        require(!times || tags[index].timestamp_ps == (*times)[index], "times are as the companion tells");
    }
    require(!times || reader.times_misfit() == slow.misfit(), "a companion of other records is told");
    return times.has_value();
}

// What a recovery makes of the recording and the companion is a companion again.
void checkTally(const RecordingCompanion& companion, const CompanionStream& stream) {
    RecordingTally tally(stream.head);
    tally.expect(companion);
    for (const RecordingLoss& loss : companion.losses) {
        tally.add(loss);
    }
    tally.add(stream.words);
    const RecordingCompanion made = tally.companion(PartEnd::Recovered, companion.error);
    const auto again = parsed(companion_to_json(made));
    require(again && again->records == tally.records() && again->silences == made.silences,
            "a companion that was made is read");
    require(again->last_time_ps == made.last_time_ps, "its times are read");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const CompanionStream stream = companionStream();
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    const std::string whole = sealed(text);
    const std::optional<RecordingCompanion> companion = parsed(whole);
    if (whole != text) {
        require(!parsed(text), "a text with another CRC is refused");
    }
    if (!companion) {
        return 0;
    }
    const std::string written = companion_to_json(*companion);
    const auto again = parsed(written);
    require(again && *again == *companion, "a companion that was read is written as it was");
    require(companion_to_json(*again) == written, "and again");
    if (checkReading(*companion, stream)) {
        checkTally(*companion, stream);
    }
    return 0;
}
