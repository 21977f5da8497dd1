#include "RecordingCompanion.h"

#include <algorithm>
#include <numeric>

namespace qorn::timing {
namespace {

constexpr std::array<const char*, 6> kEndNames{"open",     "operator", "duration",
                                               "rotation", "error",    "recovered"};

std::uint64_t sumOf(const std::vector<RecordingLoss>& losses, bool unreadable) {
    return std::accumulate(losses.begin(), losses.end(), std::uint64_t{0},
                           [unreadable](std::uint64_t sum, const RecordingLoss& loss) {
                               return sum + ((loss.stage == kUnreadableStage) == unreadable ? loss.count : 0);
                           });
}

} // namespace

const char* part_end_name(PartEnd end) {
    return kEndNames[static_cast<std::size_t>(end)];
}

std::optional<PartEnd> part_end_of(std::string_view name) {
    const auto found = std::find(kEndNames.begin(), kEndNames.end(), name);
    if (found == kEndNames.end()) {
        return std::nullopt;
    }
    return static_cast<PartEnd>(found - kEndNames.begin());
}

std::uint64_t RecordingCompanion::lost() const {
    return sumOf(losses, false);
}

std::uint64_t RecordingCompanion::unreadable_bytes() const {
    return sumOf(losses, true);
}

} // namespace qorn::timing
