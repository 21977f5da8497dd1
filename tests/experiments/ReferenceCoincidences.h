// Coincidences by their definition, with the whole history kept and searched for each event: slow, and plain
// enough to be right. The measure for the counter.
//
// The definition: events are taken in order of time, those at one time in the order of the `Ties`; what
// comes in a later batch comes later, whatever its time. Each event looks back at the latest event of each
// other input, and at no other. It makes a pair with each of these that is at most the pair's window away. It
// makes a triple with each two of its partners that are at most their own pair's window apart, and a
// quadruple when it has three partners and each two of these are.
#pragma once

#include "CoincidenceCounter.h"
#include "TagEventSorter.h"
#include "UiTimeTag.h"

#include <QList>

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

namespace qorn::testing {

class ReferenceCoincidences {
public:
    using Counts = timetagger::gui::CoincidenceCounter::Counts;
    using Ties = timetagger::gui::TagEventSorter::Ties;

    struct Event {
        qint64 timePs = 0;
        std::size_t channel = 0;
    };

    std::array<quint64, 6> windowsPs{}; // 12, 13, 14, 23, 24, 34
    std::array<qint64, 4> offsetsPs{};
    Ties ties = Ties::Arrival;

    // The events of a batch in the order of the definition.
    std::vector<Event> ordered(const QList<timetagger::gui::UiTimeTag>& batch) const {
        std::vector<Event> events;
        for (const timetagger::gui::UiTimeTag& tag : batch) {
            if (tag.channel < 4) {
                events.push_back({held(tag.timePs, offsetsPs[tag.channel]), tag.channel});
            }
        }
        std::stable_sort(events.begin(), events.end(), [this](const Event& a, const Event& b) {
            if (a.timePs != b.timePs || ties == Ties::Arrival) {
                return a.timePs < b.timePs;
            }
            return a.channel < b.channel;
        });
        return events;
    }

    void addBatch(const QList<timetagger::gui::UiTimeTag>& batch) {
        for (const Event& event : ordered(batch)) {
            history.push_back(event);
        }
    }
    void add(const Event& event) { history.push_back(event); }

    // Of the events number `first` to `last` - 1, each looking back at all that came before it.
    Counts counts(std::size_t first, std::size_t last) const {
        Counts sum;
        for (std::size_t index = first; index < last; ++index) {
            addEvent(index, sum);
        }
        return sum;
    }
    Counts counts() const { return counts(0, history.size()); }
    const std::vector<Event>& events() const { return history; }

private:
    static qint64 held(qint64 time, qint64 offset) {
        constexpr qint64 kEarliest = std::numeric_limits<qint64>::min();
        constexpr qint64 kLatest = std::numeric_limits<qint64>::max();
        if (offset > 0) {
            return time > kLatest - offset ? kLatest : time + offset;
        }
        return time < kEarliest - offset ? kEarliest : time + offset;
    }

    static std::size_t pairOf(std::size_t a, std::size_t b) {
        static constexpr std::size_t kNumbers[4][4] = {
            {9, 0, 1, 2}, {0, 9, 3, 4}, {1, 3, 9, 5}, {2, 4, 5, 9}};
        return kNumbers[a][b];
    }

    bool near(const Event& a, const Event& b) const {
        const auto later = static_cast<quint64>(std::max(a.timePs, b.timePs));
        const auto earlier = static_cast<quint64>(std::min(a.timePs, b.timePs));
        return later - earlier <= windowsPs[pairOf(a.channel, b.channel)];
    }

    std::optional<Event> latestBefore(std::size_t index, std::size_t channel) const {
        for (std::size_t earlier = index; earlier-- > 0;) {
            if (history[earlier].channel == channel) {
                return history[earlier];
            }
        }
        return std::nullopt;
    }

    void addEvent(std::size_t index, Counts& sum) const {
        const Event& event = history[index];
        ++sum.singles[event.channel];
        std::vector<Event> partners;
        for (std::size_t channel = 0; channel < 4; ++channel) {
            if (channel == event.channel) {
                continue;
            }
            if (const auto latest = latestBefore(index, channel); latest && near(event, *latest)) {
                ++sum.pairs[pairOf(event.channel, channel)];
                ++sum.pairSum;
                partners.push_back(*latest);
            }
        }
        std::size_t triples = 0;
        for (std::size_t a = 0; a < partners.size(); ++a) {
            for (std::size_t b = a + 1; b < partners.size(); ++b) {
                if (near(partners[a], partners[b])) {
                    const std::size_t missing =
                        0 + 1 + 2 + 3 - event.channel - partners[a].channel - partners[b].channel;
                    ++sum.triples[3 - missing]; // 123 lacks the last input, 234 the first
                    ++triples;
                }
            }
        }
        sum.quadruple += triples == 3 ? 1 : 0;
    }

    std::vector<Event> history;
};

} // namespace qorn::testing
