// What one capture may hand to the GUI thread, and what it has that has not been taken there yet. It bounds
// that by the room that the batches take, for a GUI thread that cannot follow must not fill the memory.
// Shared by the controller, the capture task and the calls that it queues; any thread.
#pragma once

#include "UiTagFlow.h"

#include <QtGlobal>

#include <mutex>
#include <optional>

namespace qorn::timetagger::gui {

class GuiHandOver {
public:
    // `mostTags` may wait at most. A batch is let pass whatever its size when nothing waits.
    explicit GuiHandOver(quint64 mostTags) : most(mostTags) {}

    // The bound for a rate budget in tags per second, none when it is 0 or less.
    static quint64 mostTagsFor(int maxTagsPerSecond);

    // Another budget, for a capture that more measurements share by now; never less room.
    void setBudget(int maxTagsPerSecond);
    std::optional<int> newBudget() const; // none before the first call

    bool hasRoomFor(quint64 tags) const;
    void send(quint64 tags);
    // The GUI thread is done with a batch: it was shown, or belonged to a capture of before.
    void arrive(quint64 tags, bool shown);

    // Of one moment.
    UiTagFlow::Window counts() const;

private:
    mutable std::mutex mutex; // guards all below
    quint64 most;
    std::optional<int> budget;
    quint64 room = 0; // that is taken, in tags
    UiTagFlow::Window flow;
};

} // namespace qorn::timetagger::gui
