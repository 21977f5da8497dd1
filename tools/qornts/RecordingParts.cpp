#include "RecordingParts.h"

#include <utility>

namespace qorn::qornts {

RecordingParts::RecordingParts(std::vector<std::filesystem::path> parts) : files(std::move(parts)) {
    timing::StreamFileReader check;
    for (std::size_t index = 0; index < files.size(); ++index) {
        const std::string earlier = check.header().created_utc;
        check.open(files[index]);
        total += check.payload_bytes();
        if (index == 0) {
            first = check.header();
        } else if (check.header().created_utc < earlier) {
            orderWarnings.push_back(files[index].string() + " was created before " +
                                    files[index - 1].string() + ": are the parts in order?");
        }
    }
}

std::span<const timing::TimeTag> RecordingParts::read() {
    for (;;) {
        if (opened > 0) {
            if (const auto tags = reader.read(); !tags.empty() || opened == files.size()) {
                return tags;
            }
        }
        if (opened == files.size()) {
            return {};
        }
        before += reader.bytes_read();
        reader.open(files[opened++]);
    }
}

std::vector<std::string> RecordingParts::warnings() const {
    std::vector<std::string> all = orderWarnings;
    if (const std::uint64_t gaps = reader.doubtful_gaps(); gaps > 0) {
        all.push_back("the whole stream was silent for long, or stepped back, at " + std::to_string(gaps) +
                      (gaps == 1 ? " place" : " places") +
                      ": times after it may be wrong by a multiple of 14.3 s");
    }
    if (const std::uint64_t skipped = reader.skipped_bytes(); skipped > 0) {
        all.push_back(std::to_string(skipped) + (skipped == 1 ? " byte was" : " bytes were") +
                      " no records and skipped");
    }
    return all;
}

} // namespace qorn::qornts
