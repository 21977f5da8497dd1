#include "RecordingTally.h"

#include "Crc32.h"
#include "TagWords.h"

#include <algorithm>
#include <map>

namespace qorn::timing {

RecordingTally::RecordingTally(std::span<const std::uint8_t> head) {
    facts.head_bytes = head.size();
    facts.head_crc = crc32_of(head);
}

void RecordingTally::add(std::span<const std::uint8_t> words) {
    while (words.size() >= kTagWordBytes) {
        const std::uint64_t next = facts.checkpoints.size() * facts.spacing;
        if (scan.records() == next) {
            addCheckpoint(words.first(kTagWordBytes));
            words = words.subspan(kTagWordBytes);
        }
        const std::uint64_t left = facts.checkpoints.size() * facts.spacing - scan.records();
        const std::size_t count = std::min<std::uint64_t>(words.size() / kTagWordBytes, left);
        scanOn(words.first(count * kTagWordBytes));
        words = words.subspan(count * kTagWordBytes);
    }
}

void RecordingTally::addCheckpoint(std::span<const std::uint8_t> word) {
    const std::uint64_t record = scan.records();
    const std::uint32_t crc = scan.take_crc();
    scanOn(word);
    facts.checkpoints.push_back({record, scan.last_time().value_or(0), crc});
    if (facts.checkpoints.size() > RecordingCompanion::kMostCheckpoints) {
        thinCheckpoints();
    }
}

void RecordingTally::scanOn(std::span<const std::uint8_t> words) {
    found.clear();
    scan.scan(words, &found);
    for (const RecordSilence& silence : found) {
        if (facts.silences.size() < RecordingCompanion::kMostSilences) {
            facts.silences.push_back(silence);
        } else {
            ++facts.silences_untold;
        }
    }
}

// Keeps each second one, the last among them: their number is odd here.
void RecordingTally::thinCheckpoints() {
    std::vector<RecordCheckpoint> kept;
    kept.reserve(RecordingCompanion::kMostCheckpoints + 1);
    kept.push_back(facts.checkpoints.front());
    for (std::size_t index = 2; index < facts.checkpoints.size(); index += 2) {
        RecordCheckpoint checkpoint = facts.checkpoints[index];
        checkpoint.crc =
            crc32_joined(facts.checkpoints[index - 1].crc, checkpoint.crc, facts.spacing * kTagWordBytes);
        kept.push_back(checkpoint);
    }
    facts.checkpoints = std::move(kept);
    facts.spacing *= 2;
}

void RecordingTally::add(RecordingLoss loss) {
    loss.stage.resize(std::min(loss.stage.size(), RecordingCompanion::kMostStageBytes));
    facts.losses.push_back(std::move(loss));
    if (facts.losses.size() > RecordingCompanion::kMostLosses) {
        thin_losses(facts.losses);
    }
}

RecordingCompanion RecordingTally::companion(PartEnd end, std::string_view error) const {
    RecordingCompanion all = facts;
    all.end = end;
    all.error = error.substr(0, RecordingCompanion::kMostErrorBytes);
    all.records = scan.records();
    all.tags_of_channel = scan.tags_of_channel();
    all.first_time_ps = scan.first_time();
    all.last_time_ps = scan.last_time();
    all.tail_crc = scan.crc();
    for (RecordingLoss& loss : all.losses) { // records that were to come may not have reached the file
        loss.record = std::min(loss.record, all.records);
    }
    return all;
}

void thin_losses(std::vector<RecordingLoss>& losses) {
    std::vector<RecordingLoss> kept;
    std::map<std::string, std::size_t, std::less<>> open; // places in `kept` that wait for a neighbour
    for (RecordingLoss& loss : losses) {
        if (const auto waiting = open.find(loss.stage); waiting != open.end()) {
            kept[waiting->second].count += loss.count;
            open.erase(waiting);
        } else {
            open.emplace(loss.stage, kept.size());
            kept.push_back(std::move(loss));
        }
    }
    losses = std::move(kept);
}

} // namespace qorn::timing
