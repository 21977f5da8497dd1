#include "CompanionKeeper.h"

#include "RecordingCompanionFile.h"

#include <utility>

namespace qorn::timetagger::gui {

CompanionKeeper::CompanionKeeper(timing::StreamFileWriter& writer) : file(writer) {
    file.set_record_sink([this](std::span<const std::uint8_t> words) {
        if (tally) {
            tally->add(words);
            changed = true;
        }
    });
}

void CompanionKeeper::begin(const std::filesystem::path& streamFile) {
    path = streamFile;
    std::error_code none;
    if (std::filesystem::is_regular_file(path, none)) {
        tally.emplace(file.head());
        write(timing::PartEnd::Open, {});
    }
}

void CompanionKeeper::expect(const std::vector<timing::RecordTime>& times) {
    for (const timing::RecordTime& time : times) {
        if (tally) {
            tally->expect(timing::RecordTime{file.records_written() + time.record, time.time_ps});
        }
    }
}

void CompanionKeeper::add(timing::RecordingLoss loss) {
    if (tally) {
        loss.record = file.records_written();
        tally->add(std::move(loss));
        changed = true;
    }
}

void CompanionKeeper::refresh() {
    if (tally && changed) {
        write(timing::PartEnd::Open, {});
    }
}

void CompanionKeeper::end(timing::PartEnd reason, std::string_view error) {
    if (tally) {
        write(reason, error);
        tally.reset();
    }
}

std::optional<std::string> CompanionKeeper::takeFailure() {
    return std::exchange(failure, std::nullopt);
}

// A recording without its companion is a recording still.
void CompanionKeeper::write(timing::PartEnd reason, std::string_view error) {
    std::optional<std::string> wrong = timing::write_companion(path, tally->companion(reason, error));
    changed = wrong.has_value();
    if (wrong && !std::exchange(failed, true)) {
        failure = std::move(wrong);
    }
}

} // namespace qorn::timetagger::gui
