#include "InputPair.h"

#include "TimeTag.h"

namespace qorn::timetagger::gui {
namespace {

bool isInput(int channel) {
    return channel >= 0 && channel < timing::kChannels;
}

} // namespace

bool InputPair::usable() const {
    return isInput(source) && isInput(target) && source != target;
}

InputPair::Tags InputPair::append(std::span<const UiTimeTag> tags, TimestampQueue& sources,
                                  TimestampQueue& targets) const {
    // Which input comes next cannot be predicted, so every time is written to both and kept in one at most.
    std::int64_t* const sourceRoom = sources.room(tags.size());
    std::int64_t* const targetRoom = targets.room(tags.size());
    std::size_t sourceCount = 0;
    std::size_t targetCount = 0;
    const auto sourceChannel = static_cast<quint8>(source);
    const auto targetChannel = static_cast<quint8>(target);
    for (const UiTimeTag& tag : tags) {
        sourceRoom[sourceCount] = tag.timePs;
        targetRoom[targetCount] = tag.timePs;
        sourceCount += tag.channel == sourceChannel ? 1 : 0;
        targetCount += tag.channel == targetChannel ? 1 : 0;
    }
    sources.extend(sourceCount);
    targets.extend(targetCount);
    return {{sourceRoom, sourceCount}, {targetRoom, targetCount}};
}

} // namespace qorn::timetagger::gui
