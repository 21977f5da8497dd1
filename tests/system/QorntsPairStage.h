// Recordings with their companions, as the application makes them, and what `qornts verify` says of them.
#pragma once

#include "QorntsStage.h"

#include "RecordTimes.h"
#include "RecordingCompanionFile.h"
#include "RecordingTally.h"

#include <string>

namespace qorn::testing {

inline constexpr std::int64_t kPairSecond = 1'000'000'000'000;

class QorntsPairTest : public QorntsTest {
protected:
    // A recording with its companion, as the application makes them.
    void record(const std::string& name, const Tags& tags, timing::PartEnd end = timing::PartEnd::Operator,
                const std::string& created = "2024-05-06T07:00:00") {
        writeRecording(file(name), tags, HeaderText().setText("created_utc", created));
        const Bytes bytes = readBytes(file(name));
        const std::size_t head = bytes.size() - 8 * tags.size();
        timing::RecordingTally tally(std::span<const std::uint8_t>(bytes).first(head));
        for (const timing::RecordTime& time : timing::RecordTimes().of(tags)) {
            tally.expect(time);
        }
        tally.add(std::span(bytes).subspan(head));
        ASSERT_EQ(timing::write_companion(file(name), tally.companion(end)), std::nullopt);
    }
    // But for a reservation with these words, if any.
    void expectFine(const std::string& name, const std::string& reservation = {}) {
        const ToolRun verified = run({"verify", name});
        EXPECT_EQ(verified.code, 0) << verified.errors;
        if (reservation.empty()) {
            EXPECT_EQ(verified.output, name + ": fine\n");
        } else {
            EXPECT_TRUE(verified.output.starts_with(name + ": fine; ")) << verified.output;
            EXPECT_NE(verified.output.find(reservation), std::string::npos) << verified.output;
        }
        EXPECT_EQ(verified.errors, "");
    }
    // One fault at least, each in a line of its own that names the file, with `part` in one of them.
    void expectFault(const std::string& name, const std::string& part) {
        const ToolRun verified = run({"verify", name});
        EXPECT_EQ(verified.code, 1) << part;
        EXPECT_EQ(verified.output, "") << part;
        EXPECT_NE(verified.errors.find(part), std::string::npos) << part << " is not in " << verified.errors;
        EXPECT_TRUE(verified.errors.starts_with("qornts: ")) << verified.errors;
        EXPECT_NE(verified.errors.find(name), std::string::npos) << verified.errors;
    }
    timing::RecordingCompanion companionOf(const std::string& name) const {
        return timing::read_companion(file(name)).value_or(timing::RecordingCompanion{});
    }
    void setCompanion(const std::string& name, const timing::RecordingCompanion& companion) const {
        ASSERT_EQ(timing::write_companion(file(name), companion), std::nullopt);
    }

    // More silences than a companion holds, then three records close to each other.
    static Tags tagsWithUntoldSilences() {
        constexpr std::size_t kSilences = timing::RecordingCompanion::kMostSilences + 5;
        Tags tags;
        for (std::size_t number = 0; number <= kSilences; ++number) {
            tags.push_back({0, static_cast<std::int64_t>(number) * 10 * kPairSecond});
        }
        const std::int64_t last = tags.back().timestamp_ps;
        tags.insert(tags.end(), {{1, last + 1}, {2, last + 2}, {3, last + 3}});
        return tags;
    }

    const Tags some{{0, 5 * kPairSecond},
                    {1, 6 * kPairSecond},
                    {3, 70 * kPairSecond},
                    {0, 71 * kPairSecond},
                    {2, 200 * kPairSecond}};
};

} // namespace qorn::testing
