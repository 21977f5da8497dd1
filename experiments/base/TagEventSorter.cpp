#include "TagEventSorter.h"

#include "SaturatedTime.h"

#include <algorithm>
#include <limits>

namespace qorn::timetagger::gui {

std::span<const TagEvent> TagEventSorter::sort(std::span<const UiTimeTag> tags) {
    if (takeEvents(tags)) {
        return events;
    }
    if (splitIntoLanes()) {
        mergeLanes();
    } else if (ties == Ties::Channel) {
        std::sort(events.begin(), events.end(), [](const TagEvent& a, const TagEvent& b) {
            return a.timePs != b.timePs ? a.timePs < b.timePs : a.channel < b.channel;
        });
    } else {
        std::stable_sort(events.begin(), events.end(),
                         [](const TagEvent& a, const TagEvent& b) { return a.timePs < b.timePs; });
    }
    return events;
}

// Fills the events in order of arrival. True when that is their order already.
bool TagEventSorter::takeEvents(std::span<const UiTimeTag> tags) {
    events.clear();
    events.reserve(tags.size());
    bool ordered = true;
    TagEvent before{std::numeric_limits<qint64>::min(), 0};
    for (const UiTimeTag& tag : tags) {
        if (tag.channel >= timing::kChannels) {
            continue;
        }
        const TagEvent event{saturatedSum(tag.timePs, offsets[tag.channel]), tag.channel};
        ordered =
            ordered &&
            (before.timePs < event.timePs ||
             (before.timePs == event.timePs && (ties == Ties::Arrival || before.channel <= event.channel)));
        before = event;
        events.push_back(event);
    }
    return ordered;
}

// True when each input's events are in order by themselves.
bool TagEventSorter::splitIntoLanes() {
    for (Lane& lane : lanes) {
        lane.times.clear();
        lane.places.clear();
    }
    quint32 place = 0;
    for (const TagEvent& event : events) {
        Lane& lane = lanes[event.channel];
        if (!lane.times.empty() && lane.times.back() > event.timePs) {
            return false;
        }
        lane.times.push_back(event.timePs);
        lane.places.push_back(place++);
    }
    return true;
}

bool TagEventSorter::precedes(std::size_t laneA, std::size_t positionA, std::size_t laneB,
                              std::size_t positionB) const {
    const qint64 timeA = lanes[laneA].times[positionA];
    const qint64 timeB = lanes[laneB].times[positionB];
    if (timeA != timeB) {
        return timeA < timeB;
    }
    return ties == Ties::Channel ? laneA < laneB
                                 : lanes[laneA].places[positionA] < lanes[laneB].places[positionB];
}

void TagEventSorter::mergeLanes() {
    std::array<std::size_t, timing::kChannels> next{};
    std::array<std::size_t, timing::kChannels> open{}; // lanes with events left
    std::size_t openCount = 0;
    for (std::size_t lane = 0; lane < lanes.size(); ++lane) {
        if (!lanes[lane].times.empty()) {
            open[openCount++] = lane;
        }
    }
    for (TagEvent& event : events) {
        std::size_t best = 0;
        for (std::size_t n = 1; n < openCount; ++n) {
            if (precedes(open[n], next[open[n]], open[best], next[open[best]])) {
                best = n;
            }
        }
        const std::size_t lane = open[best];
        event = {lanes[lane].times[next[lane]], static_cast<quint32>(lane)};
        if (++next[lane] == lanes[lane].times.size()) {
            open[best] = open[--openCount];
        }
    }
}

} // namespace qorn::timetagger::gui
