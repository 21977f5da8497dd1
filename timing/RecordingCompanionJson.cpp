// The text of a companion file: see RecordingCompanionFile.h.
#include "BoundedJson.h"
#include "Crc32.h"
#include "RecordingCompanionFile.h"
#include "WideInteger.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace qorn::timing {
namespace {

using Json = nlohmann::json;

constexpr const char* kFileType = "qorn_timing_recording_companion";
constexpr std::size_t kFileTypeBytes = 64;
constexpr std::string_view kCrcKey = ",\n\"crc32\":\"";
constexpr std::string_view kEnding = "\"}\n";
constexpr std::size_t kCrcDigits = 8;
constexpr std::uint64_t kMostRecords = std::uint64_t{1} << 53; // which readers of JSON keep exact
constexpr auto kMostPeriods =
    static_cast<std::int64_t>((Wide{1} << 64) / kCoarseWrapPs + 1); // of 64 bits of ps
constexpr std::uint64_t kMostHeadBytes = 0x1'0000'0000 + 12;

std::uint32_t crcOf(std::string_view text) {
    return crc32_of({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

std::string hex(std::uint32_t crc) {
    std::string digits(kCrcDigits, '0');
    for (std::size_t at = kCrcDigits; at-- > 0; crc >>= 4) {
        digits[at] = "0123456789abcdef"[crc & 15];
    }
    return digits;
}

// --- writing -------------------------------------------------------------------------------------------

std::string quoted(const std::string& text) {
    return Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string timeText(std::int64_t time) {
    return '"' + std::to_string(time) + '"';
}

std::string timeText(const std::optional<std::int64_t>& time) {
    return time ? timeText(*time) : "null";
}

template <typename Elements, typename Append>
std::string list(const Elements& elements, Append&& append) {
    std::string text = "[";
    for (const auto& element : elements) {
        if (text.size() > 1) {
            text += ',';
        }
        append(text, element);
    }
    return text += ']';
}

void appendCheckpoint(std::string& text, const RecordCheckpoint& checkpoint) {
    text += '[';
    text += std::to_string(checkpoint.record);
    text += ',';
    text += timeText(checkpoint.time_ps);
    text += ",\"";
    text += hex(checkpoint.crc);
    text += "\"]";
}

void appendLoss(std::string& text, const RecordingLoss& loss) {
    text += '[';
    text += std::to_string(loss.record);
    text += ',';
    text += timeText(loss.time_ps);
    text += ',';
    text += quoted(loss.stage);
    text += ',';
    text += std::to_string(loss.count);
    text += ']';
}

class Lines {
public:
    void add(std::string_view key, std::string_view value) {
        text += text.empty() ? "{\n\"" : ",\n\"";
        text += key;
        text += "\":";
        text += value;
    }
    void add(std::string_view key, std::uint64_t value) { add(key, std::string_view(std::to_string(value))); }
    std::string text;
};

// --- reading -------------------------------------------------------------------------------------------

[[noreturn]] void fail(std::string_view key, std::string_view what) {
    throw CompanionFault("has a \"" + std::string(key) + "\" that " + std::string(what));
}

std::uint64_t number(const Json& value, std::string_view key, std::uint64_t most = kMostRecords) {
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
        fail(key, "is no number from 0 to " + std::to_string(most));
    }
    return value.get<std::uint64_t>();
}

std::int64_t wholeNumber(const Json& value, std::string_view key, std::int64_t most) {
    if (value.is_number_unsigned()) {
        return static_cast<std::int64_t>(number(value, key, static_cast<std::uint64_t>(most)));
    }
    if (!value.is_number_integer() || value.get<std::int64_t>() < -most) {
        fail(key, "is no whole number of at most " + std::to_string(most));
    }
    return value.get<std::int64_t>();
}

const std::string& text(const Json& value, std::string_view key, std::size_t most) {
    if (!value.is_string() || value.get_ref<const std::string&>().size() > most) {
        fail(key, "is no text of at most " + std::to_string(most) + " bytes");
    }
    return value.get_ref<const std::string&>();
}

std::int64_t time(const Json& value, std::string_view key) {
    constexpr std::size_t kMostDigits = 20;
    const std::string& digits = text(value, key, kMostDigits);
    std::int64_t ps = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, ps);
    if (error != std::errc() || stopped != end) {
        fail(key, "is no time in ps");
    }
    return ps;
}

std::optional<std::int64_t> optionalTime(const Json& value, std::string_view key) {
    return value.is_null() ? std::nullopt : std::optional(time(value, key));
}

std::optional<std::uint32_t> crcFrom(std::string_view digits) {
    std::uint32_t crc = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, crc, 16);
    if (digits.size() != kCrcDigits || error != std::errc() || stopped != end) {
        return std::nullopt;
    }
    return crc;
}

std::uint32_t crc(const Json& value, std::string_view key) {
    const auto found = crcFrom(text(value, key, kCrcDigits));
    if (!found) {
        fail(key, "is no CRC of eight hexadecimal digits");
    }
    return *found;
}

const Json& array(const Json& value, std::string_view key, std::size_t most) {
    if (!value.is_array() || value.size() > most) {
        fail(key, "is no list of at most " + std::to_string(most));
    }
    return value;
}

Json parsed(std::string_view json) {
    // Full lists make up half of the values, above all by the two of each silence; the others are for keys of
    // later versions.
    constexpr detail::JsonBounds kBounds{.kept_depth = 3,
                                         .most_values = 4 * RecordingCompanion::kMostSilences};
    try {
        return detail::parse_bounded_object(json, kBounds);
    } catch (const detail::JsonFault& fault) {
        throw CompanionFault(fault.what());
    }
}

class Members {
public:
    explicit Members(const Json& object) : root(object) {}

    const Json& member(const char* key) const {
        const auto found = root.find(key);
        if (found == root.end()) {
            throw CompanionFault("has no \"" + std::string(key) + '"');
        }
        return *found;
    }
    std::uint64_t count(const char* key, std::uint64_t most = kMostRecords) const {
        return number(member(key), key, most);
    }
    // None where it is null or, in files of earlier versions, absent.
    std::optional<std::uint64_t> optionalCount(const char* key, std::uint64_t most) const {
        const auto found = root.find(key);
        return found == root.end() || found->is_null() ? std::nullopt
                                                       : std::optional(number(*found, key, most));
    }

private:
    const Json& root;
};

std::vector<RecordCheckpoint> checkpoints(const Json& value, std::uint64_t records) {
    constexpr const char* kKey = "checkpoints";
    std::vector<RecordCheckpoint> all;
    for (const Json& entry : array(value, kKey, RecordingCompanion::kMostCheckpoints)) {
        if (array(entry, kKey, 3).size() != 3) {
            fail(kKey, "has an entry that is no record, time and CRC");
        }
        const RecordCheckpoint checkpoint{number(entry[0], kKey), time(entry[1], kKey), crc(entry[2], kKey)};
        const bool inPlace = all.empty() ? checkpoint.record == 0 : checkpoint.record > all.back().record;
        if (!inPlace || checkpoint.record >= records) {
            fail(kKey, "is not in the order of the records");
        }
        all.push_back(checkpoint);
    }
    if (all.empty() && records > 0) {
        fail(kKey, "does not begin with record 0");
    }
    return all;
}

std::vector<RecordSilence> silences(const Json& value, std::uint64_t records) {
    constexpr const char* kKey = "silences";
    std::vector<RecordSilence> all;
    std::uint64_t record = 0;
    const Json& pairs = array(value, kKey, 2 * RecordingCompanion::kMostSilences);
    if (pairs.size() % 2 != 0) {
        fail(kKey, "is not made of pairs");
    }
    for (std::size_t at = 0; at < pairs.size(); at += 2) {
        const std::uint64_t step = number(pairs[at], kKey);
        record += step;
        if (step == 0 || record >= records) {
            fail(kKey, "is not in the order of the records");
        }
        all.push_back({record, wholeNumber(pairs[at + 1], kKey, kMostPeriods)});
    }
    return all;
}

// Where the latest time of the stream can be: it grows by half a period per record at most, falls only at
// silences, and is known at checkpoints.
struct TimeReach {
    Wide least = 0;
    Wide most = 0;

    void moveTo(const RecordCheckpoint& checkpoint) {
        least = checkpoint.time_ps;
        most = least + kHalfCoarseWrapPs;
    }
    void pass(std::uint64_t records) { most += Wide{records} * kHalfCoarseWrapPs; }
    // False when no record behind the silence has a time of 64 bits.
    bool move(const RecordSilence& silence) {
        using Limits = std::numeric_limits<std::int64_t>;
        const Wide step = Wide{silence.periods} * kCoarseWrapPs;
        least = std::max<Wide>(least + step - kHalfCoarseWrapPs, Limits::min());
        most = std::min<Wide>(most + step, Limits::max());
        return least <= most;
    }
};

void checkTimes(const RecordingCompanion& companion) {
    TimeReach reach;
    std::uint64_t record = 0;
    auto checkpoint = companion.checkpoints.begin();
    for (const RecordSilence& silence : companion.silences) {
        for (; checkpoint != companion.checkpoints.end() && checkpoint->record < silence.record;
             ++checkpoint) {
            reach.moveTo(*checkpoint);
            record = checkpoint->record;
        }
        reach.pass(silence.record - record);
        record = silence.record;
        if (!reach.move(silence)) {
            fail("silences", "leads to times that do not fit 64 bits of ps");
        }
    }
}

std::vector<RecordingLoss> losses(const Json& value, std::uint64_t records) {
    constexpr const char* kKey = "losses";
    std::vector<RecordingLoss> all;
    for (const Json& entry : array(value, kKey, RecordingCompanion::kMostLosses)) {
        if (array(entry, kKey, 4).size() != 4) {
            fail(kKey, "has an entry that is no record, time, stage and count");
        }
        all.push_back({number(entry[0], kKey, records), optionalTime(entry[1], kKey),
                       text(entry[2], kKey, 4 * RecordingCompanion::kMostStageBytes),
                       number(entry[3], kKey)});
    }
    return all;
}

void readCounts(const Members& from, RecordingCompanion& companion) {
    constexpr const char* kKey = "tags_per_channel";
    const Json& counts = array(from.member(kKey), kKey, companion.tags_of_channel.size());
    if (counts.size() != companion.tags_of_channel.size()) {
        fail(kKey, "is no list of four numbers");
    }
    std::uint64_t sum = 0;
    for (std::size_t channel = 0; channel < companion.tags_of_channel.size(); ++channel) {
        companion.tags_of_channel[channel] = number(counts[channel], kKey);
        sum += companion.tags_of_channel[channel];
    }
    if (sum != companion.records) {
        fail(kKey, "does not add up to the records");
    }
}

// The CRC is that of all that stands ahead of it: whatever byte was changed, it shows.
void checkWhole(std::string_view json) {
    constexpr std::size_t kTail = kCrcKey.size() + kCrcDigits + kEnding.size();
    if (json.size() < kTail || !json.ends_with(kEnding)) {
        throw CompanionFault("is cut off, or no such file");
    }
    const std::string_view tail = json.substr(json.size() - kTail);
    const auto expected = crcFrom(tail.substr(kCrcKey.size(), kCrcDigits));
    if (!tail.starts_with(kCrcKey) || !expected) {
        throw CompanionFault("is cut off, or no such file");
    }
    if (hex(*expected) != tail.substr(kCrcKey.size(), kCrcDigits) ||
        crcOf(json.substr(0, json.size() - kTail)) != *expected) {
        throw CompanionFault("was changed: its own CRC is another");
    }
}

} // namespace

std::string companion_to_json(const RecordingCompanion& companion) {
    Lines lines;
    lines.add("file_type", quoted(kFileType));
    lines.add("schema_version", 1);
    lines.add("ended", quoted(part_end_name(companion.end)));
    lines.add("error", quoted(companion.error));
    lines.add("head_bytes", companion.head_bytes);
    lines.add("head_crc32", quoted(hex(companion.head_crc)));
    lines.add("records", companion.records);
    lines.add("tags_per_channel", list(companion.tags_of_channel, [](std::string& out, std::uint64_t tags) {
                  out += std::to_string(tags);
              }));
    lines.add("first_time_ps", timeText(companion.first_time_ps));
    lines.add("last_time_ps", timeText(companion.last_time_ps));
    lines.add("checkpoint_spacing", companion.spacing);
    lines.add("checkpoints", list(companion.checkpoints, appendCheckpoint));
    lines.add("tail_crc32", quoted(hex(companion.tail_crc)));
    std::uint64_t before = 0;
    lines.add("silences", list(companion.silences, [&before](std::string& out, const RecordSilence& silence) {
                  out += std::to_string(silence.record - before) + ',' + std::to_string(silence.periods);
                  before = silence.record;
              }));
    lines.add("silences_untold", companion.silences_untold);
    lines.add("losses", list(companion.losses, appendLoss));
    lines.add("unvouched_from",
              companion.unvouched_from ? std::to_string(*companion.unvouched_from) : "null");
    std::string json = std::move(lines.text);
    const std::uint32_t whole = crcOf(json);
    json += kCrcKey;
    json += hex(whole);
    json += kEnding;
    return json;
}

RecordingCompanion companion_from_json(std::string_view json) {
    if (json.size() > kMostCompanionBytes) {
        throw CompanionFault("is too large");
    }
    checkWhole(json);
    const Json root = parsed(json);
    const Members from(root);
    if (text(from.member("file_type"), "file_type", kFileTypeBytes) != kFileType) {
        fail("file_type", "is unknown");
    }
    if (from.count("schema_version") != 1) {
        fail("schema_version", "is not 1");
    }
    RecordingCompanion companion;
    const auto end = part_end_of(text(from.member("ended"), "ended", 64));
    if (!end) {
        fail("ended", "is unknown");
    }
    companion.end = *end;
    companion.error = text(from.member("error"), "error", 4 * RecordingCompanion::kMostErrorBytes);
    companion.head_bytes = from.count("head_bytes", kMostHeadBytes);
    companion.head_crc = crc(from.member("head_crc32"), "head_crc32");
    companion.records = from.count("records");
    readCounts(from, companion);
    companion.first_time_ps = optionalTime(from.member("first_time_ps"), "first_time_ps");
    companion.last_time_ps = optionalTime(from.member("last_time_ps"), "last_time_ps");
    if (companion.first_time_ps.has_value() != (companion.records > 0) ||
        companion.last_time_ps.has_value() != (companion.records > 0)) {
        fail("first_time_ps", "or \"last_time_ps\" that does not go with the records");
    }
    companion.spacing = from.count("checkpoint_spacing");
    companion.checkpoints = checkpoints(from.member("checkpoints"), companion.records);
    companion.tail_crc = crc(from.member("tail_crc32"), "tail_crc32");
    companion.silences = silences(from.member("silences"), companion.records);
    checkTimes(companion);
    companion.silences_untold = from.count("silences_untold");
    companion.losses = losses(from.member("losses"), companion.records);
    companion.unvouched_from = from.optionalCount("unvouched_from", companion.records);
    return companion;
}

} // namespace qorn::timing
