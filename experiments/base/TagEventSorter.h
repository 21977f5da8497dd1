// Brings a batch of tags into the order in which coincidences are counted: input offsets added, tags of
// inputs that do not exist dropped, sorted by time. Keeps its buffers from batch to batch.
#pragma once

#include "TimeTag.h"
#include "UiTimeTag.h"

#include <array>
#include <span>
#include <vector>

namespace qorn::timetagger::gui {

struct TagEvent {
    qint64 timePs = 0; // offset applied, held at the ends of the range
    quint32 channel = 0;
};

class TagEventSorter {
public:
    // The order of events at the same time.
    enum class Ties { Arrival, Channel };

    explicit TagEventSorter(Ties tieOrder) : ties(tieOrder) {}

    // In ps, added to the tags of each input.
    void setOffsets(const std::array<qint64, timing::kChannels>& ps) { offsets = ps; }

    // The events of the batch in order, valid until the next call. Fast when each input's own tags are in
    // order, as in a stream.
    std::span<const TagEvent> sort(std::span<const UiTimeTag> tags);

private:
    // Events of one input, with their places in the batch.
    struct Lane {
        std::vector<qint64> times;
        std::vector<quint32> places;
    };

    bool takeEvents(std::span<const UiTimeTag> tags);
    bool splitIntoLanes();
    void mergeLanes();
    bool precedes(std::size_t laneA, std::size_t positionA, std::size_t laneB, std::size_t positionB) const;

    Ties ties;
    std::array<qint64, timing::kChannels> offsets{};
    std::vector<TagEvent> events;
    std::array<Lane, timing::kChannels> lanes;
};

} // namespace qorn::timetagger::gui
