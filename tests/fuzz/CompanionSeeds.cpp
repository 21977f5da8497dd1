// Writes the seeds of the companions' fuzz target into a folder: companions of its recording, and such with
// one fault each. `qorn_companion_seeds tests/fuzz/corpus/companion` makes the files that are kept beside
// this one.
#include "CompanionStream.h"
#include "RecordTimes.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"
#include "SeedFolder.h"

#include <algorithm>
#include <functional>
#include <limits>

namespace {

using namespace qorn::timing;
using Limits = std::numeric_limits<std::int64_t>;

RecordingCompanion wholeCompanion() {
    const qorn::testing::CompanionStream stream = qorn::testing::companionStream();
    RecordingTally tally(stream.head);
    for (const RecordTime& time : RecordTimes().of(qorn::testing::companionTags())) {
        tally.expect(time);
    }
    tally.add(stream.words);
    return tally.companion(PartEnd::Operator);
}

// Companions that differ from a whole one in one point each.
class CompanionFolder {
public:
    explicit CompanionFolder(const std::filesystem::path& path) : folder(path) {}

    void write(const char* name, const std::string& text) { folder.write(name, text); }
    void write(const char* name, const std::function<void(RecordingCompanion&)>& change) {
        RecordingCompanion companion = whole;
        change(companion);
        folder.write(name, companion_to_json(companion));
    }
    // The text with its first `part` replaced; its own CRC is that of the whole one.
    void write(const char* name, const std::string& part, const std::string& other) {
        std::string text = companion_to_json(whole);
        const std::size_t at = text.find(part);
        partsFound = partsFound && at != std::string::npos;
        folder.write(name, at == std::string::npos ? text : text.replace(at, part.size(), other));
    }
    bool isFine() const { return partsFound && folder.isFine(); }

    const RecordingCompanion whole = wholeCompanion();

private:
    qorn::fuzz::SeedFolder folder;
    bool partsFound = true;
};

void writeCompanions(CompanionFolder& folder) {
    const std::vector<TimeTag> tags = qorn::testing::companionTags();
    folder.write("whole", [](RecordingCompanion&) {});
    folder.write("without-records", [](RecordingCompanion& companion) { companion = {}; });
    folder.write("error", [](RecordingCompanion& companion) {
        companion.end = PartEnd::Error;
        companion.error = "no \"room\" on\tthe disk: \xC3\xA4";
    });
    folder.write("losses", [](RecordingCompanion& companion) {
        companion.losses = {{0, std::nullopt, "driver", 5},
                            {20, 80'000'000'000'000, "reader", 1},
                            {48, Limits::max(), "file", std::uint64_t{1} << 53}};
    });
    folder.write("recovered", [](RecordingCompanion& companion) {
        companion.end = PartEnd::Recovered;
        companion.unvouched_from = 20;
        companion.losses = {{7, 80'000'000'000'000, "unreadable", 19}};
    });
    folder.write("checkpoints", [&tags](RecordingCompanion& companion) {
        companion.spacing = 16;
        for (const std::size_t record : {16U, 32U}) {
            companion.checkpoints.push_back({record, tags[record].timestamp_ps, 0x1234567});
        }
    });
    folder.write("untold-silences", [&tags](RecordingCompanion& companion) {
        companion.silences.resize(1);
        companion.silences_untold = 3;
        companion.checkpoints.push_back({40, tags[40].timestamp_ps, 0});
    });
    folder.write("other-time", [](RecordingCompanion& companion) { companion.checkpoints[0].time_ps += 1; });
    folder.write("other-time-behind-a-silence", [&tags](RecordingCompanion& companion) {
        companion.silences.push_back({30, 301'779});
        std::sort(companion.silences.begin(), companion.silences.end(),
                  [](const auto& left, const auto& right) { return left.record < right.record; });
        companion.checkpoints.push_back({32, tags[32].timestamp_ps + 1, 0});
    });
    folder.write("utmost-times", [](RecordingCompanion& companion) {
        companion.first_time_ps = Limits::min();
        companion.last_time_ps = Limits::max();
        companion.checkpoints = {{0, Limits::min(), 0}, {24, Limits::max(), 0}};
        companion.silences = {{1, 1'288'000}, {25, -1'288'000}};
    });
    folder.write("times-beyond-64-bits", [](RecordingCompanion& companion) {
        companion.silences = {{1, 400'000}, {2, 300'000}};
    });
    folder.write("as-far-as-64-bits-go", [](RecordingCompanion& companion) {
        companion.silences = {{1, 400'000}, {2, 244'308}};
    });
    folder.write("negative-periods", "\"silences\":[", "\"silences\":[1,-1288624,1,0,");
    folder.write("keys-unknown", "\"schema_version\":1", "\"schema_version\":1,\"more\":{\"of\":[[[1]]]}");
    folder.write("keys-twice", "\"schema_version\":1", "\"schema_version\":2,\"schema_version\":1");
    folder.write("other-version", "\"schema_version\":1", "\"schema_version\":2");
    folder.write("number-beyond-all", "\"checkpoint_spacing\":65536", "\"checkpoint_spacing\":1e999");
    folder.write("no-text", "\"error\":\"\"", "\"error\":\"\\ud800\"");
    folder.write("deep", "\"schema_version\":1", "\"x\":" + std::string(70, '[') + std::string(70, ']'));
    const std::string text = companion_to_json(folder.whole);
    folder.write("cut", text.substr(0, text.size() / 2));
    folder.write("without-crc", text.substr(0, text.find(",\n\"crc32\"")) + "}\n");
}

} // namespace

int main(int argc, char** argv) {
    return qorn::fuzz::writeCorpus(argc, argv, [](const std::filesystem::path& corpus) {
        CompanionFolder folder(corpus);
        writeCompanions(folder);
        return folder.isFine();
    });
}
