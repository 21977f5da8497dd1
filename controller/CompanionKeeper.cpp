#include "CompanionKeeper.h"

#include "TagWords.h"

#include <QCoreApplication>

#include <utility>

namespace qorn::timetagger::gui {
namespace {

using timing::CompanionRoom;

constexpr const char* kWriterStage = "writer";
constexpr const char* kDisplaced = "the file was removed, moved or replaced while it was recorded";

} // namespace

CompanionKeeper::CompanionKeeper(timing::StreamFileWriter& writer) : file(writer) {
    file.set_record_sink([this](std::span<const std::uint8_t> words) {
        taken += words.size() / timing::kTagWordBytes;
        if (tally) {
            tally->add(words);
            changed = true;
        }
    });
}

void CompanionKeeper::begin(const std::filesystem::path& streamFile) {
    finish();
    path = streamFile;
    failedBefore = std::exchange(failed, false);
    displaced = false;
    tally.reset();
    std::error_code none;
    open = std::filesystem::is_regular_file(path, none);
    if (open) {
        tally.emplace(file.head());
        write(timing::PartEnd::Open, {}, CompanionRoom::Keep);
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
    if (open) {
        loss.record = file.records_written();
        tally->add(std::move(loss));
        changed = true;
    }
}

void CompanionKeeper::checkFile() {
    if (open && !displaced && !file.is_in_place()) {
        displaced = true;
        changed = true;
        notice = QCoreApplication::translate("Measurement",
                                             "The file of the recording was removed, moved or replaced: %1")
                     .arg(QString::fromStdString(path.string()));
    }
}

void CompanionKeeper::refresh() {
    checkFile();
    if (open && changed) {
        write(timing::PartEnd::Open, {}, CompanionRoom::Keep);
    }
}

void CompanionKeeper::end(timing::PartEnd reason, std::string_view error) {
    if (std::exchange(open, false)) { // the part that follows may fail to begin
        write(reason, error,
              reason == timing::PartEnd::Rotation ? CompanionRoom::Keep : CompanionRoom::GiveBack);
    }
}

void CompanionKeeper::fail(std::string_view error, std::uint64_t lostTags,
                           std::vector<timing::RecordingLoss> losses) {
    if (!tally || (std::exchange(failing, true) && lostTags == lostTold && losses.empty())) {
        return;
    }
    open = false;
    for (timing::RecordingLoss& loss : losses) {
        loss.record = tally->records();
        tally->add(std::move(loss));
    }
    if (lostTags > lostTold) {
        tally->add({tally->records(), tally->scanned().last_time(), kWriterStage,
                    lostTags - std::exchange(lostTold, lostTags)});
    }
    write(timing::PartEnd::Error, error, CompanionRoom::Keep);
}

void CompanionKeeper::finish() {
    if (tally) {
        timing::give_back_companion_room(path);
    }
}

std::optional<QString> CompanionKeeper::takeNotice() {
    return std::exchange(notice, std::nullopt);
}

// A recording without its companion is a recording still.
void CompanionKeeper::write(timing::PartEnd reason, std::string_view error, CompanionRoom room) {
    const std::string_view text = error.empty() && displaced ? kDisplaced : error;
    const std::optional<std::string> wrong =
        timing::write_companion(path, tally->companion(reason, text), room);
    changed = wrong.has_value();
    if (wrong && !std::exchange(failed, true) && !failedBefore && !displaced) { // else the operator knows
        notice =
            QCoreApplication::translate("Measurement", "The recording goes on without its companion file: %1")
                .arg(QString::fromStdString(*wrong));
    }
}

} // namespace qorn::timetagger::gui
