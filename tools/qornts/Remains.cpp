#include "Remains.h"

#include "RecordReading.h"
#include "RecordingCompanionFile.h"
#include "TagWords.h"

#include <algorithm>

namespace qorn::qornts {
namespace {

constexpr std::uint64_t kMostZeroTags = 1;
constexpr std::uint64_t kBlockRecords = 4096;

// From the record `first` on, looked at from the end, as there are hardly ever any.
std::uint64_t zeroWordsAtEnd(const std::filesystem::path& path, const StreamFileFacts& file,
                             std::uint64_t first) {
    std::uint64_t words = 0;
    for (std::uint64_t end = file.wholeRecords(); end > first;) {
        const std::uint64_t begin = end - std::min(end - first, kBlockRecords);
        RecordReading reading(path, file.head.size() + begin * timing::kTagWordBytes);
        const auto block = reading.next(end - begin);
        const auto last =
            std::find_if(block.rbegin(), block.rend(), [](std::uint8_t byte) { return byte != 0; });
        words += static_cast<std::uint64_t>(last - block.rbegin()) / timing::kTagWordBytes;
        end = last == block.rend() ? begin : first;
    }
    return words > kMostZeroTags ? words : 0;
}

} // namespace

std::uint64_t Remains::missingRecords() const {
    return last && last->records > file.wholeRecords() ? last->records - file.wholeRecords() : 0;
}

std::uint64_t Remains::firstUnvouched() const {
    const std::uint64_t told =
        last ? std::min(last->records, last->unvouched_from.value_or(last->records)) : 0;
    return std::min(told, file.wholeRecords());
}

bool Remains::keepsLast() const {
    return last ? !misfit(*last, file).empty() : !broken.empty();
}

bool Remains::isWhole() const {
    return last && last->end != timing::PartEnd::Open && zeroWords == 0 && oddBytes == 0 && !keepsLast();
}

Remains remainsOf(const std::filesystem::path& path) {
    Remains remains;
    remains.file = streamFileFacts(path);
    try {
        remains.last = timing::read_companion(path);
    } catch (const timing::CompanionFault& fault) {
        remains.broken = fault.what();
    }
    remains.oddBytes = remains.file.oddBytes();
    remains.zeroWords = zeroWordsAtEnd(path, remains.file, remains.firstUnvouched());
    remains.file.payloadBytes -= remains.oddBytes + remains.zeroWords * timing::kTagWordBytes;
    return remains;
}

} // namespace qorn::qornts
