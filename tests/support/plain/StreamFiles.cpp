#include "StreamFiles.h"

#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace qorn::testing {
namespace {

constexpr std::string_view kMagic = "QORNTS1\n";
constexpr std::int64_t kWrapPs = 14315125997568;

} // namespace

HeaderText::HeaderText()
    : members{{"file_type", R"("qorn_timing_raw_stream_capture")"},
              {"schema_version", "1"},
              {"created_utc", R"("2024-05-06T07:08:09.123Z")"},
              {"application", R"("Qorn Timing 0.3.0")"},
              {"device_product", R"("Scripted")"},
              {"device_serial", R"("SN0001")"},
              {"device_port", R"("ftdi://SN0001")"},
              {"stream_format", R"("raw64")"},
              {"mode", R"("external")"},
              {"stream_transport", R"("usb")"},
              {"raw64_tag_format", R"("ps")"},
              {"channel_mask", "15"},
              {"tdl_index", "0"},
              {"packed_delta_config", R"({"delta_bits":16,"quantum_ps":8})"}} {}

HeaderText& HeaderText::set(const std::string& key, const std::string& value) {
    const auto found = std::find_if(members.begin(), members.end(),
                                    [&key](const auto& member) { return member.first == key; });
    if (found != members.end()) {
        found->second = value;
    } else {
        members.emplace_back(key, value);
    }
    return *this;
}

HeaderText& HeaderText::remove(const std::string& key) {
    std::erase_if(members, [&key](const auto& member) { return member.first == key; });
    return *this;
}

std::vector<std::string> HeaderText::keys() const {
    std::vector<std::string> all;
    for (const auto& member : members) {
        all.push_back(member.first);
    }
    return all;
}

std::string HeaderText::json() const {
    std::string text;
    for (const auto& [key, value] : members) {
        text += (text.empty() ? "\"" : ",\"") + key + "\":" + value;
    }
    return '{' + text + '}';
}

Bytes streamFileHead(std::string_view json) {
    Bytes bytes(kMagic.begin(), kMagic.end());
    appendLittle32(bytes, static_cast<std::uint32_t>(json.size()));
    bytes.insert(bytes.end(), json.begin(), json.end());
    return bytes;
}

void writeStreamFile(const std::filesystem::path& path, std::string_view json,
                     std::span<const std::uint8_t> payload) {
    Bytes bytes = streamFileHead(json);
    appendBytes(bytes, payload);
    writeBytes(path, bytes);
}

void writeRecording(const std::filesystem::path& path, std::span<const timing::TimeTag> tags,
                    const HeaderText& header) {
    Bytes words;
    words.reserve(tags.size() * 8);
    for (const timing::TimeTag& tag : tags) {
        const std::int64_t base = ((tag.timestamp_ps % kWrapPs) + kWrapPs) % kWrapPs;
        appendRaw64(words, raw64Picoseconds(tag.channel, static_cast<std::uint64_t>(base)));
    }
    writeStreamFile(path, header.json(), words);
}

Bytes payloadOf(const std::filesystem::path& path) {
    const Bytes bytes = readBytes(path);
    const std::size_t fixed = kMagic.size() + 4;
    if (bytes.size() < fixed || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin())) {
        ADD_FAILURE() << path << " is no stream file";
        return {};
    }
    std::size_t length = 0;
    for (std::size_t byte = fixed; byte > kMagic.size(); --byte) {
        length = length << 8 | bytes[byte - 1];
    }
    if (bytes.size() - fixed < length) {
        ADD_FAILURE() << path << " ends in its header";
        return {};
    }
    return {bytes.begin() + static_cast<std::ptrdiff_t>(fixed + length), bytes.end()};
}

std::vector<timing::TimeTag> nearestToTheLatest(std::span<const timing::TimeTag> tags) {
    std::vector<timing::TimeTag> out;
    std::int64_t latest = 0;
    for (const timing::TimeTag& tag : tags) {
        std::int64_t time = ((tag.timestamp_ps % kWrapPs) + kWrapPs) % kWrapPs;
        if (out.empty()) {
            latest = time;
        } else {
            const std::int64_t wraps = latest / kWrapPs;
            std::int64_t best = time + (wraps - 2) * kWrapPs;
            for (std::int64_t step = wraps - 1; step <= wraps + 2; ++step) {
                const std::int64_t candidate = time + step * kWrapPs;
                if (std::llabs(candidate - latest) < std::llabs(best - latest)) {
                    best = candidate;
                }
            }
            time = best;
        }
        latest = std::max(latest, time);
        out.push_back({tag.channel, time});
    }
    return out;
}

} // namespace qorn::testing
