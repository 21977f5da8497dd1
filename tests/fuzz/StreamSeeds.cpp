// Writes the seeds of the fuzz targets of streams, stream files and scenes into the folders below one:
// `qorn_stream_seeds tests/fuzz/corpus` makes the files that are kept beside this one.
#include "SceneLoader.h"
#include "SeedFolder.h"
#include "StreamBuilder.h"
#include "StreamFiles.h"
#include "TagStreamEncoder.h"

#include <string>

namespace {

using namespace qorn::testing;
using qorn::fuzz::SeedFolder;
using qorn::timing::TimeTag;

// Times are multiples of 16 ps; the inputs take turns.
std::vector<TimeTag> tagsOf(std::size_t count, std::int64_t stepPs, std::size_t inputs = 4) {
    std::vector<TimeTag> tags;
    for (std::size_t index = 0; index < count; ++index) {
        tags.push_back({static_cast<std::uint8_t>(index % inputs),
                        static_cast<std::int64_t>(index + 1) * stepPs / 16 * 16});
    }
    return tags;
}

Bytes withHead(std::initializer_list<std::uint8_t> head, const Bytes& stream) {
    Bytes bytes(head);
    appendBytes(bytes, stream);
    return bytes;
}

Bytes without(Bytes bytes, std::size_t from, std::size_t count) {
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    bytes.erase(at, at + static_cast<std::ptrdiff_t>(count));
    return bytes;
}

// The first byte of each is the format's number, with 0x40 for external and 0x80 for "ps".
void writeStreams(SeedFolder& folder) {
    constexpr std::uint8_t kWholePiece = 255;
    std::vector<TimeTag> tags = tagsOf(60, 1'000'000);
    const Bytes raw = encodeRaw64Picoseconds(tags).bytes;
    folder.write("raw64-ps", withHead({0xC0, 0, 0, 3}, raw));
    folder.write("raw64-ps-lost-bytes", withHead({0xC0, 0, 0, 0}, without(raw, 77, 3)));
    const std::vector<TimeTag> slow = tagsOf(12, 3'000'000'000'000);
    folder.write("raw64-ps-wraps", withHead({0xC0, 0, 0, 2}, encodeRaw64Picoseconds(slow).bytes));
    folder.write("raw64-fine-codes", withHead({0, 0, 0, 1}, encodeRaw64CoarseFine(tags).bytes));
    tags = tagsOf(60, 1'000'000);
    const Bytes delta = encodeDelta32(tags, 16, 1).bytes;
    folder.write("delta32", withHead({0x41, 0, 0, 4}, delta));
    folder.write("delta32-lost-word", withHead({0x41, 0, 0, 1}, without(delta, 40, 4)));
    folder.write("delta32-lost-byte", withHead({0x41, 0, 0, 0}, without(delta, 90, 1)));
    folder.write("delta32-wraps", withHead({1, 0, 0, kWholePiece}, encodeDelta32(slow, 3, 1).bytes));
    for (const int bits : {4, 16, 31}) {
        const PackedWire wire{bits, 3, 32, 200, 1};
        const Bytes packed = encodePacked(tagsOf(bits < 8 ? 120 : 250, 1'000'000), wire).bytes;
        const std::string name = "packed-" + std::to_string(bits);
        const auto width = static_cast<std::uint8_t>(bits);
        folder.write(name.c_str(), withHead({0x42, width, 4, 7}, packed));
        folder.write((name + "-lost-bytes").c_str(),
                     withHead({2, width, 4, kWholePiece}, without(packed, packed.size() / 2, 2)));
    }
    folder.write(
        "packed-coarse-quanta",
        withHead({0x42, 12, 5, 2}, encodePacked(tagsOf(200, 16'000'000), {12, 4, 64, 200, 2}).bytes));
    folder.write("packed-two-inputs",
                 withHead({0x42 | 3 << 2, 16, 4, 9},
                          encodePacked(tagsOf(200, 1'000'000, 2), {16, 3, 50, 200, 3}).bytes));
    folder.write("no-stream", withHead({0xC0, 0, 0, 0}, {}));
}

Bytes fileOf(const HeaderText& header, std::span<const std::uint8_t> payload) {
    Bytes bytes = streamFileHead(header.json());
    appendBytes(bytes, payload);
    return bytes;
}

Bytes withLength(Bytes bytes, std::uint32_t length) {
    for (std::size_t index = 0; index < 4; ++index) {
        bytes[8 + index] = static_cast<std::uint8_t>(length >> (8 * index));
    }
    return bytes;
}

void writeFiles(SeedFolder& folder) {
    const Bytes raw = encodeRaw64Picoseconds(tagsOf(20, 1'000'000)).bytes;
    const Bytes good = fileOf({}, raw);
    folder.write("recording", good);
    HeaderText nobody;
    folder.write("next-part", fileOf(nobody.setText("device_serial", ""), raw));
    folder.write("cut-record", without(good, good.size() - 3, 3));
    folder.write("cut-header", std::span(good).first(100));
    folder.write("no-tags", streamFileHead(HeaderText().json()));
    folder.write("skipped-bytes", fileOf({}, without(raw, 30, 5)));
    folder.write("other-magic", without(good, 0, 1));
    folder.write("magic-only", std::span(good).first(8));
    folder.write("forged-length", withLength(good, 0xFFFFFFFF));
    folder.write("longer-length", withLength(good, static_cast<std::uint32_t>(good.size())));
    folder.write("no-json", withLength(good, 0));
    folder.write("delta32", fileOf(HeaderText().setText("stream_format", "delta32"),
                                   encodeDelta32(tagsOf(40, 1'000'000), 16, 1).bytes));
    folder.write("packed", fileOf(HeaderText().setText("stream_format", "packed_delta"),
                                  encodePacked(tagsOf(200, 1'000'000), {16, 3, 32, 200, 1}).bytes));
    folder.write("packed-no-bits",
                 fileOf(HeaderText()
                            .setText("stream_format", "packed_delta")
                            .set("packed_delta_config", R"({"delta_bits":0,"quantum_ps":0})"),
                        encodePacked(tagsOf(50, 1'000'000), {16, 3, 8, 200, 1}).bytes));
    folder.write("packed-too-many-bits",
                 fileOf(HeaderText()
                            .setText("stream_format", "packed_delta")
                            .set("packed_delta_config", R"({"delta_bits":32,"quantum_ps":8})"),
                        raw));
    std::vector<TimeTag> fine = tagsOf(20, 1'000'000);
    const Bytes codes = encodeRaw64CoarseFine(fine).bytes;
    folder.write("fine-codes", fileOf(HeaderText().setText("raw64_tag_format", "RAW_CF"), codes));
    folder.write("no-serial", fileOf(HeaderText().remove("device_serial"), raw));
    folder.write("mistyped-mask", fileOf(HeaderText().set("channel_mask", "-1"), raw));
    folder.write("odd-texts", fileOf(HeaderText().set("application", R"("\u0000\ud83d\ude00\\\"\t")"), raw));
    folder.write("deep", fileOf(HeaderText().set("more", std::string(70, '[') + std::string(70, ']')), raw));
}

constexpr const char* kWholeScene = R"({
 "pace": "unpaced", "duration_s": 0.5, // both
 "units": [{"serial": "SIM-1", "seed": 7, "sources": [
   {"kind": "poisson", "input": 1, "rate_hz": 50000, "amplitude_v": 1.0},
   {"kind": "periodic", "input": 2, "frequency_hz": 1e6, "jitter_ps": 10, "phase_ps": 5,
    "offset_ppm": 0.5, "drift_ppm": 2, "drift_period_s": 60},
   {"kind": "pairs", "inputs": [1, 2], "rate_hz": 20000, "delay_ps": 12400, "sigma_ps": 120,
    "efficiencies": [0.8, 0.6]},
   {"kind": "decay", "sync_input": 4, "input": 3, "frequency_hz": 1e5, "probability": 0.05,
    "lifetime_ps": 3200, "delay_ps": 8000, "sigma_ps": 60},
   {"kind": "emitter", "inputs": [3, 4], "rate_hz": 100000, "lifetime_ps": 4000, "pump_rate_hz": 5e7},
   {"kind": "bursts", "input": 4, "frequency_hz": 100, "pulses": 20, "spacing_ps": 500000}],
  "tdl_jitter_ps": 22, "start_coarse": 4294967290, "buffer_bytes": 4096, "repeat_block_ms": 1,
  "sync_ms": 1, "sync_records": 64, "fine_sync_ms": 1, "sync_marker": true, "beacon_ms": 1,
  "truth_file": "", "reference": {"control": true, "present": true, "lock_fault": false,
   "lock_delay_s": 0.4, "lost_after_s": 60, "back_after_s": 5},
  "faults": {"unplug_after_s": 30, "unplug_at_read": 2, "replug_after_s": 2, "lost_byte_rate": 1e-3,
   "lost_bytes_at": [400, 9], "garbage_byte_rate": 1e-3, "start_mid_record": true, "upload_fails": "no",
   "calls": [{"call": "*", "at": 3, "count": 2, "status": -3, "delay_ms": 1}]}}]})";

std::string sceneOf(const std::string& source) {
    return R"({"units": [{"sources": [)" + source + "]}]}";
}

void writeScenes(SeedFolder& folder) {
    const std::string whole = kWholeScene;
    folder.write("everything", whole);
    folder.write("built-in", qorn::simulator::builtInScene());
    folder.write("cut", std::string_view(whole).substr(0, whole.size() / 2));
    folder.write("no-units", R"({"units": []})");
    folder.write("same-serial", R"({"units": [{"serial": "SIM1"}, {"serial": "SIM1"}]})");
    folder.write("nine-units", R"({"units": [{}, {}, {}, {}, {}, {}, {}, {}, {}]})");
    folder.write("deep", R"({"units": )" + std::string(40, '[') + std::string(40, ']') + "}");
    folder.write("number-beyond-all", R"({"units": [], "duration_s": 1e999})");
    folder.write("no-text", R"({"units": [{"serial": "\ud800"}]})");
    folder.write("as-slow-as-can-be",
                 sceneOf(R"({"kind": "poisson", "input": 1, "rate_hz": 1e-300})") + "// ends here");
    folder.write("too-many-pulses", sceneOf(R"({"kind": "bursts", "input": 1, "frequency_hz": 2e8,
        "pulses": 100000, "spacing_ps": 1})"));
    folder.write("too-wide", sceneOf(R"({"kind": "periodic", "input": 1, "frequency_hz": 2e8,
        "jitter_ps": 1e12})"));
    folder.write("late-partners", sceneOf(R"({"kind": "pairs", "inputs": [1, 4], "rate_hz": 5e3,
        "delay_ps": -1e12, "sigma_ps": 1e3})"));
    folder.write("busy-emitter", sceneOf(R"({"kind": "emitter", "inputs": [2, 1], "rate_hz": 1e6,
        "lifetime_ps": 1e5, "pump_rate_hz": 1e12})"));
}

} // namespace

int main(int argc, char** argv) {
    return qorn::fuzz::writeCorpus(argc, argv, [](const std::filesystem::path& corpus) {
        SeedFolder streams(corpus / "decoder");
        SeedFolder files(corpus / "stream_file");
        SeedFolder scenes(corpus / "scene");
        writeStreams(streams);
        writeFiles(files);
        writeScenes(scenes);
        return streams.isFine() && files.isFine() && scenes.isFine();
    });
}
