#include "Info.h"

#include "Error.h"
#include "Progress.h"
#include "Text.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qorn::qornts {
namespace {

constexpr std::uint64_t kPsPerSecond = 1'000'000'000'000;

class Lines {
public:
    void add(std::string_view key, std::string_view value) {
        text += key;
        text += ": ";
        text += printable(value);
        text += '\n';
    }
    void addCount(std::string_view key, std::uint64_t count) { add(key, std::to_string(count)); }
    // Tags per second; 0 when there is no time between them.
    void addRate(std::string_view key, std::uint64_t tags, std::uint64_t spanPs) {
        const double seconds = static_cast<double>(spanPs) / static_cast<double>(kPsPerSecond);
        char number[32];
        std::snprintf(number, sizeof number, "%.9g", spanPs == 0 ? 0.0 : static_cast<double>(tags) / seconds);
        add(key, number);
    }

    std::string text;
};

std::string seconds(std::uint64_t ps) {
    char number[40];
    std::snprintf(number, sizeof number, "%llu.%012llu", static_cast<unsigned long long>(ps / kPsPerSecond),
                  static_cast<unsigned long long>(ps % kPsPerSecond));
    return number;
}

void addHeader(Lines& lines, const timing::StreamFileHeader& header) {
    lines.add("created", header.created_utc);
    lines.add("application", header.application);
    lines.add("product", header.device_product);
    lines.add("serial", header.device_serial);
    lines.add("port", header.device_port);
    lines.add("format", timing::format_name(header.format));
    if (header.format == timing::StreamFormat::Raw64) {
        lines.add("tag format", header.raw64_tag_format);
    }
    if (header.format == timing::StreamFormat::PackedDelta) {
        lines.addCount("delta bits", header.delta_bits);
        lines.addCount("quantum (ps)", header.quantum_ps);
    }
    lines.add("mode", header.mode == timing::StreamMode::Internal ? "internal" : "external");
    lines.add("transport", timing::transport_name(header.transport));
    lines.addCount("channel mask", header.channel_mask);
}

} // namespace

void TagStatistics::add(std::span<const timing::TimeTag> tags) {
    if (tags.empty()) {
        return;
    }
    if (this->tags() == 0) {
        earliest = tags.front().timestamp_ps;
        latest = earliest;
    }
    for (const timing::TimeTag& tag : tags) {
        ++counts[tag.channel & 3U];
        earliest = std::min(earliest, tag.timestamp_ps);
        latest = std::max(latest, tag.timestamp_ps);
    }
}

std::uint64_t TagStatistics::spanPs() const {
    return static_cast<std::uint64_t>(latest) - static_cast<std::uint64_t>(earliest);
}

namespace {

// What only companions tell.
void addCompanions(Lines& lines, const std::vector<timing::RecordingCompanion>& companions) {
    if (companions.empty()) {
        return;
    }
    const auto isFilled = [](const timing::RecordingCompanion& companion) { return companion.records > 0; };
    if (const auto filled = std::find_if(companions.begin(), companions.end(), isFilled);
        filled != companions.end()) {
        lines.add("first (ps)", std::to_string(filled->first_time_ps.value_or(0)));
    }
    std::uint64_t lost = 0;
    std::uint64_t unreadable = 0;
    for (const timing::RecordingCompanion& companion : companions) {
        lost += companion.lost();
        unreadable += companion.unreadable_bytes();
    }
    lines.addCount("lost", lost);
    lines.addCount("unreadable (bytes)", unreadable);
    const timing::RecordingCompanion& last = companions.back();
    lines.add("ended", timing::part_end_name(last.end) + (last.error.empty() ? "" : ": " + last.error));
}

} // namespace

std::string describe(const RecordingParts& recording, const TagStatistics& statistics) {
    Lines lines;
    for (const std::filesystem::path& path : recording.paths()) {
        lines.add("file", path.string());
    }
    addHeader(lines, recording.header());
    lines.addCount("tags", statistics.tags());
    for (std::size_t channel = 0; channel < timing::kChannels; ++channel) {
        lines.addCount("tags ch" + std::to_string(channel + 1), statistics.tagsOf(channel));
    }
    const std::uint64_t span = statistics.spanPs();
    lines.add("span (s)", seconds(span));
    lines.addRate("rate (Hz)", statistics.tags(), span);
    for (std::size_t channel = 0; channel < timing::kChannels; ++channel) {
        lines.addRate("rate ch" + std::to_string(channel + 1) + " (Hz)", statistics.tagsOf(channel), span);
    }
    addCompanions(lines, recording.companions());
    return std::move(lines.text);
}

bool printInfo(const std::vector<std::filesystem::path>& files) {
    RecordingParts recording(files);
    TagStatistics statistics;
    std::vector<std::string> faults;
    {
        Progress progress(recording.payloadBytes());
        for (bool more = true; more;) {
            try {
                const auto tags = recording.read();
                statistics.add(tags);
                more = !tags.empty();
            } catch (const timing::Error& error) {
                if (error.status() == TT_FILE_ERROR) {
                    throw;
                }
                faults.push_back(explanation(error)); // a cut end: the rest is worth knowing
            }
            progress.show(recording.bytesRead());
        }
    }
    print(describe(recording, statistics));
    for (const std::string& warning : recording.warnings()) {
        warn(warning);
    }
    for (const std::string& fault : faults) {
        complain(fault);
    }
    return faults.empty();
}

} // namespace qorn::qornts
